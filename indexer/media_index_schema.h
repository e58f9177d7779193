// The media index schema on a connection: applied where it is missing, by the indexer and
// by the media server alike.
#ifndef CALYX_INDEXER_MEDIA_INDEX_SCHEMA_H
#define CALYX_INDEXER_MEDIA_INDEX_SCHEMA_H

#include <libpq-fe.h>

#include <string>

namespace calyx_indexer {

// Applies the schema script (sql/media_index.sql, built in) in the connection's current
// schema. It changes nothing where the tables are there already; programs applying it at
// the same moment take turns (an advisory lock), so neither fails. False with `error`
// (libpq's reason, on one line) when the script fails.
bool ApplyMediaIndexSchema(PGconn* conn, std::string& error);

// libpq's message on one line: its line breaks and indents become single blanks.
std::string OneLine(const char* message);

// The schema script, built into the program.
const char* MediaIndexSchemaSql();

// The script of the media server's own tables (sql/media_server.sql, built in), which
// live in the index's database and need the index's tables.
const char* MediaServerSchemaSql();

// MediaServerSchemaSql() as one transaction that waits for any other program applying it
// at the same moment (an advisory lock per schema). Sent as it is by any connection.
std::string MediaServerSchemaTransaction();

// Runs MediaServerSchemaTransaction() in the connection's current schema (after
// ApplyMediaIndexSchema). False with `error` (libpq's reason, on one line) when it fails.
bool ApplyMediaServerSchema(PGconn* conn, std::string& error);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_MEDIA_INDEX_SCHEMA_H
