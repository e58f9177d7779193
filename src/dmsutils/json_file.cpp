// The JSON readers of hosts and tools: untrusted text, and files opened as the library's
// loaders open them, with the position of a syntax error.
#include <string>

#include "calyx/core.h"
#include "dmsutils/json_document.h"
#include "platform/file_kind.h"

namespace Calyx {

bool ParseJsonText(const std::string& text, Json::Value& root, Error* error) {
    Error local;
    Error& err = error ? *error : local;
    err = Error();
    try {
        return detail::ParseJsonDocument(text, root, &err);
    } catch (const std::exception& e) {  // allocation failure
        err = Error();
        err.message = e.what();
        return false;
    }
}

bool FindDuplicateJsonKey(const std::string& text, Error* where) {
    Error local;
    try {
        return detail::FindDuplicateKey(text, where != nullptr ? *where : local);
    } catch (const std::exception&) {  // out of memory: no answer
        return false;
    }
}

bool ReadJsonFile(const std::string& path, Json::Value& root, JsonFileError* error) {
    Error err;
    bool parsed = false;
    try {
        // The loaders' guarded open: a FIFO or socket is refused without waiting, a
        // device is read without waiting, a directory is named as such.
        std::string text;
        detail::SourceKind kind = detail::SourceKind::kMissing;
        if (!detail::ReadJsonSource(path, text, &kind)) {
            const std::string reason = UnreadableFileReason(path);
            err.message = reason.rfind("cannot", 0) == 0 ? reason : "cannot open: it " + reason;
        } else if (kind == detail::SourceKind::kDirectory) {
            err.message = "cannot read: it is a directory";
        } else {
            parsed = ParseJsonText(text, root, &err);
        }
    } catch (const std::exception& e) {  // allocation failure or a stream exception
        err = Error();
        err.message = e.what();
    }
    if (error != nullptr) {
        try {
            *error = JsonFileError();
            error->message = err.message;
            error->line = err.line;
            error->column = err.column;
        } catch (const std::exception&) {  // no memory for the message: the position stays
            error->line = err.line;
            error->column = err.column;
        }
    }
    return parsed;
}

}  // namespace Calyx
