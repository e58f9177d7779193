// Reading a JSON file as the library's loaders do, with the position of a syntax error.
#include <errno.h>
#include <string.h>

#include <string>
#include <vector>

#include "calyx/ext.h"
#include "dmsutils/json_document.h"
#include "platform/file_kind.h"

namespace Calyx {

using detail::ParseJsonDocument;

namespace {

// 1-based line and column (in bytes) of `offset` within `text`.
void LocateOffset(const std::string& text, size_t offset, int& line, int& column) {
    line = 1;
    column = 1;
    if (offset > text.size())
        offset = text.size();
    for (size_t i = 0; i < offset; ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
}

}  // namespace

bool ReadJsonFile(const std::string& path, Json::Value& root, JsonFileError* error) {
    JsonFileError local;
    JsonFileError& err = error ? *error : local;
    err = JsonFileError();
    try {
        // The loaders' guarded open: a FIFO or socket is refused without waiting, a
        // device is read without waiting, a directory is named as such.
        std::string text;
        detail::SourceKind kind = detail::SourceKind::kMissing;
        if (!detail::ReadJsonSource(path, text, &kind)) {
            const std::string reason = UnreadableFileReason(path);
            err.message = reason.rfind("cannot", 0) == 0 ? reason : "cannot open: it " + reason;
            return false;
        }
        if (kind == detail::SourceKind::kDirectory) {
            err.message = "cannot read: it is a directory";
            return false;
        }
        Json::Reader reader;
        std::string thrown;
        if (ParseJsonDocument(text, root, &reader, &thrown))
            return true;
        if (!thrown.empty()) {  // nested deeper than the reader allows
            err.message = thrown;
            return false;
        }
        std::vector<Json::Reader::StructuredError> errors = reader.getStructuredErrors();
        if (errors.empty()) {
            err.message = "not valid JSON";
            LocateOffset(text, text.size(), err.line, err.column);
            return false;
        }
        std::string message = errors.front().message;
        while (!message.empty() && (message.back() == '\n' || message.back() == ' '))
            message.pop_back();
        err.message = "JSON syntax error: " + message;
        LocateOffset(text, static_cast<size_t>(errors.front().offset_start), err.line, err.column);
        return false;
    } catch (const std::exception& e) {  // allocation failure or a stream exception
        err.message = e.what();
        return false;
    }
}

}  // namespace Calyx
