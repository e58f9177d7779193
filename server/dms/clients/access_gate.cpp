#include "clients/access_gate.h"

#include <string.h>

#include "calyx/core.h"
#include "clients/client_road.h"
#include "common/server_paths.h"

namespace calyx_dms {

namespace {

const size_t kMaxPathLength = 255;

RequestKind KindOfPath(const char* path) {
    if (IsControlPath(path))
        return RequestKind::kControl;
    if (IsMediaPath(path))
        return RequestKind::kMedia;
    return RequestKind::kOther;
}

void RequestRead(SoupServer*, SoupServerMessage* msg, gpointer gate) {
    static_cast<AccessGate*>(gate)->OnRequestRead(msg);
}

}  // namespace

AccessGate::AccessGate(SoupServer* server, Calyx::DMSClientList& list, RequestVisits& visits)
    : server_(server), list_(list), visits_(visits) {
    handler_ = g_signal_connect(server_, "request-read", G_CALLBACK(RequestRead), this);
}

AccessGate::~AccessGate() {
    g_signal_handler_disconnect(server_, handler_);
}

void AccessGate::OnRequestRead(SoupServerMessage* msg) {
    if (soup_server_message_get_status(msg) != 0)
        return;  // already answered (a request libsoup could not parse)
    const char* host = soup_server_message_get_remote_host(msg);
    GUri* uri = soup_server_message_get_uri(msg);
    const char* path = uri ? g_uri_get_path(uri) : "";
    if (strlen(path) > kMaxPathLength) {
        // No path the server answers is this long; the file handlers would only fail later.
        soup_server_message_set_status(msg, SOUP_STATUS_REQUEST_URI_TOO_LONG, nullptr);
        return;
    }
    std::unique_ptr<ClientVisit> visit = VisitClient(list_, KindOfPath(path), host ? host : "",
                                                     soup_server_message_get_request_headers(msg));
    if (!visit->allowed) {
        if (Calyx::DMSLOGGetLevel() >= 1)
            Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: 403 for %s (%s) %s\n",
                             visit->ip.c_str(), visit->mac.c_str(), path);
        soup_server_message_set_status(msg, SOUP_STATUS_FORBIDDEN, nullptr);
    }
    visits_.Attach(msg, std::move(visit));
}

}  // namespace calyx_dms
