// Browse and Search results handed to the SOAP reply in one piece. The UPnP stack escapes a
// string argument one character at a time into its reply; a page of DIDL-Lite escaped by
// the server in one pass (off the main loop, or kept from an earlier answer) is spliced
// into the reply the stack made instead, with the same bytes as the stack's escaping.
#ifndef CALYX_DMS_RESULT_HAND_OVER_H
#define CALYX_DMS_RESULT_HAND_OVER_H

#include <libgupnp/gupnp.h>

#include <memory>
#include <string>
#include <string_view>

namespace calyx_dms {

// Appends `text` to `out` escaped as the stack escapes an argument's character data:
// & < > and " as entities, every other byte as it is.
void AppendArgumentText(std::string& out, std::string_view text);

// `text` escaped by AppendArgumentText, shared (an answer kept for later clients).
std::shared_ptr<const std::string> EscapedArgumentText(std::string_view text);

// True when the stack would compress the reply to `action` (its request accepts gzip): a
// compressed reply cannot take a spliced result, so such clients are answered the plain way.
bool ReplyCompressed(GUPnPServiceAction* action);

// The numbers of a Browse or Search answer besides its Result.
struct ResultCounts {
    guint returned = 0;
    guint total = 0;
    guint updateId = 0;
};

// Answers `action` (whose reply is not compressed) with Result `escapedResult` (escaped
// by AppendArgumentText) and `counts`, as gupnp_service_action_set and
// gupnp_service_action_return_success would with the unescaped text. False (the reply is
// then a bare status 500, and logged) when the stack's reply was not as expected.
bool ReturnEscapedResult(GUPnPServiceAction* action,
                         std::shared_ptr<const std::string> escapedResult,
                         const ResultCounts& counts);

// A Result made of pieces, each escaped by AppendArgumentText: `opening`, the bytes
// [offset, offset + length) of `shared` (handed over without a copy) and `closing`.
struct ResultPieces {
    std::string_view opening;
    std::shared_ptr<const std::string> shared;
    size_t offset = 0;
    size_t length = 0;
    std::string_view closing;
};

// As ReturnEscapedResult, with the Result `pieces` put together.
bool ReturnEscapedPieces(GUPnPServiceAction* action, ResultPieces pieces,
                         const ResultCounts& counts);

}  // namespace calyx_dms

#endif  // CALYX_DMS_RESULT_HAND_OVER_H
