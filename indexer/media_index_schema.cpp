#include "indexer/media_index_schema.h"

#include <memory>

namespace calyx_indexer {

namespace {

bool SchemaCommand(PGconn* conn, const char* sql, std::string& error) {
    std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(conn, sql), PQclear);
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK)
        return true;
    error = OneLine(PQerrorMessage(conn));
    return false;
}

}  // namespace

std::string OneLine(const char* message) {
    std::string line;
    bool blank = false;
    for (const char* c = message; *c != '\0'; ++c) {
        const bool space = *c == '\n' || *c == '\t' || *c == ' ';
        if (space && !line.empty())
            blank = true;
        if (!space) {
            if (blank)
                line += ' ';
            line += *c;
            blank = false;
        }
    }
    return line;
}

bool ApplyMediaIndexSchema(PGconn* conn, std::string& error) {
    // CREATE ... IF NOT EXISTS run by two sessions at once can still collide in the
    // catalogue: one session at a time per schema.
    if (!SchemaCommand(
            conn, "SELECT pg_advisory_lock(hashtext('calyx schema ' || current_schema()))", error))
        return false;
    const bool applied = SchemaCommand(conn, MediaIndexSchemaSql(), error);
    std::string unlockError;
    SchemaCommand(conn, "SELECT pg_advisory_unlock(hashtext('calyx schema ' || current_schema()))",
                  unlockError);
    return applied;
}

}  // namespace calyx_indexer
