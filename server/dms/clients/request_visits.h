// The per-request context: the visit the access gate made for a request travels with the
// request's message until the message is gone, and every visit is a sighting of its client.
#ifndef CALYX_DMS_CLIENTS_REQUEST_VISITS_H
#define CALYX_DMS_CLIENTS_REQUEST_VISITS_H

#include <libsoup/soup.h>

#include <memory>

#include "clients/client_road.h"
#include "clients/client_sightings.h"

namespace calyx_dms {

class RequestVisits {
public:
    // `sightings` (borrowed) must outlive this object.
    explicit RequestVisits(ClientSightings& sightings) : sightings_(sightings) {}

    // Attaches `visit` to `msg` (freed with the message; a second attach replaces the
    // first) and records that its client was seen, when its MAC is known.
    void Attach(SoupServerMessage* msg, std::unique_ptr<ClientVisit> visit);
    // The visit attached to `msg`, or null when none is.
    static ClientVisit* Of(SoupServerMessage* msg);

private:
    ClientSightings& sightings_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_REQUEST_VISITS_H
