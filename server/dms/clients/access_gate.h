// Every HTTP request of the media port is identified as soon as its head has been read,
// before any of its body and before any handler: the client's visit is attached to the
// message for the handlers (clients/request_visits.h), and a client without access, a
// path no handler answers, or an event subscription the server refuses gets its status
// with no body, so no handler runs for it. The head is checked first by the HTTP layer's
// early gate, which calls Admit; a request that reaches "request-read" without a visit
// (no early gate) is judged there.
#ifndef CALYX_DMS_CLIENTS_ACCESS_GATE_H
#define CALYX_DMS_CLIENTS_ACCESS_GATE_H

#include <libsoup/soup.h>

#include "calyx/client_list.h"
#include "clients/client_road.h"
#include "clients/gena_limits.h"
#include "clients/request_head.h"
#include "clients/request_visits.h"

namespace calyx_dms {

class AccessGate {
public:
    // `list`, `visits` and what `recording` names must outlive the gate; `server` is the
    // HTTP server of the UPnP context.
    AccessGate(SoupServer* server, Calyx::DMSClientList& list, RequestVisits& visits,
               const ClientRecording& recording);
    ~AccessGate();
    AccessGate(const AccessGate&) = delete;
    AccessGate& operator=(const AccessGate&) = delete;

    // Identifies the client of `msg` and attaches its visit; the refusal to answer with
    // (status 0: serve it).
    Refusal Admit(SoupServerMessage* msg);
    // Called for every request once it has been read.
    void OnRequestRead(SoupServerMessage* msg);
    // The stack answered a request: subscriptions are counted from the answers.
    void OnAnswered(SoupServerMessage* msg);

private:
    SoupServer* server_;
    Calyx::DMSClientList& list_;
    RequestVisits& visits_;
    ClientRecording recording_;
    GenaLimits gena_;
    gulong handler_ = 0;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_ACCESS_GATE_H
