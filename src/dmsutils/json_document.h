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
/// the reason. Throws only std::bad_alloc. `reader` (when given) does the parse and keeps the
/// details of a syntax error.
bool ParseJsonDocument(const std::string& text, Json::Value& root, Json::Reader* reader = nullptr,
                       std::string* thrown = nullptr);

enum class JsonFileOutcome { kParsed, kCannotOpen, kParseFailed };

/// What LoadJsonFile read, for callers that keep track of the file.
struct JsonFileRead {
    std::string text;           ///< the bytes read
    bool regularFile = false;   ///< the path named a regular file
    bool readerGaveUp = false;  ///< the reader threw (nesting too deep): `root` is null
};

/// Reads the file at `path` with ReadJsonSource (a device is read without waiting, a
/// directory reads as nothing; a FIFO or socket counts as a file that cannot be opened)
/// and parses it into `root` with ParseJsonDocument: `root` is not cleared first, so on a
/// parse failure it holds whatever the reader left in it. The failures are logged at
/// level 0 (when the level is not negative) as "Error: <method> - %s could not open\n"
/// (with `path`) and "Error: <method> - Json::Reader::parse failed\n". Never throws: a
/// file too large to read into memory counts as one that cannot be opened (without a
/// report). `read` (when given) receives the bytes and what they came from.
JsonFileOutcome LoadJsonFile(const std::string& path, const char* method, Json::Value& root,
                             JsonFileRead* read = nullptr);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_DMSUTILS_JSON_DOCUMENT_H
