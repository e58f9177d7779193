// How a handler sends a body of unknown length. The connection policy answers an HTTP/1.0
// request in HTTP/1.1 (as DLNA devices answer) and notes on the message that the client
// spoke HTTP/1.0: such a client reads no chunks, so its body ends with the connection.
#ifndef CALYX_DMS_COMMON_BODY_ENCODING_H
#define CALYX_DMS_COMMON_BODY_ENCODING_H

#include <libsoup/soup.h>

namespace calyx_dms {

// The message data key set on a request that came as HTTP/1.0.
inline constexpr char kHttp10RequestKey[] = "calyx-dms-http10";

// Whether the client of `msg` spoke HTTP/1.0 (whatever version its answer will carry).
inline bool IsHttp10Request(SoupServerMessage* msg) {
    return soup_server_message_get_http_version(msg) == SOUP_HTTP_1_0 ||
           g_object_get_data(G_OBJECT(msg), kHttp10RequestKey) != nullptr;
}

// For a body of unknown length: chunked to an HTTP/1.1 client; to an HTTP/1.0 one, ended
// by closing the connection, which the answer announces.
inline void StreamWithoutLength(SoupServerMessage* msg) {
    SoupMessageHeaders* response = soup_server_message_get_response_headers(msg);
    if (IsHttp10Request(msg)) {
        soup_message_headers_set_encoding(response, SOUP_ENCODING_EOF);
        soup_message_headers_replace(response, "Connection", "close");
    } else {
        soup_message_headers_set_encoding(response, SOUP_ENCODING_CHUNKED);
    }
}

}  // namespace calyx_dms

#endif  // CALYX_DMS_COMMON_BODY_ENCODING_H
