// Platform operations that libcalyx calls by name.
//
// On the appliance these come from the platform's own libraries. libcalyx ships a
// portable implementation of each (built in unless CALYX_PORTABLE_PLATFORM is off) that
// reads ordinary Linux sources, all of them resolvable under a root prefix (CALYX_ROOT);
// docs/platform.md lists every file it reads. A host may call them too: it lends a
// connection from ZEVODBConnect to Calyx::MediaDB, for example.
//
// Unless said otherwise, text results are NUL-terminated and cut to the buffer size
// given, and the functions are safe to call from several threads at once.
#ifndef CALYX_PLATFORM_H
#define CALYX_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#include "calyx/export.h"
#include "calyx/types.h"

#ifdef __cplusplus
#include <string>

#include <json/value.h>
#endif

/// One network card as ZEVONetGetCard1 describes it: a record of 72 bytes whose usable
/// flag stands at offset 4, hardware address at 24 and text entry at 30.
typedef struct ZEVO_NET_CARD {
    int32_t index;     ///< offset 0: position in the card order
    int32_t usable;    ///< offset 4: non-zero when the card is up
    uint32_t ipv4;     ///< offset 8: IPv4 address, network byte order (0: none)
    uint32_t netmask;  ///< offset 12: IPv4 netmask, network byte order
    uint32_t mtu;      ///< offset 16
    uint32_t speed;    ///< offset 20: link speed in Mbit/s (0: unknown)
    uint8_t mac[6];    ///< offset 24: hardware address, first byte first
    char name[42];     ///< offset 30: text entry (the interface name), NUL-terminated
} ZEVO_NET_CARD;

