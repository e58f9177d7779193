#include "upnp/result_hand_over.h"

#include <string.h>

#include <algorithm>
#include <string>

#include <libsoup/soup.h>

#include "calyx/core.h"

namespace calyx_dms {

namespace {

// Stands in for the result while the stack writes the reply; nothing the stack escapes
// and no envelope text contains it.
constexpr std::string_view kPlaceholder = "calyx-result-placeholder-7f3a";

// The entity of each character the stack escapes (null: the character as it is), and the
// bytes it adds.
struct Entities {
    const char* text[256] = {};
    unsigned char extra[256] = {};
    constexpr Entities() {
        Set('&', "&amp;");
        Set('<', "&lt;");
        Set('>', "&gt;");
        Set('"', "&quot;");
    }
    constexpr void Set(char c, const char* entity) {
        const auto at = static_cast<unsigned char>(c);
        text[at] = entity;
        extra[at] = static_cast<unsigned char>(std::char_traits<char>::length(entity) - 1);
    }
};
constexpr Entities kEntities;

// Appends `first` and `second` to `body` as one chunk, copied once.
void AppendJoined(SoupMessageBody* body, std::string_view first, std::string_view second) {
    const size_t size = first.size() + second.size();
    char* chunk = static_cast<char*>(g_malloc(size));
    std::copy(first.begin(), first.end(), chunk);
    std::copy(second.begin(), second.end(), chunk + first.size());
    soup_message_body_append(body, SOUP_MEMORY_TAKE, chunk, size);
}

}  // namespace

void AppendArgumentText(std::string& out, std::string_view text) {
    // Measured first, then written in place: DIDL-Lite has a quote or a bracket every few
    // bytes, and appending around each was a tenth of a fresh page's time.
    size_t size = text.size();
    for (char c : text)
        size += kEntities.extra[static_cast<unsigned char>(c)];
    const size_t at = out.size();
    out.resize(at + size);
    char* to = out.data() + at;
    for (char c : text) {
        const auto index = static_cast<unsigned char>(c);
        if (const char* entity = kEntities.text[index])
            to = std::copy_n(entity, kEntities.extra[index] + 1, to);
        else
            *to++ = c;
    }
}

std::shared_ptr<const std::string> EscapedArgumentText(std::string_view text) {
    auto escaped = std::make_shared<std::string>();
    AppendArgumentText(*escaped, text);
    return escaped;
}

bool ReplyCompressed(GUPnPServiceAction* action) {
    // The stack hands out a reference of its own.
    SoupServerMessage* message = gupnp_service_action_get_message(action);
    const char* accepted = soup_message_headers_get_list(
        soup_server_message_get_request_headers(message), "Accept-Encoding");
    // Any mention of gzip counts: a false alarm only costs the plain way.
    const bool compressed = accepted != nullptr && strstr(accepted, "gzip") != nullptr;
    g_object_unref(message);
    return compressed;
}

bool ReturnEscapedResult(GUPnPServiceAction* action,
                         std::shared_ptr<const std::string> escapedResult,
                         const ResultCounts& counts) {
    const size_t length = escapedResult->size();
    return ReturnEscapedPieces(action, {"", std::move(escapedResult), 0, length, ""}, counts);
}

bool ReturnEscapedPieces(GUPnPServiceAction* action, ResultPieces pieces,
                         const ResultCounts& counts) {
    // A reference of our own (the stack hands one out): the stack lets go of the action,
    // and of its reference to the message, once answered.
    SoupServerMessage* message = gupnp_service_action_get_message(action);
    const std::string placeholder(kPlaceholder);
    gupnp_service_action_set(action, "Result", G_TYPE_STRING, placeholder.c_str(), "NumberReturned",
                             G_TYPE_UINT, counts.returned, "TotalMatches", G_TYPE_UINT,
                             counts.total, "UpdateID", G_TYPE_UINT, counts.updateId, nullptr);
    gupnp_service_action_return_success(action);
    // The reply is only queued: the stack's server writes it from the main loop, after this
    // handler has returned, so its body may still be replaced.
    SoupMessageBody* body = soup_server_message_get_response_body(message);
    GBytes* made = soup_message_body_flatten(body);
    gsize size = 0;
    const char* data = static_cast<const char*>(g_bytes_get_data(made, &size));
    const std::string_view reply(data, size);
    const size_t at = reply.find(kPlaceholder);
    const bool expected =
        at != std::string_view::npos &&
        soup_message_headers_get_one(soup_server_message_get_response_headers(message),
                                     "Content-Encoding") == nullptr;
    if (expected) {
        // Three chunks: the small pieces go with the envelope's text, so that the reply is
        // not written in more, smaller parts than before.
        const size_t tail = at + kPlaceholder.size();
        soup_message_body_truncate(body);
        AppendJoined(body, {data, at}, pieces.opening);
        if (pieces.length > 0) {  // a page past the end of a listing has no objects
            // The shared text is not copied: the body holds a reference to it.
            const char* slice = pieces.shared->data() + pieces.offset;
            auto* holder = new std::shared_ptr<const std::string>(std::move(pieces.shared));
            GBytes* result = g_bytes_new_with_free_func(
                slice, pieces.length,
                [](gpointer kept) {
                    delete static_cast<std::shared_ptr<const std::string>*>(kept);
                },
                holder);
            soup_message_body_append_bytes(body, result);
            g_bytes_unref(result);
        }
        AppendJoined(body, pieces.closing, {data + tail, size - tail});
    } else {
        // Never seen: a stack that writes its replies otherwise. Better an error than a
        // result that is the placeholder.
        soup_message_body_truncate(body);
        soup_server_message_set_status(message, SOUP_STATUS_INTERNAL_SERVER_ERROR, nullptr);
        if (Calyx::DMSLOGGetLevel() >= 0)
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR,
                             "Error: calyx-dms: the UPnP stack's reply has no place for the "
                             "result\n");
    }
    g_bytes_unref(made);
    g_object_unref(message);
    return expected;
}

}  // namespace calyx_dms
