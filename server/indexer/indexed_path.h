// Text made fit for the UTF-8 index (the path codec itself is declared in indexer.h).
#ifndef CALYX_SERVER_INDEXER_INDEXED_PATH_H
#define CALYX_SERVER_INDEXER_INDEXED_PATH_H

#include "calyx/utf8.h"

namespace calyx_indexer {

// Tags are made valid UTF-8 by replacing every stray byte with U+FFFD: they are shown,
// never used to open anything, so they need not round-trip (paths do: see indexer.h).
using Calyx::ValidUtf8;

}  // namespace calyx_indexer

#endif  // CALYX_SERVER_INDEXER_INDEXED_PATH_H
