// A bounded fetch of a device description: one GET, no redirects, at most a fixed number
// of bytes, ended after a timeout. What a renderer's announcement names is fetched only
// this way, never by the UPnP stack's own control point, which fetches any size from any
// host an announcement names.
#ifndef CALYX_DMS_CLIENTS_DESCRIPTION_FETCH_H
#define CALYX_DMS_CLIENTS_DESCRIPTION_FETCH_H

#include <libsoup/soup.h>

#include <functional>
#include <string>

namespace calyx_dms {

// The largest description read, in bytes; a longer one is abandoned unread.
constexpr size_t kMaxDescriptionBytes = size_t{64} * 1024;
// Seconds a whole fetch may take.
constexpr unsigned kDescriptionTimeoutSeconds = 5;

class DescriptionFetcher {
public:
    // Called on the main loop with the whole description, or with ok false (and `body`
    // empty) when the fetch failed, timed out or the description was too large.
    using Done = std::function<void(bool ok, const std::string& body)>;

    DescriptionFetcher();
    ~DescriptionFetcher();  // cancels fetches in flight (their callbacks do not run)
    DescriptionFetcher(const DescriptionFetcher&) = delete;
    DescriptionFetcher& operator=(const DescriptionFetcher&) = delete;

    // Starts fetching `url` (http only). False when the URL is unusable.
    bool Fetch(const std::string& url, Done done);

private:
    SoupSession* session_;
    GCancellable* cancellable_;  // shared by every fetch: cancelled when this object goes
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_DESCRIPTION_FETCH_H
