#include "transcode/transcode_stream.h"

#include <errno.h>
#include <glib-unix.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "calyx/core.h"
#include "common/body_encoding.h"
#include "transcode/time_seek.h"

namespace calyx_dms {

namespace {

constexpr size_t kReadBytes = size_t{64} * 1024;
// Chunks handed to libsoup and not yet written: past this the pipe is left unread, and
// the worker waits (it runs no faster than the client reads).
constexpr int kMaxQueuedChunks = 8;
// The worker opens, probes and seeks within this, or the request fails.
constexpr guint kStatusSeconds = 20;
// The status line is short; a longer one means a broken worker.
constexpr size_t kMaxStatusBytes = 512;

// "ok start=S duration=D", the worker's word that its stream follows.
bool ParseStatus(const std::string& line, double& start, double& duration) {
    const char* text = line.c_str();
    if (strncmp(text, "ok start=", 9) != 0)
        return false;
    char* end = nullptr;
    start = strtod(text + 9, &end);
    if (end == text + 9 || strncmp(end, " duration=", 10) != 0)
        return false;
    text = end + 10;
    duration = strtod(text, &end);
    return end != text && *end == '\0' && start >= 0 && duration >= 0;
}

class Stream {
public:
    Stream(SoupServerMessage* msg, TranscodeJobs& jobs, const StreamStart& start)
        : msg_(msg), jobs_(jobs), start_(start) {}
    ~Stream() { Stop(); }

    void Begin();

private:
    enum class State { kStatus, kBody, kEnded };

    static gboolean OnPipe(gint fd, GIOCondition condition, gpointer data);
    static gboolean OnClientSocket(GSocket* socket, GIOCondition condition, gpointer data);
    static gboolean OnStatusTimeout(gpointer data);
    static void OnWroteChunk(SoupServerMessage* msg, gpointer data);
    static void OnFinished(SoupServerMessage* msg, gpointer data);

    void WatchPipe();
    void ReadPipe();
    bool TakeStatus();
    void Fail(guint status, const std::string& why);
    void EndBody();
    void ClientGone();
    // Kills the worker and drops every watch; the message is left as it is.
    void Stop();

    SoupServerMessage* msg_;
    TranscodeJobs& jobs_;
    StreamStart start_;
    State state_ = State::kStatus;
    std::string status_;
    guint pipeWatch_ = 0;
    guint statusTimer_ = 0;
    GSource* socketWatch_ = nullptr;
    int queued_ = 0;
};

void Stream::Begin() {
    soup_server_message_pause(msg_);
    g_signal_connect(msg_, "wrote-chunk", G_CALLBACK(OnWroteChunk), this);
    g_signal_connect(msg_, "finished", G_CALLBACK(OnFinished), this);
    GSocket* socket = soup_server_message_get_socket(msg_);
    if (socket != nullptr) {
        socketWatch_ = g_socket_create_source(
            socket, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), nullptr);
        g_source_set_callback(socketWatch_, G_SOURCE_FUNC(OnClientSocket), this, nullptr);
        g_source_attach(socketWatch_, nullptr);
    }
    statusTimer_ = g_timeout_add_seconds(kStatusSeconds, OnStatusTimeout, this);
    WatchPipe();
}

void Stream::WatchPipe() {
    if (pipeWatch_ == 0 && start_.fd >= 0)
        pipeWatch_ = g_unix_fd_add(
            start_.fd, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), OnPipe, this);
}

gboolean Stream::OnPipe(gint, GIOCondition, gpointer data) {
    auto* self = static_cast<Stream*>(data);
    self->ReadPipe();
    // ReadPipe clears pipeWatch_ when it no longer wants the pipe watched.
    return self->pipeWatch_ != 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

void Stream::ReadPipe() {
    char* buffer = static_cast<char*>(g_malloc(kReadBytes));
    ssize_t n = read(start_.fd, buffer, kReadBytes);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
        g_free(buffer);
        return;
    }
    if (n <= 0) {
        g_free(buffer);
        pipeWatch_ = 0;
        close(start_.fd);
        start_.fd = -1;
        if (state_ == State::kStatus)
            Fail(SOUP_STATUS_INTERNAL_SERVER_ERROR, "the worker ended without a word");
        else
            EndBody();
        return;
    }
    size_t offset = 0;
    if (state_ == State::kStatus) {
        const char* newline =
            static_cast<const char*>(memchr(buffer, '\n', static_cast<size_t>(n)));
        size_t upto = newline ? static_cast<size_t>(newline - buffer) : static_cast<size_t>(n);
        status_.append(buffer, upto);
        if (status_.size() > kMaxStatusBytes) {
            g_free(buffer);
            pipeWatch_ = 0;
            Fail(SOUP_STATUS_INTERNAL_SERVER_ERROR, "the worker's status line is too long");
            return;
        }
        if (newline == nullptr) {
            g_free(buffer);
            return;
        }
        offset = upto + 1;
        if (!TakeStatus()) {
            g_free(buffer);
            pipeWatch_ = 0;
            return;
        }
    }
    if (offset < static_cast<size_t>(n)) {
        memmove(buffer, buffer + offset, static_cast<size_t>(n) - offset);
        soup_message_body_append(soup_server_message_get_response_body(msg_), SOUP_MEMORY_TAKE,
                                 buffer, static_cast<size_t>(n) - offset);
        ++queued_;
        soup_server_message_unpause(msg_);
    } else {
        g_free(buffer);
    }
    if (queued_ >= kMaxQueuedChunks)
        pipeWatch_ = 0;  // OnPipe removes the source; OnWroteChunk adds it again
}

