// Media database: the query builder over the media index.
//
// The platform's database functions (ZEVODBConnect, ...) are declared in calyx/platform.h;
// this header needs only their handle types (calyx/types.h).
#ifndef CALYX_MEDIA_DB_H
#define CALYX_MEDIA_DB_H

#include <stddef.h>

#include <map>
#include <string>
#include <vector>

#include "calyx/export.h"
#include "calyx/types.h"

namespace Calyx {

/// A query over one table of the media index: filter conditions, one SELECT built from
/// fixed clause templates (or a statement of the caller's), and a walk over its rows.
///
/// Use: construct; add conditions; Select, SelectTotal or Execute; then NextRow before
/// each row (the first call moves to the first row) and FetchField, FetchFieldAsInt or
/// FetchMediaItem on it. A new statement may follow on the same object; conditions are
/// never removed and apply to every later Select.
///
/// Ownership: the object owns its result set and, when it opened it, its connection. A
/// connection passed in is borrowed: it is never closed here and must outlive the object.
/// Thread safety: one thread at a time per object; objects on separate connections may
/// run in parallel, objects sharing a connection may not. Nothing throws; failures give
/// -1, 0, false or an empty string as described below, and nothing is logged for them.
class CALYX_EXPORT MediaDB {
public:
    /// Selects the table: MEDIA_TABLE_MUSIC "music", MEDIA_TABLE_VIDEO "video",
    /// MEDIA_TABLE_PLAYLIST "playlist", MEDIA_TABLE_DIRECTORY "directory", and "photo" for
    /// MEDIA_TABLE_PHOTO and any other value. With a null `conn` it opens its own
    /// connection to the database "calyx" as the user "admin" (libpq's defaults, such as
    /// PGHOST and PGPORT, choose the server); a failed connect makes every statement fail.
    MediaDB(MEDIA_TABLE_TYPE type, DBConnect* conn);
    /// Frees the result set; closes the connection only if this object opened it.
    virtual ~MediaDB();

    MediaDB(const MediaDB&) = delete;
    MediaDB& operator=(const MediaDB&) = delete;

    /// Adds an SQL condition, used as it stands (nothing is escaped or checked: build
    /// values with SQLEscapeString or SQLEscapeCondition). An empty condition is ignored.
    void AddCondition(const std::string& condition);

    /// Adds «video_codec != '<codec>'». The codec is inserted unescaped.
    void AddExcludeVideoCodec(std::string codec);

    /// Adds «path !~* E'.*\.<ext>$'»: excludes paths ending in `ext` after a dot, ignoring
    /// case. The E'...' literal consumes the backslash, so the pattern's dot matches any
    /// character ("/v/xmkv" is excluded by "mkv" too). `ext` is inserted raw into the
    /// pattern: its regular-expression characters keep their meaning. A null `ext` adds
    /// nothing.
    void AddExcludeExt(const char* ext);

    /// Runs «SELECT <fields> FROM <table> » followed, each only when it applies, by
    /// « WHERE <conditions joined by " and "> », « GROUP BY <groupBy> » (non-empty),
    /// « ORDER BY <orderBy> » (non-empty), « LIMIT <limit> » (limit > 0) and
    /// « OFFSET <offset> » (offset != 0, negative ones too). The statement is written to
    /// the library log when its level is above 1. Returns the number of rows, or -1.
    int Select(const std::string& fields, const std::string& orderBy, int offset, int limit,
               const std::string& groupBy);

    /// COUNT(id) of the table under the conditions added so far; 0 on failure.
    int SelectTotal();

    /// Runs `sql` as it stands (not logged). Returns the number of rows (0 for a command),
    /// or -1.
    int Execute(const std::string& sql);

    /// Moves to the next row of the last statement's result (the first row after a new
    /// statement). False when there is none, or no result.
    bool NextRow();

    /// Text of column `name` in the current row; empty for a missing column, an SQL NULL,
    /// no current row or no result. Column names follow SQL identifier rules: unquoted
    /// names match case-insensitively, "double-quoted" names exactly.
    std::string FetchField(const char* name);

    /// FetchField read as a base-10 integer (strtol): missing or non-numeric gives 0,
    /// trailing text is ignored, values beyond the int range are clamped to it.
    int FetchFieldAsInt(const char* name);

