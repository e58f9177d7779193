// When each client was last heard from, kept in memory only: a client not seen since the
// server started has no time.
#ifndef CALYX_DMS_CLIENT_SIGHTINGS_H
#define CALYX_DMS_CLIENT_SIGHTINGS_H

#include <libsoup/soup.h>
#include <time.h>

#include <map>
#include <string>

namespace calyx_dms {

class ClientSightings {
public:
    // Watches the requests of `server`; must be made after the access gate, whose
    // identification of the client it reads.
    explicit ClientSightings(SoupServer* server);
    ~ClientSightings();
    ClientSightings(const ClientSightings&) = delete;
    ClientSightings& operator=(const ClientSightings&) = delete;

    void Seen(const std::string& mac) { lastSeen_[mac] = time(nullptr); }
    // MAC -> when; a client not seen since the start has no element.
    const std::map<std::string, time_t>& Times() const { return lastSeen_; }

private:
    SoupServer* server_;
    gulong handler_ = 0;
    std::map<std::string, time_t> lastSeen_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENT_SIGHTINGS_H