// "ok start=S duration=D" sets the answer's status and headers and lets the body flow.
bool Stream::TakeStatus() {
    if (statusTimer_ != 0) {
        g_source_remove(statusTimer_);
        statusTimer_ = 0;
    }
    double start = 0;
    double duration = 0;
    if (!ParseStatus(status_, start, duration)) {
        std::string why = status_.rfind("error ", 0) == 0 ? status_.substr(6) : status_;
        Fail(SOUP_STATUS_INTERNAL_SERVER_ERROR, why);
        return false;
    }
    state_ = State::kBody;
    SoupMessageHeaders* headers = soup_server_message_get_response_headers(msg_);
    // HTTP/1.0 knows no chunks: there the end of the stream closes the connection.
    StreamWithoutLength(msg_);
    if (start_.seekHeader)
        soup_message_headers_replace(headers, "TimeSeekRange.dlna.org",
                                     FormatTimeSeek(start, start_.end, duration).c_str());
    soup_server_message_set_status(msg_, SOUP_STATUS_OK, nullptr);
    soup_message_body_set_accumulate(soup_server_message_get_response_body(msg_), FALSE);
    soup_server_message_unpause(msg_);
    return true;
}

void Stream::Fail(guint status, const std::string& why) {
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "Error: calyx-dms - transcode of %s failed: %s\n",
                     start_.description.c_str(), why.c_str());
    state_ = State::kEnded;
    Stop();
    const std::string text = "transcoding failed: " + why + "\n";
    soup_server_message_set_status(msg_, status, nullptr);
    soup_server_message_set_response(msg_, "text/plain", SOUP_MEMORY_COPY, text.data(),
                                     text.size());
    soup_server_message_unpause(msg_);
}

void Stream::EndBody() {
    state_ = State::kEnded;
    soup_message_body_complete(soup_server_message_get_response_body(msg_));
    soup_server_message_unpause(msg_);
}

gboolean Stream::OnStatusTimeout(gpointer data) {
    auto* self = static_cast<Stream*>(data);
    self->statusTimer_ = 0;
    self->Fail(SOUP_STATUS_GATEWAY_TIMEOUT, "the worker did not start in time");
    return G_SOURCE_REMOVE;
}

// The client's side of the connection became readable: either it closed (end of stream,
// or an error), or it sent the next request early; only the first matters here.
gboolean Stream::OnClientSocket(GSocket* socket, GIOCondition, gpointer data) {
    auto* self = static_cast<Stream*>(data);
    char byte = 0;
    ssize_t n = recv(g_socket_get_fd(socket), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (n < 0 && (errno == EAGAIN || errno == EINTR))
        return G_SOURCE_CONTINUE;
    g_source_unref(self->socketWatch_);
    self->socketWatch_ = nullptr;
    if (n <= 0)
        self->ClientGone();
    return G_SOURCE_REMOVE;
}

// The worker stops at once; libsoup learns of the closed connection when it next writes,
// so the answer is ended to make it write.
void Stream::ClientGone() {
    const State was = state_;
    state_ = State::kEnded;
    Stop();
    if (was == State::kStatus) {
        soup_server_message_set_status(msg_, SOUP_STATUS_INTERNAL_SERVER_ERROR, nullptr);
        soup_server_message_unpause(msg_);
    } else if (was == State::kBody) {
        EndBody();
    }
}

void Stream::OnWroteChunk(SoupServerMessage*, gpointer data) {
    auto* self = static_cast<Stream*>(data);
    if (self->queued_ > 0)
        --self->queued_;
    if (self->state_ == State::kBody && self->queued_ < kMaxQueuedChunks / 2)
        self->WatchPipe();
}

void Stream::OnFinished(SoupServerMessage*, gpointer data) {
    auto* self = static_cast<Stream*>(data);
    self->state_ = State::kEnded;
    self->Stop();
}

void Stream::Stop() {
    if (start_.pid > 0) {
        jobs_.Stop(start_.pid);
        start_.pid = -1;
    }
    if (pipeWatch_ != 0) {
        g_source_remove(pipeWatch_);
        pipeWatch_ = 0;
    }
    if (start_.fd >= 0) {
        close(start_.fd);
        start_.fd = -1;
    }
    if (statusTimer_ != 0) {
        g_source_remove(statusTimer_);
        statusTimer_ = 0;
    }
    if (socketWatch_ != nullptr) {
        g_source_destroy(socketWatch_);
        g_source_unref(socketWatch_);
        socketWatch_ = nullptr;
    }
}

}  // namespace

void BeginTranscodeStream(SoupServerMessage* msg, TranscodeJobs& jobs, const StreamStart& start) {
    auto* stream = new Stream(msg, jobs, start);
    g_object_set_data_full(G_OBJECT(msg), "calyx-dms-transcode", stream,
                           [](gpointer data) { delete static_cast<Stream*>(data); });
    stream->Begin();
}

}  // namespace calyx_dms
