#include "clients/access_gate.h"

#include <string.h>

#include "calyx/core.h"
#include "clients/client_road.h"
#include "common/server_paths.h"

namespace calyx_dms {

namespace {

const size_t kMaxPathLength = 255;
// Marks a request the gate has judged, so "request-read" does not judge it again.
const char kJudgedKey[] = "calyx-dms-judged";

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

std::string Header(SoupServerMessage* msg, const char* name, bool response = false) {
    SoupMessageHeaders* headers = response ? soup_server_message_get_response_headers(msg)
                                           : soup_server_message_get_request_headers(msg);
    const char* value = soup_message_headers_get_one(headers, name);
    return value ? value : "";
}

}  // namespace

AccessGate::AccessGate(SoupServer* server, Calyx::DMSClientList& list, RequestVisits& visits,
                       const ClientRecording& recording)
    : server_(server), list_(list), visits_(visits), recording_(recording) {
    handler_ = g_signal_connect(server_, "request-read", G_CALLBACK(RequestRead), this);
}

AccessGate::~AccessGate() {
    g_signal_handler_disconnect(server_, handler_);
}

Refusal AccessGate::Admit(SoupServerMessage* msg) {
    g_object_set_data(G_OBJECT(msg), kJudgedKey, GINT_TO_POINTER(1));
    const char* host = soup_server_message_get_remote_host(msg);
    GUri* uri = soup_server_message_get_uri(msg);
    const char* path = uri ? g_uri_get_path(uri) : "";
    if (strlen(path) > kMaxPathLength) {
        // No path the server answers is this long; the file handlers would only fail later.
        return {SOUP_STATUS_REQUEST_URI_TOO_LONG, "path too long"};
    }
    std::unique_ptr<ClientVisit> visit =
        VisitClient(list_, KindOfPath(path), host ? host : "",
                    soup_server_message_get_request_headers(msg), recording_);
    const bool allowed = visit->allowed;
    const std::string mac = visit->mac;
    visits_.Attach(msg, std::move(visit));
    if (!allowed)
        return {SOUP_STATUS_FORBIDDEN, "no access, " + (mac.empty() ? "?" : mac)};

    const std::string method = soup_server_message_get_method(msg);
    if (method == "SUBSCRIBE" || method == "UNSUBSCRIBE") {
        const unsigned status =
            gena_.Judge(method, host ? host : "", Header(msg, "SID"), Header(msg, "CALLBACK"));
        if (status != 0)
            return {status, status == SOUP_STATUS_PRECONDITION_FAILED
                                ? "event callback on another host"
                                : "too many event subscriptions"};
        if (method == "SUBSCRIBE")
            g_signal_connect(msg, "wrote-headers",
                             G_CALLBACK(+[](SoupServerMessage* m, gpointer self) {
                                 static_cast<AccessGate*>(self)->OnAnswered(m);
                             }),
                             this);
    }
    return {};
}

void AccessGate::OnAnswered(SoupServerMessage* msg) {
    const char* host = soup_server_message_get_remote_host(msg);
    gena_.Answered(host ? host : "", soup_server_message_get_status(msg), Header(msg, "SID", true),
                   SubscriptionSeconds(Header(msg, "TIMEOUT", true)));
}

void AccessGate::OnRequestRead(SoupServerMessage* msg) {
    if (soup_server_message_get_status(msg) != 0 || g_object_get_data(G_OBJECT(msg), kJudgedKey))
        return;  // already answered (a request libsoup could not parse) or judged
    const Refusal refusal = Admit(msg);
    if (refusal.status == 0)
        return;
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: %u for %s (%s)\n", refusal.status,
                         soup_server_message_get_remote_host(msg), refusal.why.c_str());
    soup_server_message_set_status(msg, refusal.status, nullptr);
}

}  // namespace calyx_dms