#ifdef __cplusplus
extern "C" {
#endif

// --- Core platform library ---------------------------------------------------------

/// Runs `program` with up to six arguments (the list ends at the first null) directly,
/// without a shell, and waits for it. Returns 0 when it exited with status 0, the wait
/// status when it failed, -1 when it could not be started.
CALYX_EXPORT int QLIBCExec(const char* program, const char* arg1, const char* arg2,
                           const char* arg3, const char* arg4, const char* arg5, const char* arg6);

/// Looks `key` up in the key=value file `path` (the first line with the key wins;
/// "#"/";" comments, blank and "[section]" lines ignored; one pair of surrounding double
/// quotes removed) and copies its value into `buf` (cut to `size`). Returns > 0 when
/// found (also for an empty value), 0 when not found, < 0 when the file cannot be read.
CALYX_EXPORT int QLIBCFileGetKeyValue(const char* path, const char* key, char* buf, int size,
                                      int flags);

/// Returns the next non-empty token of the text at `*cursor` up to any byte of `seps`,
/// NUL-terminates it in place and advances `*cursor` past it; null when none is left.
CALYX_EXPORT char* QLIBCStrTokIndex(char** cursor, const char* seps);

/// Writes the device's custom serial number (may be empty) into `buf`. Returns >= 0 on
/// success, < 0 on failure.
CALYX_EXPORT int QLIBGetCustomSerialNumber(char* buf, int size);

/// Writes the device's factory serial number (may be empty) into `buf`. Returns >= 0 on
/// success, < 0 on failure.
CALYX_EXPORT int QLIBGetSerialNumber(char* buf, int size);

// --- Network cards ----------------------------------------------------------------

/// Number of network cards of the types in `typeMask` (3: all wired and wireless).
CALYX_EXPORT int ZEVONetEnumCard(int typeMask);

/// Fills `card` for the card at `index` (0-based, in card order). Returns > 0 on
/// success, <= 0 when there is no such card or it cannot be read.
CALYX_EXPORT int ZEVONetGetCard1(int index, int flags, ZEVO_NET_CARD* card);

// --- Shared folders ---------------------------------------------------------------

/// Writes the absolute directory of the share `name` into `buf`. Returns 0 on success,
/// non-zero when there is no such share.
CALYX_EXPORT int ZEVOSharePathGet(const char* name, char* buf, int size);

// --- Media index database ---------------------------------------------------------

/// A malloc'ed copy of `text` escaped for use inside a single-quoted ('...') literal,
/// or null on failure. The caller frees it.
CALYX_EXPORT char* ZEVODBEscapeStrAlloc(const char* text);

/// Writes `text` with every backslash doubled into `out` (each byte becomes at most two,
/// cut to `size`). Returns 0, or -1 when `out` is null or `size` is not positive.
CALYX_EXPORT int ZEVODBEscapeBackslash(char* out, int size, const char* text);

/// Connects to database `dbname` as `user`; a null argument takes the client library's
/// defaults (PGHOST, PGPORT, PGUSER, ...). The session uses the UTF-8 client encoding and
/// standard-conforming strings, which SQLEscapeString and SQLEscapeCondition rely on.
/// Returns the connection, or null. A connection is used by one thread at a time.
CALYX_EXPORT DBConnect* ZEVODBConnect(const char* host, const char* user, const char* password,
                                      const char* dbname);

/// Runs `sql` and stores its new result set in `*result`. Returns 0 on success (rows or
/// command); on failure returns non-zero and stores no result (`*result` is set to null).
/// A connection found broken is re-established once before the statement is sent.
CALYX_EXPORT int ZEVODBExecute(DBConnect* conn, const char* sql, DBResult** result);

/// Number of rows of `result` (0 for a null result).
CALYX_EXPORT int ZEVODBNumRows(DBResult* result);

/// Moves `row` to the next row of `result`. Returns 0 while there is one, non-zero at the
/// end or on error.
CALYX_EXPORT int ZEVODBFetchRow(DBResult* result, DBRow* row);

/// The text of column `name` in the current row, or null for a missing column, an SQL
/// NULL or a cursor that is not on a row. Column names follow SQL identifier rules
/// (unquoted: any case; "double-quoted": exact). Valid until the result set is freed.
CALYX_EXPORT const char* ZEVODBFetchField(DBResult* result, DBRow row, const char* name);

/// Frees a result set; null is ignored.
CALYX_EXPORT void ZEVODBFreeResult(DBResult* result);

/// Closes a connection; null is ignored.
CALYX_EXPORT void ZEVODBClose(DBConnect* conn);

// --- Prepared statements (the portable layer's; the appliance's library has none) ---
// A statement with placeholders $1, $2, ... is parsed and planned by the server once per
// connection and then run with its values sent apart from the text (as text, each value
// a NUL-terminated string or null for SQL NULL). Results are read and freed as
// ZEVODBExecute's. A connection re-established after it was lost prepares its
// statements again by itself. Failures return non-zero and store no result; the
// server's reason is DBConnectLastError's (calyx/media_db.h).

/// Prepares `sql` on `conn` under `name` (1 to 63 bytes; names beginning "calyx_cached_"
/// are ZEVODBExecuteCached's and refused). Preparing a name again with the same text
/// costs nothing; with another text it replaces the statement. Returns 0 on success.
CALYX_EXPORT int ZEVODBPrepare(DBConnect* conn, const char* name, const char* sql);

/// Runs the statement prepared as `name` with `count` parameter values and stores its
/// new result set in `*result`. A statement the server no longer knows, or whose tables
/// changed their columns, is prepared again from its text and run once more. Returns 0
/// on success.
CALYX_EXPORT int ZEVODBExecutePrepared(DBConnect* conn, const char* name, int count,
                                       const char* const* values, DBResult** result);

/// Drops the statement prepared as `name` on `conn`. Returns 0 when it is gone.
CALYX_EXPORT int ZEVODBDeallocate(DBConnect* conn, const char* name);

/// Runs `sql` with `count` parameter values; a text run again on `conn` runs as a
/// statement prepared there (the first run sends it unnamed, in one round trip, so that
/// a text run only once costs no more than a plain statement). A connection remembers
/// the 64 texts run most recently; the least recently used is forgotten (and dropped
/// from the server) for a 65th. Returns 0 on success.
CALYX_EXPORT int ZEVODBExecuteCached(DBConnect* conn, const char* sql, int count,
                                     const char* const* values, DBResult** result);

/// Fills every field of `info` from the current row's columns of the same name (absent
/// columns and SQL NULLs give zero or empty; numbers beyond a field's range are clamped;
/// texts too long for their array are cut and NUL-terminated; bytes after a text's
/// terminator are left as they were). Column numbers are looked up once per result set.
/// Returns 0 on success, non-zero when the cursor is not on a row or `info` is null.
CALYX_EXPORT int MediaInfoDBGetRecoredData(DBResult* result, DBRow row, ZEVO_MEDIA_INFO* info);

#ifdef __cplusplus
}  // extern "C"

namespace ZEVO {
namespace Tarn {

/// The localized-text parser.
class CALYX_EXPORT LocalizedStringParser {
public:
    /// Reads the file "strings" in directory `dir` and returns an object of
    /// section -> (key -> text). A missing file, or one without usable lines, yields a
    /// value without members.
    static Json::Value ParseTexts(std::string dir);
};

}  // namespace Tarn
}  // namespace ZEVO
#endif

#endif  // CALYX_PLATFORM_H
