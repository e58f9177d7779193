// HTTP connection semantics on every response of a server: a request that asks for the
// connection to be closed is told so ("Connection: close") before it is closed; one that
// asks for keep-alive is told it is kept; an HTTP/1.0 request (which may come without a
// Host header) is answered in HTTP/1.1, as DLNA devices answer, with the connection closed
// unless it asked for keep-alive. Applied when a request has been read, before any
// handler runs, so that the handlers of the UPnP stack, the media files and the settings
// page all answer the same way.
#ifndef CALYX_DMS_HTTP_CONNECTION_POLICY_H
#define CALYX_DMS_HTTP_CONNECTION_POLICY_H

#include <libsoup/soup.h>

namespace calyx_dms {

// What a request asked of its connection.
struct ConnectionRequest {
    bool http10 = false;     // HTTP/1.0
    bool close = false;      // "Connection: close"
    bool keepAlive = false;  // "Connection: keep-alive"
};

// Whether the connection stays open after the answer to `request`.
bool KeepsConnection(const ConnectionRequest& request);

// The Connection header value to answer `request` with, or nullptr when the answer needs
// none (an HTTP/1.1 request that asked nothing: persistent by default).
const char* ConnectionAnswer(const ConnectionRequest& request);

class ConnectionPolicy {
public:
    // Applies the policy to every request `server` reads, for the policy's lifetime.
    explicit ConnectionPolicy(SoupServer* server);
    ~ConnectionPolicy();
    ConnectionPolicy(const ConnectionPolicy&) = delete;
    ConnectionPolicy& operator=(const ConnectionPolicy&) = delete;

    // Called for every request once it has been read.
    static void Apply(SoupServerMessage* msg);

private:
    SoupServer* server_;
    gulong handler_ = 0;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_HTTP_CONNECTION_POLICY_H