    /// Fills every field of `item` from the current row's columns of the same names
    /// (absent columns and NULLs give zero or empty; long texts are cut). False when there
    /// is no result or no current row.
    bool FetchMediaItem(ZEVO_MEDIA_INFO& item);

protected:
    // For forms of the query built beside this one (MediaQuery below); none of them
    // changes the object's layout.
    /// The connection statements run on (null after a failed connect).
    DBConnect* Connection() const { return m_conn; }
    /// The table name chosen by the constructor.
    const std::string& Table() const { return m_table; }
    /// The conditions added so far, in order.
    const std::vector<std::string>& Conditions() const { return m_conditions; }
    /// Frees the current result set and takes `result` (may be null) as the new one; the
    /// object owns it. Returns its number of rows, or -1 for null.
    int AdoptResult(DBResult* result);

private:
    DBConnect* m_conn;
    DBResult* m_result;
    DBRow m_row;
    std::string m_table;
    std::vector<std::string> m_conditions;
    bool m_ownConn;

    void FreeResult();
};

// =======================================================================================
// Beyond the published interface
// =======================================================================================

/// A MediaDB whose conditions may carry values: a condition writes them $1, $2, ... (numbered
/// within the condition) and they are sent apart from the statement text, never escaped
/// into it. Its statements run through ZEVODBExecuteCached (calyx/platform.h): a text
/// run again on the same connection runs as a statement prepared there, neither parsed
/// nor, once the server settles on a generic plan, planned again.
///
/// The statement has MediaDB::Select's clauses and blanks; the WHERE clause holds the
/// conditions without values first (MediaDB's AddCondition, AddExcludeVideoCodec,
/// AddExcludeExt), then those with values, each in the order added, their placeholders
/// renumbered to follow one another. LIMIT and OFFSET are written as numbers, as there:
/// pages of one size starting at the same place share a statement.
///
/// Use it as a MediaQuery: called through a MediaDB reference, Select and SelectTotal are
/// MediaDB's and leave the conditions with values out. Nothing throws.
class CALYX_EXPORT MediaQuery : public MediaDB {
public:
    /// As MediaDB's constructor.
    MediaQuery(MEDIA_TABLE_TYPE type, DBConnect* conn);

    using MediaDB::AddCondition;
    /// Adds `condition` with the `values` of its placeholders $1 .. $n (n = values.size();
    /// each must appear, none beyond; "$" inside quotes, comments and identifiers is left
    /// alone). A condition that breaks that rule makes every later statement of this
    /// object fail (-1). An empty condition is ignored.
    void AddCondition(const std::string& condition, const std::vector<std::string>& values);

    /// As MediaDB::Select, with the conditions' values as parameters. The statement is
    /// written to the library log when its level is above 1. Returns the number of rows,
    /// or -1.
    int Select(const std::string& fields, const std::string& orderBy, int offset, int limit,
               const std::string& groupBy);

    /// COUNT(id) of the table under every condition added so far; 0 on failure.
    int SelectTotal();

    using MediaDB::Execute;
    /// Runs `sql` (placeholders $1 .. $n) with `values` as a prepared statement (not
    /// logged). Returns the number of rows (0 for a command), or -1.
    int Execute(const std::string& sql, const std::vector<std::string>& values);

private:
    int Run(const std::string& sql, const std::vector<std::string>& values);

    std::vector<std::string> m_valueConditions;  // renumbered to follow one another
    std::vector<std::string> m_values;           // of every condition, in placeholder order
    bool m_broken = false;                       // a condition broke the placeholder rule
};

/// `sql` with each placeholder $k (1 <= k <= count) written $<k + shift>, into `out`.
/// "$" inside '...', E'...', "..." and dollar quotes, comments and identifiers is left
/// alone. False (and `out` unchanged) when a placeholder is above `count` or one of
/// 1 .. count does not appear.
CALYX_EXPORT bool ShiftPlaceholders(const std::string& sql, size_t shift, size_t count,
                                    std::string& out);

/// The database server's text for the last failure on `conn` (for example the reason a
/// statement of MediaDB::Select was refused), without a trailing newline; "" when there
/// was none or `conn` is null. Available with the library's portable platform operations.
CALYX_EXPORT std::string DBConnectLastError(DBConnect* conn);

/// Why the calling thread's last ZEVODBConnect failed, in libpq's words on one line (for
/// example "connection to server on socket ... failed: No such file or directory"); ""
/// when it succeeded or none was made on this thread. Available with the library's
/// portable platform operations.
CALYX_EXPORT std::string DBConnectFailureReason();

}  // namespace Calyx

#endif  // CALYX_MEDIA_DB_H
