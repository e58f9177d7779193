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

std::string MediaServerSchemaTransaction() {
    // Two servers starting at once on one index would race over CREATE ... IF NOT EXISTS.
    return std::string(
               "BEGIN; SELECT pg_advisory_xact_lock(hashtext('calyx-dms schema ' || "
               "current_schema()));\n") +
           MediaServerSchemaSql() + "\nCOMMIT;";
}

bool ApplyMediaServerSchema(PGconn* conn, std::string& error) {
    if (SchemaCommand(conn, MediaServerSchemaTransaction().c_str(), error))
        return true;
    std::string rollbackError;
    SchemaCommand(conn, "ROLLBACK", rollbackError);
    return false;
}

}  // namespace calyx_indexer
