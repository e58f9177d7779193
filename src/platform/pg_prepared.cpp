// Prepared statements of the portable database layer: by name (prepared once, run with
// parameters, prepared again after the server forgot them) and by text (a bounded cache
// of them per connection).
#include <string.h>

#include <exception>
#include <string>

#include "calyx/platform.h"
#include "platform/pg_handles.h"

namespace {

// The statements ZEVODBExecuteCached keeps per connection; names with this prefix are
// the cache's own.
constexpr size_t kCachedStatements = 64;
constexpr char kCachedPrefix[] = "calyx_cached_";
// PostgreSQL cuts longer names (NAMEDATALEN - 1), which would make two names one.
constexpr size_t kMaxNameLength = 63;

bool SqlStateIs(const PGresult* result, const char* state) {
    const char* field = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    return field != nullptr && strcmp(field, state) == 0;
}

// Drops `name` on the server; true when it is gone (or was never there).
bool DropOnServer(DBConnect* conn, const std::string& name) {
    char* quoted = PQescapeIdentifier(conn->pg, name.c_str(), name.size());
    if (quoted == nullptr) {
        return false;
    }
    const std::string sql = std::string("DEALLOCATE ") + quoted;
    PQfreemem(quoted);
    PGresult* result = PQexec(conn->pg, sql.c_str());
    const bool gone = PQresultStatus(result) == PGRES_COMMAND_OK || SqlStateIs(result, "26000");
    PQclear(result);
    return gone;
}

// Prepares `sql` as `name` in the connection's current session and remembers it.
int PrepareOnServer(DBConnect* conn, const std::string& name, const std::string& sql) {
    DBPreparedStatement& statement = conn->prepared[name];
    statement.sql = sql;
    statement.onServer = false;
    for (int attempt = 0; attempt < 2; ++attempt) {
        PGresult* result = PQprepare(conn->pg, name.c_str(), sql.c_str(), 0, nullptr);
        const bool done = PQresultStatus(result) == PGRES_COMMAND_OK;
        // A statement of that name prepared behind the layer's back (an SQL PREPARE run
        // with ZEVODBExecute) gives way once.
        const bool taken = SqlStateIs(result, "42P05");
        PQclear(result);
        if (done) {
            statement.onServer = true;
            return 0;
        }
        if (!taken || !DropOnServer(conn, name)) {
            break;
        }
    }
    conn->prepared.erase(name);
    return -1;
}

int Prepare(DBConnect* conn, const std::string& name, const std::string& sql) {
    if (!Calyx::detail::EnsureSession(conn)) {
        return -1;
    }
    auto known = conn->prepared.find(name);
    if (known != conn->prepared.end()) {
        if (known->second.onServer && known->second.sql == sql) {
            return 0;
        }
        if (known->second.onServer && !DropOnServer(conn, name)) {
            return -1;
        }
    }
    return PrepareOnServer(conn, name, sql);
}

// Whether a failed run of a remembered statement may be retried once it is prepared
// afresh: the server forgot it (DEALLOCATE ALL, DISCARD ALL) or a table it reads changed
// its columns under it ("cached plan must not change result type"). Both fail before
// the statement does anything.
bool Replannable(const PGresult* result) {
    return SqlStateIs(result, "26000") || SqlStateIs(result, "0A000");
}

int ExecutePrepared(DBConnect* conn, const std::string& name, int count, const char* const* values,
                    DBResult** result) {
    if (!Calyx::detail::EnsureSession(conn)) {
        return -1;
    }
    auto known = conn->prepared.find(name);
    if (known != conn->prepared.end() && !known->second.onServer &&
        PrepareOnServer(conn, name, std::string(known->second.sql)) != 0) {
        return -1;
    }
    PGresult* pg = PQexecPrepared(conn->pg, name.c_str(), count, values, nullptr, nullptr, 0);
    known = conn->prepared.find(name);
    if (PQresultStatus(pg) == PGRES_FATAL_ERROR && Replannable(pg) &&
        known != conn->prepared.end() && PQtransactionStatus(conn->pg) == PQTRANS_IDLE) {
        const bool changed = SqlStateIs(pg, "0A000");
        PQclear(pg);
        const std::string sql = known->second.sql;
        if (changed && !DropOnServer(conn, name)) {
            return -1;
        }
        known->second.onServer = false;
        if (PrepareOnServer(conn, name, sql) != 0) {
            return -1;
        }
        pg = PQexecPrepared(conn->pg, name.c_str(), count, values, nullptr, nullptr, 0);
    }
    return Calyx::detail::WrapResult(conn, pg, result);
}

bool UsableName(const char* name) {
    return name != nullptr && name[0] != '\0' && strlen(name) <= kMaxNameLength;
}

bool UsableValues(int count, const char* const* values) {
    return count >= 0 && (count == 0 || values != nullptr);
}

// The least recently used statement of the cache is dropped (on the server too).
void EvictOne(DBConnect* conn) {
    DBStatementCache& cache = conn->cache;
    auto slot = cache.byText.find(cache.uses.front());
    cache.uses.pop_front();
    if (slot == cache.byText.end()) {
        return;
    }
    const std::string name = slot->second.name;
    cache.byText.erase(slot);
    if (name.empty()) {
        return;  // run once, never prepared
    }
    auto known = conn->prepared.find(name);
    if (known != conn->prepared.end()) {
        // On a broken connection the statement goes with the session anyway.
        if (known->second.onServer && PQstatus(conn->pg) == CONNECTION_OK) {
            DropOnServer(conn, name);
        }
        conn->prepared.erase(known);
    }
}

}  // namespace

