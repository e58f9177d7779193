// Text made fit for the UTF-8 index (the path codec itself is declared in indexer.h).
#ifndef CALYX_SERVER_INDEXER_INDEXED_PATH_H
#define CALYX_SERVER_INDEXER_INDEXED_PATH_H

#include <string>

namespace calyx_indexer {

// `text` with every byte that does not belong to a valid UTF-8 sequence replaced by
// U+FFFD: tags are shown, never used to open anything, so they need not round-trip.
std::string ValidUtf8(const std::string& text);

}  // namespace calyx_indexer

#endif  // CALYX_SERVER_INDEXER_INDEXED_PATH_H
