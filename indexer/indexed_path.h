// Indexed paths: the index holds UTF-8 only, so the bytes of a file name that are not
// valid UTF-8 are escaped. Needs no media library: the server decodes paths with it alone.
#ifndef CALYX_INDEXER_INDEXED_PATH_H
#define CALYX_INDEXER_INDEXED_PATH_H

#include <string>

#include "calyx/utf8.h"

namespace calyx_indexer {

// The indexed form of a file path: valid UTF-8 sequences are kept, "%" becomes "%25" and
// every other byte "%XX" (upper-case hex).
std::string EncodeIndexedPath(const std::string& path);

// The file path an indexed path stands for: the inverse of EncodeIndexedPath. A "%" not
// followed by two hex digits is kept as it stands.
std::string DecodeIndexedPath(const std::string& indexedPath);

// Tags are made valid UTF-8 by replacing every stray byte with U+FFFD: they are shown,
// never used to open anything, so they need not round-trip (paths do).
using Calyx::ValidUtf8;

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_INDEXED_PATH_H