extern "C" int ZEVODBPrepare(DBConnect* conn, const char* name, const char* sql) {
    if (!UsableName(name) || sql == nullptr ||
        strncmp(name, kCachedPrefix, sizeof kCachedPrefix - 1) == 0) {
        return -1;
    }
    try {
        return Prepare(conn, name, sql);
    } catch (const std::exception&) {
        return -1;
    }
}

extern "C" int ZEVODBExecutePrepared(DBConnect* conn, const char* name, int count,
                                     const char* const* values, DBResult** result) {
    if (result == nullptr) {
        return -1;
    }
    *result = nullptr;
    if (!UsableName(name) || !UsableValues(count, values)) {
        return -1;
    }
    try {
        return ExecutePrepared(conn, name, count, values, result);
    } catch (const std::exception&) {
        return -1;
    }
}

extern "C" int ZEVODBDeallocate(DBConnect* conn, const char* name) {
    if (!UsableName(name) || !Calyx::detail::EnsureSession(conn)) {
        return -1;
    }
    try {
        auto known = conn->prepared.find(name);
        const bool onServer = known == conn->prepared.end() || known->second.onServer;
        if (onServer && !DropOnServer(conn, name)) {
            return -1;
        }
        if (known != conn->prepared.end()) {
            conn->prepared.erase(known);
        }
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

extern "C" int ZEVODBExecuteCached(DBConnect* conn, const char* sql, int count,
                                   const char* const* values, DBResult** result) {
    if (result == nullptr) {
        return -1;
    }
    *result = nullptr;
    if (sql == nullptr || !UsableValues(count, values) || !Calyx::detail::EnsureSession(conn)) {
        return -1;
    }
    try {
        DBStatementCache& cache = conn->cache;
        auto slot = cache.byText.find(sql);
        if (slot == cache.byText.end()) {
            // Seen for the first time: run unnamed (one round trip, as a plain statement)
            // and remember the text, so that a text that comes again is prepared then.
            if (cache.byText.size() >= kCachedStatements && !cache.uses.empty()) {
                EvictOne(conn);
            }
            PGresult* pg = PQexecParams(conn->pg, sql, count, nullptr, values, nullptr, nullptr, 0);
            const int status = Calyx::detail::WrapResult(conn, pg, result);
            if (status == 0) {
                auto use = cache.uses.insert(cache.uses.end(), sql);
                try {
                    cache.byText.emplace(sql, DBStatementCache::Slot{std::string(), use});
                } catch (const std::exception&) {
                    cache.uses.erase(use);
                }
            }
            return status;
        }
        cache.uses.splice(cache.uses.end(), cache.uses, slot->second.use);
        if (slot->second.name.empty()) {
            const std::string name = kCachedPrefix + std::to_string(cache.nextName++);
            if (PrepareOnServer(conn, name, sql) != 0) {
                return -1;
            }
            slot->second.name = name;
        }
        return ExecutePrepared(conn, slot->second.name, count, values, result);
    } catch (const std::exception&) {
        return -1;
    }
}
