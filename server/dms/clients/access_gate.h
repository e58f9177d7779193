// Every HTTP request passes here once it has been read, before any handler: the client is
// identified (its visit attached to the message for the handlers, clients/request_visits.h) and a
// client without access gets 403 with no body, so no handler runs for it.
#ifndef CALYX_DMS_ACCESS_GATE_H
#define CALYX_DMS_ACCESS_GATE_H

#include <libsoup/soup.h>

#include "calyx/client_list.h"
#include "clients/request_visits.h"

namespace calyx_dms {

class AccessGate {
public:
    // `list` and `visits` must outlive the gate; `server` is the HTTP server of the UPnP
    // context.
    AccessGate(SoupServer* server, Calyx::DMSClientList& list, RequestVisits& visits);
    ~AccessGate();
    AccessGate(const AccessGate&) = delete;
    AccessGate& operator=(const AccessGate&) = delete;

    // Called for every request once it has been read.
    void OnRequestRead(SoupServerMessage* msg);

private:
    SoupServer* server_;
    Calyx::DMSClientList& list_;
    RequestVisits& visits_;
    gulong handler_ = 0;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_ACCESS_GATE_H
