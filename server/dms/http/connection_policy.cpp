#include "http/connection_policy.h"

#include <gio/gio.h>

#include <string>

#include "common/body_encoding.h"

namespace calyx_dms {

namespace {

void RequestRead(SoupServer*, SoupServerMessage* msg, gpointer) {
    ConnectionPolicy::Apply(msg);
}

// An HTTP/1.0 request may name no host: the address the client reached stands in for it,
// so that the handlers (and the UPnP stack's check of the Host header) see the request
// as an HTTP/1.1 client would have sent it.
void SupplyHost(SoupServerMessage* msg, SoupMessageHeaders* request) {
    if (soup_message_headers_get_one(request, "Host") != nullptr)
        return;
    GSocketAddress* local = soup_server_message_get_local_address(msg);
    if (local == nullptr || !G_IS_INET_SOCKET_ADDRESS(local))
        return;
    GInetSocketAddress* inet = G_INET_SOCKET_ADDRESS(local);
    gchar* address = g_inet_address_to_string(g_inet_socket_address_get_address(inet));
    std::string host = address ? address : "";
    g_free(address);
    if (host.empty())
        return;
    if (host.find(':') != std::string::npos)
        host = "[" + host + "]";
    host += ":" + std::to_string(g_inet_socket_address_get_port(inet));
    soup_message_headers_replace(request, "Host", host.c_str());
}

}  // namespace

bool KeepsConnection(const ConnectionRequest& request) {
    if (request.close)
        return false;
    return !request.http10 || request.keepAlive;
}

const char* ConnectionAnswer(const ConnectionRequest& request) {
    if (!KeepsConnection(request))
        return "close";
    return request.keepAlive ? "keep-alive" : nullptr;
}

ConnectionPolicy::ConnectionPolicy(SoupServer* server) : server_(server) {
    // Connected before any other "request-read" handler, so that even an answer given
    // there (a refusal) carries the header.
    handler_ = g_signal_connect(server_, "request-read", G_CALLBACK(RequestRead), nullptr);
}

ConnectionPolicy::~ConnectionPolicy() {
    g_signal_handler_disconnect(server_, handler_);
}

void ConnectionPolicy::Apply(SoupServerMessage* msg) {
    SoupMessageHeaders* request = soup_server_message_get_request_headers(msg);
    ConnectionRequest asked;
    asked.http10 = soup_server_message_get_http_version(msg) == SOUP_HTTP_1_0;
    asked.close = soup_message_headers_header_contains(request, "Connection", "close");
    asked.keepAlive = soup_message_headers_header_contains(request, "Connection", "keep-alive");
    if (asked.http10) {
        g_object_set_data(G_OBJECT(msg), kHttp10RequestKey, GINT_TO_POINTER(1));
        SupplyHost(msg, request);
        // Answered in HTTP/1.1 whichever handler answers; the server then keeps the
        // connection by the HTTP/1.1 rules, which the header below settles.
        soup_server_message_set_http_version(msg, SOUP_HTTP_1_1);
        if (!KeepsConnection(asked))
            soup_message_headers_replace(request, "Connection", "close");
    }
    const char* answer = ConnectionAnswer(asked);
    SoupMessageHeaders* response = soup_server_message_get_response_headers(msg);
    if (answer != nullptr)
        soup_message_headers_replace(response, "Connection", answer);
}

}  // namespace calyx_dms
