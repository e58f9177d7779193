// A large file's body sent by the kernel straight from the file to the client's socket
// (sendfile), as the HTTP stack cannot: it writes every byte from memory the server has
// read the file into, which cost three times the CPU per gigabyte. The connection is
// taken over from the stack for it, and closed when the body has gone: the answer says so
// ("Connection: close"), so a client that keeps connections opens a new one for its next
// request, as HTTP lets a server decide.
#ifndef CALYX_DMS_HTTP_BODY_HAND_OVER_H
#define CALYX_DMS_HTTP_BODY_HAND_OVER_H

#include <libsoup/soup.h>

namespace calyx_dms {

// Bodies at least this large are handed over; smaller ones (thumbnails, most photos) keep
// the stack's way, and with it their connection.
constexpr long long kHandedOverBodyBytes = 1 << 20;

// Answers `msg` (its status and headers set, Content-Length among them) with the `length`
// bytes of `fd` from `offset` over its connection, taken from the stack: the head is
// written, then the body as fast as the client takes it, on a thread of its own, which
// closes `fd` and the connection when done. False (nothing sent, `fd` still the caller's)
// when the stack would not give up the connection or 64 bodies are on their way already:
// the caller answers the plain way.
bool HandOverBody(SoupServerMessage* msg, int fd, long long offset, long long length);

}  // namespace calyx_dms

#endif  // CALYX_DMS_HTTP_BODY_HAND_OVER_H
