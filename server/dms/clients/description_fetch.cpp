#include "clients/description_fetch.h"

#include <memory>

namespace calyx_dms {

namespace {

const gsize kReadPiece = 8192;

// One fetch in flight; deletes itself when done.
struct PendingFetch {
    DescriptionFetcher::Done done;
    GCancellable* cancellable = nullptr;  // this fetch's own (timeout, size) and the owner's
    gulong ownerHandler = 0;
    GCancellable* owner = nullptr;
    guint timer = 0;
    GInputStream* stream = nullptr;
    std::string body;
    char buffer[kReadPiece];
    bool ownerGone = false;

    ~PendingFetch() {
        if (timer)
            g_source_remove(timer);
        if (owner) {
            g_cancellable_disconnect(owner, ownerHandler);
            g_object_unref(owner);
        }
        if (stream)
            g_object_unref(stream);
        g_object_unref(cancellable);
    }

    void Finish(bool ok) {
        if (!ownerGone && done)
            done(ok, ok ? body : std::string());
        delete this;
    }
};

void ReadMore(PendingFetch* fetch);

void PieceRead(GObject* source, GAsyncResult* result, gpointer data) {
    auto* fetch = static_cast<PendingFetch*>(data);
    gssize got = g_input_stream_read_finish(G_INPUT_STREAM(source), result, nullptr);
    if (got < 0)
        return fetch->Finish(false);
    if (got == 0)
        return fetch->Finish(true);
    if (fetch->body.size() + static_cast<size_t>(got) > kMaxDescriptionBytes)
        return fetch->Finish(false);  // too large: the rest is never read
    fetch->body.append(fetch->buffer, static_cast<size_t>(got));
    ReadMore(fetch);
}

void ReadMore(PendingFetch* fetch) {
    g_input_stream_read_async(fetch->stream, fetch->buffer, sizeof fetch->buffer,
                              G_PRIORITY_DEFAULT, fetch->cancellable, PieceRead, fetch);
}

void Sent(GObject* source, GAsyncResult* result, gpointer data) {
    auto* fetch = static_cast<PendingFetch*>(data);
    SoupMessage* msg = soup_session_get_async_result_message(SOUP_SESSION(source), result);
    fetch->stream = soup_session_send_finish(SOUP_SESSION(source), result, nullptr);
    if (!fetch->stream || !msg || soup_message_get_status(msg) != SOUP_STATUS_OK)
        return fetch->Finish(false);
    goffset announced =
        soup_message_headers_get_content_length(soup_message_get_response_headers(msg));
    if (announced > static_cast<goffset>(kMaxDescriptionBytes))
        return fetch->Finish(false);
    ReadMore(fetch);
}

}  // namespace

DescriptionFetcher::DescriptionFetcher()
    : session_(soup_session_new_with_options("timeout", kDescriptionTimeoutSeconds, "idle-timeout",
                                             kDescriptionTimeoutSeconds, "max-conns-per-host", 1,
                                             nullptr)),
      cancellable_(g_cancellable_new()) {}

DescriptionFetcher::~DescriptionFetcher() {
    g_cancellable_cancel(cancellable_);
    g_object_unref(cancellable_);
    soup_session_abort(session_);
    g_object_unref(session_);
}

bool DescriptionFetcher::Fetch(const std::string& url, Done done) {
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return false;
    const bool http = g_strcmp0(g_uri_get_scheme(uri), "http") == 0 && g_uri_get_host(uri);
    SoupMessage* msg = http ? soup_message_new_from_uri(SOUP_METHOD_GET, uri) : nullptr;
    g_uri_unref(uri);
    if (!msg)
        return false;
    soup_message_add_flags(msg, SOUP_MESSAGE_NO_REDIRECT);

    auto* fetch = new PendingFetch;
    fetch->done = std::move(done);
    fetch->cancellable = g_cancellable_new();
    // The owner's cancellation (at shutdown) cancels this fetch without its callback.
    fetch->owner = G_CANCELLABLE(g_object_ref(cancellable_));
    fetch->ownerHandler =
        g_cancellable_connect(cancellable_, G_CALLBACK(+[](GCancellable*, gpointer data) {
                                  auto* f = static_cast<PendingFetch*>(data);
                                  f->ownerGone = true;
                                  g_cancellable_cancel(f->cancellable);
                              }),
                              fetch, nullptr);
    fetch->timer = g_timeout_add_seconds(
        kDescriptionTimeoutSeconds,
        [](gpointer data) -> gboolean {
            auto* f = static_cast<PendingFetch*>(data);
            f->timer = 0;
            g_cancellable_cancel(f->cancellable);
            return G_SOURCE_REMOVE;
        },
        fetch);
    soup_session_send_async(session_, msg, G_PRIORITY_DEFAULT, fetch->cancellable, Sent, fetch);
    g_object_unref(msg);
    return true;
}

}  // namespace calyx_dms
