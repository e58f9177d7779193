// Portable media index database layer over libpq: connections, statements, result sets
// and their row cursors.
#include <atomic>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "calyx/media_db.h"

#include "calyx/platform.h"
#include "platform/pg_handles.h"

namespace {

// Why this thread's last connection attempt failed (libpq's words), for the host's message.
thread_local std::string tConnectFailure;

// libpq's message on one line: line breaks and indents become single blanks.
void RecordConnectFailure(const char* message) {
    try {
        std::string line;
        bool blank = false;
        for (const char* c = message; c != nullptr && *c != '\0'; ++c) {
            const bool space = *c == '\n' || *c == '\t' || *c == ' ';
            blank = blank || (space && !line.empty());
            if (!space) {
                if (blank)
                    line += ' ';
                line += *c;
                blank = false;
            }
        }
        tConnectFailure = line;
    } catch (const std::exception&) {
        tConnectFailure.clear();
    }
}

// Serial numbers of result sets; 0 is never handed out, so a zeroed cursor is on no row.
std::atomic<uint64_t> gNextResultSerial{1};

// Session settings the library's escaping relies on: with standard-conforming strings a
// backslash in a '...' literal is a plain byte, and with a UTF-8 client encoding a quote
// byte can never be the tail of a multi-byte character.
// (The encoding is a connection parameter; see ZEVODBConnect.)
bool PrepareSession(PGconn* pg) {
    PGresult* r = PQexec(pg, "SET standard_conforming_strings = on");
    bool ok = PQresultStatus(r) == PGRES_COMMAND_OK;
    PQclear(r);
    return ok;
}

// A COPY started by a statement would leave the connection stuck in copy mode: end it
// and drop every remaining result, so the next statement runs normally.
void AbandonCopy(PGconn* pg, ExecStatusType status) {
    if (status == PGRES_COPY_IN) {
        PQputCopyEnd(pg, "COPY FROM STDIN is not supported here");
    } else if (status == PGRES_COPY_OUT) {
        char* buffer = nullptr;
        while (PQgetCopyData(pg, &buffer, 0) > 0) {
            PQfreemem(buffer);
            buffer = nullptr;
        }
    }
    while (PGresult* rest = PQgetResult(pg)) {
        PQclear(rest);
    }
}

// Server notices (NOTICE, WARNING) are not the host's business: libpq would print them on
// the process's standard error.
void IgnoreNotice(void*, const char*) {}

}  // namespace

namespace Calyx {
namespace detail {

bool EnsureSession(DBConnect* conn) {
    if (conn == nullptr || conn->pg == nullptr) {
        return false;
    }
    // A connection lost since the last statement is re-established once; nothing has
    // been sent yet, so no statement can run twice.
    if (PQstatus(conn->pg) == CONNECTION_BAD) {
        PQreset(conn->pg);
        // The new session knows none of the old one's prepared statements.
        for (auto& statement : conn->prepared) {
            statement.second.onServer = false;
        }
        if (PQstatus(conn->pg) != CONNECTION_OK || !PrepareSession(conn->pg)) {
            return false;
        }
    }
    return true;
}

int WrapResult(DBConnect* conn, PGresult* pg, DBResult** result) {
    ExecStatusType status = PQresultStatus(pg);
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
        PQclear(pg);
        if (status == PGRES_COPY_IN || status == PGRES_COPY_OUT) {
            AbandonCopy(conn->pg, status);
        }
        return -1;
    }
    DBResult* wrapped = new (std::nothrow) DBResult;
    if (wrapped == nullptr) {
        PQclear(pg);
        return -1;
    }
    wrapped->pg = pg;
    wrapped->serial = gNextResultSerial.fetch_add(1, std::memory_order_relaxed);
    wrapped->rows = PQntuples(pg);
    wrapped->mediaColumnsKnown = false;
    *result = wrapped;
    return 0;
}

}  // namespace detail
}  // namespace Calyx

