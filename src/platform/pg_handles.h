// The portable database layer's handles, shared by its source files.
#ifndef CALYX_PLATFORM_PG_HANDLES_H
#define CALYX_PLATFORM_PG_HANDLES_H

#include <libpq-fe.h>
#include <stdint.h>

#include <list>
#include <string>
#include <unordered_map>

#include "calyx/platform.h"

/// Number of fields of ZEVO_MEDIA_INFO filled by MediaInfoDBGetRecoredData.
constexpr int kMediaInfoFieldCount = 29;

/// A statement prepared by name on a connection, remembered so that it can be prepared
/// again when the server forgot it (a reset connection starts a new session).
struct DBPreparedStatement {
    std::string sql;
    bool onServer = false;  ///< prepared in the connection's current session
};

/// The texts run by ZEVODBExecuteCached, least recently used first.
struct DBStatementCache {
    struct Slot {
        std::string name;  ///< the prepared statement; "" for a text run once so far
        std::list<std::string>::iterator use;  ///< its place in `uses`
    };
    std::unordered_map<std::string, Slot> byText;
    std::list<std::string> uses;  ///< texts, least recently used at the front
    uint64_t nextName = 1;
};

struct DBConnect {
    PGconn* pg = nullptr;
    std::unordered_map<std::string, DBPreparedStatement> prepared;  ///< by name
    DBStatementCache cache;
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

/// Re-establishes a connection found broken (once; the new session has no prepared
/// statements). False when `conn` is null or it cannot be re-established.
bool EnsureSession(DBConnect* conn);

/// Hands the result of a statement to the caller as a new result set in `*result`
/// (0), or frees it and leaves a connection that a COPY put in copy mode usable again
/// (-1, `*result` null).
int WrapResult(DBConnect* conn, PGresult* pg, DBResult** result);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_PLATFORM_PG_HANDLES_H
