#include "http/body_hand_over.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <thread>

namespace calyx_dms {

namespace {

// A client that takes nothing for this long (a player paused for a quarter of an hour) has
// its connection closed; it asks again from where it stopped, as players do.
constexpr int kStalledSeconds = 15 * 60;

// Bodies being sent at most at once; past this the stack's way serves (a client that opens
// streams without end cannot make the server start threads without end).
constexpr int kMaxSending = 64;
std::atomic<int> sending{0};

// A body on its way: the head, then the file's bytes; the connection and the file are let
// go when it is done.
struct HandedOver {
    GIOStream* stream = nullptr;  // the connection, ours
    int socket = -1;
    int file = -1;
    std::string head;
    off_t offset = 0;
    long long remaining = 0;

    ~HandedOver() {
        if (file >= 0)
            close(file);
        if (stream) {
            g_io_stream_close(stream, nullptr, nullptr);
            g_object_unref(stream);
        }
        --sending;
    }
};

// The status line and headers the stack would have written, with "Connection: close".
std::string HeadOf(SoupServerMessage* msg) {
    const guint status = soup_server_message_get_status(msg);
    const char* phrase = soup_server_message_get_reason_phrase(msg);
    std::string head = "HTTP/1.1 " + std::to_string(status) + " " +
                       (phrase ? phrase : soup_status_get_phrase(status)) + "\r\n";
    SoupMessageHeadersIter iter;
    soup_message_headers_iter_init(&iter, soup_server_message_get_response_headers(msg));
    const char* name = nullptr;
    const char* value = nullptr;
    while (soup_message_headers_iter_next(&iter, &name, &value))
        head += std::string(name) + ": " + value + "\r\n";
    return head + "\r\n";
}

// Sends the head and the body, each call waiting while the client's socket is full (as a
// process of its own would): the kernel moves the bytes as fast as the client takes them,
// which a socket watched from the main loop, woken each time a part of its buffer is free,
// did not.
void Send(std::unique_ptr<HandedOver> body) {
    const int flags = fcntl(body->socket, F_GETFL);
    fcntl(body->socket, F_SETFL, flags & ~O_NONBLOCK);
    const timeval stalled{kStalledSeconds, 0};
    setsockopt(body->socket, SOL_SOCKET, SO_SNDTIMEO, &stalled, sizeof stalled);
    size_t headSent = 0;
    while (headSent < body->head.size()) {
        const ssize_t sent = send(body->socket, body->head.data() + headSent,
                                  body->head.size() - headSent, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return;
        headSent += static_cast<size_t>(sent);
    }
    while (body->remaining > 0) {
        const size_t want = static_cast<size_t>(std::min<long long>(body->remaining, 1 << 30));
        const ssize_t sent = sendfile(body->socket, body->file, &body->offset, want);
        if (sent < 0 && errno == EINTR)
            continue;
        // Gone (the client), or shorter than it was (the file): the client sees the end.
        if (sent <= 0)
            return;
        body->remaining -= sent;
    }
    // All sent: no more writes, so the close leaves the client everything.
    shutdown(body->socket, SHUT_WR);
}

}  // namespace

bool HandOverBody(SoupServerMessage* msg, int fd, long long offset, long long length) {
    if (++sending > kMaxSending) {
        --sending;
        return false;
    }
    GSocket* socket = soup_server_message_get_socket(msg);
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(msg);
    // What the connection policy answered, for the plain way if the stack keeps the
    // connection after all.
    const char* answered = soup_message_headers_get_one(headers, "Connection");
    const std::string policy = answered ? answered : "";
    soup_message_headers_replace(headers, "Connection", "close");
    std::string head = HeadOf(msg);
    GIOStream* stream = socket ? soup_server_message_steal_connection(msg) : nullptr;
    if (!stream) {
        if (policy.empty())
            soup_message_headers_remove(headers, "Connection");
        else
            soup_message_headers_replace(headers, "Connection", policy.c_str());
        --sending;
        return false;
    }
    auto body = std::make_unique<HandedOver>();
    body->stream = stream;  // holds the socket
    body->socket = g_socket_get_fd(socket);
    body->file = fd;
    body->head = std::move(head);
    body->offset = static_cast<off_t>(offset);
    body->remaining = length;
    // Its own thread: the server is not held up while it runs, nor it by the server; one
    // still sending when the server exits ends with it, the client seeing a short body.
    std::thread(Send, std::move(body)).detach();
    return true;
}

}  // namespace calyx_dms
