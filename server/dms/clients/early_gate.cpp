#include "clients/early_gate.h"

#include <sys/socket.h>

#include <string.h>

namespace calyx_dms {

namespace {

const char kBodyBytesKey[] = "calyx-dms-body-bytes";
// How long a refused connection stays half-closed so the client can read the answer
// before the close discards what it still sends.
const guint kLingerMilliseconds = 1000;

void RequestStarted(SoupServer*, SoupServerMessage* msg, gpointer gate) {
    static_cast<EarlyGate*>(gate)->OnRequestStarted(msg);
}

}  // namespace

void RefuseAndClose(SoupServerMessage* msg, unsigned status) {
    GIOStream* stream = soup_server_message_steal_connection(msg);
    if (!stream)
        return;
    const std::string answer = "HTTP/1.1 " + std::to_string(status) + " " +
                               soup_status_get_phrase(status) +
                               "\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";
    GOutputStream* out = g_io_stream_get_output_stream(stream);
    g_output_stream_write_all(out, answer.data(), answer.size(), nullptr, nullptr, nullptr);
    g_output_stream_flush(out, nullptr, nullptr);
    // Half-close so the answer is not lost to the reset a close with unread data sends.
    GSocket* socket = G_SOCKET(g_object_get_data(G_OBJECT(stream), "GSocket"));
    if (!socket && G_IS_SOCKET_CONNECTION(stream))
        socket = g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream));
    if (socket)
        g_socket_shutdown(socket, FALSE, TRUE, nullptr);
    g_timeout_add_full(
        G_PRIORITY_DEFAULT, kLingerMilliseconds,
        [](gpointer data) -> gboolean {
            g_io_stream_close(G_IO_STREAM(data), nullptr, nullptr);
            return G_SOURCE_REMOVE;
        },
        stream, g_object_unref);
}

EarlyGate::EarlyGate(SoupServer* server, OwnHostsCache& hosts, HeadLimits limits, Admission admit,
                     LogLimiter& log)
    : server_(server), hosts_(hosts), limits_(limits), admit_(std::move(admit)), log_(log) {
    handler_ = g_signal_connect(server_, "request-started", G_CALLBACK(RequestStarted), this);
}

EarlyGate::~EarlyGate() {
    g_signal_handler_disconnect(server_, handler_);
}

void EarlyGate::OnRequestStarted(SoupServerMessage* msg) {
    // Connected after the server's own handler, which sets the URI and answers requests
    // it cannot parse.
    g_signal_connect(msg, "got-headers", G_CALLBACK(+[](SoupServerMessage* m, gpointer self) {
                         static_cast<EarlyGate*>(self)->OnGotHeaders(m);
                     }),
                     this);
    g_signal_connect(msg, "got-chunk",
                     G_CALLBACK(+[](SoupServerMessage* m, GBytes* chunk, gpointer self) {
                         static_cast<EarlyGate*>(self)->OnGotChunk(m, chunk);
                     }),
                     this);
}

void EarlyGate::Refuse(SoupServerMessage* msg, const Refusal& refusal) {
    const char* host = soup_server_message_get_remote_host(msg);
    GUri* uri = soup_server_message_get_uri(msg);
    const char* path = uri ? g_uri_get_path(uri) : "";
    const std::string client = host ? host : "?";
    const std::string status = std::to_string(refusal.status);
    // Paths are cut: they are the client's text, and a refused client may send many.
    log_.Info(status, client,
              "calyx-dms: " + status + " for " + client + " (" + refusal.why + ") " +
                  std::string(path).substr(0, 100) + "\n");
    RefuseAndClose(msg, refusal.status);
}

void EarlyGate::OnGotHeaders(SoupServerMessage* msg) {
    if (soup_server_message_get_status(msg) != 0)
        return;  // already answered
    RequestHead head;
    SoupMessageHeadersIter iter;
    soup_message_headers_iter_init(&iter, soup_server_message_get_request_headers(msg));
    const char* name = nullptr;
    const char* value = nullptr;
    while (soup_message_headers_iter_next(&iter, &name, &value)) {
        if (head.headers.size() > limits_.maxHeaders)
            break;  // already too many
        head.headers.emplace_back(name, value);
    }
    const HeadVerdict verdict = JudgeRequestHead(head, hosts_.Get(), limits_);
    const char* why = verdict == HeadVerdict::kForeignHost    ? "foreign Host"
                      : verdict == HeadVerdict::kBodyTooLarge ? "body too large"
                      : verdict == HeadVerdict::kHeadTooLarge ? "head too large"
                                                              : "bad length";
    const bool aboutBody =
        verdict == HeadVerdict::kBodyTooLarge || verdict == HeadVerdict::kBadLength;
    if (verdict != HeadVerdict::kServe && !aboutBody)
        return Refuse(msg, {StatusOf(verdict), why});
    // A client without access learns nothing else, not even that its body is too large.
    if (admit_) {
        const Refusal refusal = admit_(msg);
        if (refusal.status != 0)
            return Refuse(msg, refusal);
    }
    if (aboutBody)
        Refuse(msg, {StatusOf(verdict), why});
}

void EarlyGate::OnGotChunk(SoupServerMessage* msg, GBytes* chunk) {
    auto* bytes = static_cast<guint64*>(g_object_get_data(G_OBJECT(msg), kBodyBytesKey));
    if (!bytes) {
        bytes = new guint64(0);
        g_object_set_data_full(G_OBJECT(msg), kBodyBytesKey, bytes,
                               [](gpointer data) { delete static_cast<guint64*>(data); });
    }
    *bytes += g_bytes_get_size(chunk);
    if (*bytes > static_cast<guint64>(limits_.maxBodyBytes))
        Refuse(msg, {SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, "body too large"});
}

}  // namespace calyx_dms
