// The portable database layer's handles, shared by its source files.
#ifndef CALYX_PLATFORM_PG_HANDLES_H
#define CALYX_PLATFORM_PG_HANDLES_H

#include <libpq-fe.h>
#include <stdint.h>

#include "calyx/platform.h"

/// Number of fields of ZEVO_MEDIA_INFO filled by MediaInfoDBGetRecoredData.
constexpr int kMediaInfoFieldCount = 29;

struct DBConnect {
    PGconn* pg;
};

struct DBResult {
    PGresult* pg;
    uint64_t serial;  ///< unique per result set; row cursors carry it
    int rows;
    /// Column number of each ZEVO_MEDIA_INFO field (-1: absent), looked up once by the
    /// first MediaInfoDBGetRecoredData on this result set rather than once per row.
    bool mediaColumnsKnown;
    int mediaColumns[kMediaInfoFieldCount];
};

namespace Calyx {
namespace detail {

/// Whether `row` stands on a row of `result`.
inline bool CursorOnRow(const DBResult* result, const DBRow& row) {
    return result != nullptr && row.result_serial == result->serial && row.index >= 0 &&
           row.index < result->rows;
}

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_PLATFORM_PG_HANDLES_H
