// Reading JSON documents the one way every loader of the library reads them.
#ifndef CALYX_DMSUTILS_JSON_DOCUMENT_H
#define CALYX_DMSUTILS_JSON_DOCUMENT_H

#include <json/value.h>

#include <string>

#include "calyx/core.h"

namespace Calyx {
namespace detail {

/// The library's one reader of untrusted JSON: parses `text` as one JSON document with
/// comments kept, as Json::Reader::parse does. False on a syntax error (`error`, when
/// given, receives "JSON syntax error: <reason>" and its 1-based line and column) and for
/// a document nested deeper than the reader allows, which it signals by throwing (`root`
/// is then null and `error` receives the reader's reason with line and column 0). Throws
/// only std::bad_alloc.
bool ParseJsonDocument(const std::string& text, Json::Value& root, Error* error = nullptr);

/// FindDuplicateJsonKey: the strict reading of `text` (duplicate keys rejected, otherwise
/// the limits of ParseJsonDocument). Throws only std::bad_alloc.
bool FindDuplicateKey(const std::string& text, Error& where);

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
