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

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_MEDIA_INDEX_SCHEMA_H
