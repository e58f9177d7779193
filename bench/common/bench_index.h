// The media index of one benchmark process: the index's schema script run in a schema of
// the process's own, on the PostgreSQL server that scripts/run-bench.sh starts (PGHOST),
// filled by the benchmark and dropped when it ends.
#ifndef CALYX_BENCH_INDEX_H
#define CALYX_BENCH_INDEX_H

#include <errno.h>
#include <libpq-fe.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "calyx/platform.h"

namespace calyx_bench {

// Runs `sql` on `pg`; false, with the statement and its error on standard error, when it
// fails.
inline bool RunSql(PGconn* pg, const std::string& sql) {
    PGresult* r = PQexec(pg, sql.c_str());
    const bool ok = PQresultStatus(r) == PGRES_COMMAND_OK || PQresultStatus(r) == PGRES_TUPLES_OK;
    if (!ok)
        fprintf(stderr, "%s: %s\n%s", program_invocation_short_name, sql.c_str(),
                PQresultErrorMessage(r));
    PQclear(r);
    return ok;
}

// Why the benchmark cannot run outside scripts/run-bench.sh, or "".
inline std::string MissingServer() {
    return getenv("PGHOST") == nullptr
               ? "PGHOST is not set: run through scripts/run-bench.sh (make bench)"
               : "";
}

// A connection to that server as the index's user; null, with the reason in `error`,
// when there is none.
inline DBConnect* ConnectToIndexServer(std::string& error) {
    error = MissingServer();
    if (!error.empty())
        return nullptr;
    DBConnect* conn = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    if (conn == nullptr)
        error = "cannot connect to the database calyx as admin";
    return conn;
}

// Makes the schema `prefix` + the process id on `pg`, makes it the connection's search
// path and runs the index's schema script (`schemaFile`) in it. The schema's name, or ""
// when a step failed.
inline std::string MakeIndexSchema(PGconn* pg, const std::string& prefix, const char* schemaFile) {
    std::ifstream in(schemaFile);
    std::stringstream script;
    script << in.rdbuf();
    const std::string schema = prefix + std::to_string(getpid());
    const bool ok = RunSql(pg, "CREATE SCHEMA " + schema) &&
                    RunSql(pg, "SET client_min_messages = warning") &&
                    RunSql(pg, "SET search_path = " + schema) && RunSql(pg, script.str());
    return ok ? schema : "";
}

// `folders` music folders /share/Music/<n> ("Album <n>"), every second with a cover file.
inline bool InsertAlbumFolders(PGconn* pg, int folders) {
    return RunSql(pg,
                  "INSERT INTO directory (id, path, title, cover_original, cover_mime, "
                  "cover_width, cover_height, cover_thumbnail, cover_small) "
                  "SELECT i, '/share/Music/' || i, 'Album ' || i, "
                  "CASE WHEN i % 2 = 0 THEN '/share/Music/' || i || '/cover.jpg' ELSE '' END, "
                  "'image/jpeg', 500, 500, '/c/' || i || '_tn.jpg', '/c/' || i || '_sm.jpg' "
                  "FROM generate_series(1, " +
                      std::to_string(folders) + ") AS i");
}

}  // namespace calyx_bench

#endif  // CALYX_BENCH_INDEX_H
