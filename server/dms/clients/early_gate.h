// Every request to the media port is judged as soon as its head has been read, before any
// of its body: the head's bounds, its Host, the size of the body it announces and the
// client's access. A refused request gets its status with no body and the connection is
// closed at once, so what it sends after the head is never read (libsoup would otherwise
// read the whole body before any handler could answer). Chunked bodies are counted while
// they arrive and cut off at the same limit.
#ifndef CALYX_DMS_CLIENTS_EARLY_GATE_H
#define CALYX_DMS_CLIENTS_EARLY_GATE_H

#include <libsoup/soup.h>

#include <functional>
#include <string>

#include "clients/log_limiter.h"
#include "clients/own_hosts.h"
#include "clients/request_head.h"

namespace calyx_dms {

class EarlyGate {
public:
    // Whether the client of a request may send it at all, decided from its head (it may
    // identify and record the client): the refusal, or status 0.
    using Admission = std::function<Refusal(SoupServerMessage* msg)>;

    // Everything given must outlive the gate.
    EarlyGate(SoupServer* server, OwnHostsCache& hosts, HeadLimits limits, Admission admit,
              LogLimiter& log);
    ~EarlyGate();
    EarlyGate(const EarlyGate&) = delete;
    EarlyGate& operator=(const EarlyGate&) = delete;

    void OnRequestStarted(SoupServerMessage* msg);
    void OnGotHeaders(SoupServerMessage* msg);
    void OnGotChunk(SoupServerMessage* msg, GBytes* chunk);

private:
    void Refuse(SoupServerMessage* msg, const Refusal& refusal);

    SoupServer* server_;
    OwnHostsCache& hosts_;
    HeadLimits limits_;
    Admission admit_;
    LogLimiter& log_;
    gulong handler_ = 0;
};

// Takes the connection of `msg` over, writes a status line with `status`, no body and
// "Connection: close", and closes the connection: nothing more of the request is read.
void RefuseAndClose(SoupServerMessage* msg, unsigned status);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_EARLY_GATE_H
