// Reading JSON documents the one way every loader of the library reads them.
#ifndef CALYX_DMSUTILS_JSON_DOCUMENT_H
#define CALYX_DMSUTILS_JSON_DOCUMENT_H

#include <json/reader.h>
#include <json/value.h>

#include <string>

namespace Calyx {
namespace detail {

/// Parses `text` as one JSON document with comments kept, as Json::Reader::parse does.
/// False on a syntax error, and for a document nested deeper than the reader allows,
/// which it signals by throwing: `root` is then null and `thrown` (when given) receives
/// the reason. Never throws. `reader` (when given) does the parse and keeps the details
/// of a syntax error.
bool ParseJsonDocument(const std::string& text, Json::Value& root, Json::Reader* reader = nullptr,
                       std::string* thrown = nullptr);

enum class JsonFileOutcome { kParsed, kCannotOpen, kParseFailed };

/// Reads the file at `path` and parses it with ParseJsonDocument. A FIFO, socket or
/// device counts as a file that cannot be opened (opening it could wait forever). The
/// failures are logged at level 0 (when the level is not negative) as
/// "Error: <method> - %s could not open\n" (with `path`) and
/// "Error: <method> - Json::Reader::parse failed\n". On a parse failure `root` holds what
/// the reader produced. Never throws: a file too large to read into memory counts as one
/// that cannot be opened (without a report).
JsonFileOutcome LoadJsonFile(const std::string& path, const char* method, Json::Value& root);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_DMSUTILS_JSON_DOCUMENT_H
