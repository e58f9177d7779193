// When each client was last heard from, kept in memory only: a client not seen since the
// server started has no time. Filled by the per-request context (clients/request_visits.h).
#ifndef CALYX_DMS_CLIENTS_CLIENT_SIGHTINGS_H
#define CALYX_DMS_CLIENTS_CLIENT_SIGHTINGS_H

#include <time.h>

#include <map>
#include <string>

namespace calyx_dms {

class ClientSightings {
public:
    void Seen(const std::string& mac) { lastSeen_[mac] = time(nullptr); }
    // MAC -> when; a client not seen since the start has no element.
    const std::map<std::string, time_t>& Times() const { return lastSeen_; }

private:
    std::map<std::string, time_t> lastSeen_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_CLIENT_SIGHTINGS_H