extern "C" DBConnect* ZEVODBConnect(const char* host, const char* user, const char* password,
                                    const char* dbname) {
    const char* keys[7];
    const char* values[7];
    int n = 0;
    auto add = [&](const char* key, const char* value) {
        if (value != nullptr) {
            keys[n] = key;
            values[n] = value;
            ++n;
        }
    };
    add("host", host);
    add("user", user);
    add("password", password);
    add("dbname", dbname);
    add("client_encoding", "UTF8");
    add("fallback_application_name", "calyx");
    keys[n] = nullptr;
    values[n] = nullptr;

    // expand_dbname 0: a database name is only a name, never a connection string.
    PGconn* pg = PQconnectdbParams(keys, values, 0);
    if (pg == nullptr) {
        RecordConnectFailure("out of memory");
        return nullptr;
    }
    if (PQstatus(pg) != CONNECTION_OK || !PrepareSession(pg)) {
        RecordConnectFailure(PQerrorMessage(pg));
        PQfinish(pg);
        return nullptr;
    }
    tConnectFailure.clear();
    PQsetNoticeProcessor(pg, IgnoreNotice, nullptr);
    DBConnect* conn = nullptr;
    try {
        conn = new DBConnect;
        conn->pg = pg;
    } catch (const std::exception&) {
        PQfinish(pg);
    }
    return conn;
}

extern "C" int ZEVODBExecute(DBConnect* conn, const char* sql, DBResult** result) {
    if (result == nullptr) {
        return -1;
    }
    *result = nullptr;
    if (sql == nullptr || !Calyx::detail::EnsureSession(conn)) {
        return -1;
    }
    return Calyx::detail::WrapResult(conn, PQexec(conn->pg, sql), result);
}

extern "C" int ZEVODBNumRows(DBResult* result) {
    return result != nullptr ? result->rows : 0;
}

extern "C" int ZEVODBFetchRow(DBResult* result, DBRow* row) {
    if (result == nullptr || row == nullptr) {
        return -1;
    }
    if (row->result_serial != result->serial) {
        // The cursor last walked another result set (or none): start at the first row.
        row->result_serial = result->serial;
        row->index = 0;
    } else if (row->index < result->rows) {
        ++row->index;
    }
    return row->index < result->rows ? 0 : 1;
}

namespace {

// The column `name` names, as PQfnumber finds it. A name of lower-case letters, digits and
// underscores (every name the library and the server ask for) is compared with the
// result's column names as it is: PQfnumber would first copy and fold it, an allocation
// for every field of every row.
int ColumnNumber(const PGresult* pg, const char* name) {
    for (const char* p = name; *p != '\0'; ++p) {
        const bool plain = (*p >= 'a' && *p <= 'z') || (*p >= '0' && *p <= '9') || *p == '_';
        if (!plain) {
            return PQfnumber(pg, name);
        }
    }
    const int fields = PQnfields(pg);
    for (int i = 0; i < fields; ++i) {
        if (strcmp(PQfname(pg, i), name) == 0) {
            return i;
        }
    }
    return -1;
}

}  // namespace

extern "C" const char* ZEVODBFetchField(DBResult* result, DBRow row, const char* name) {
    if (name == nullptr || !Calyx::detail::CursorOnRow(result, row)) {
        return nullptr;
    }
    int column = ColumnNumber(result->pg, name);
    if (column < 0 || PQgetisnull(result->pg, row.index, column)) {
        return nullptr;
    }
    return PQgetvalue(result->pg, row.index, column);
}

extern "C" void ZEVODBFreeResult(DBResult* result) {
    if (result != nullptr) {
        PQclear(result->pg);
        delete result;
    }
}

extern "C" void ZEVODBClose(DBConnect* conn) {
    if (conn != nullptr) {
        PQfinish(conn->pg);
        delete conn;
    }
}

namespace Calyx {

std::string DBConnectFailureReason() {
    try {
        return tConnectFailure;
    } catch (const std::exception&) {
        return "";
    }
}

}  // namespace Calyx
