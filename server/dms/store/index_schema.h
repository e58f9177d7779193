// The media index made ready before it is read: the server applies the schema where it
// is missing, so that an empty index answers with empty containers.
#ifndef CALYX_DMS_STORE_INDEX_SCHEMA_H
#define CALYX_DMS_STORE_INDEX_SCHEMA_H

#include <string>

namespace calyx_dms {

// Connects as the library does (database "calyx", user "admin", libpq's defaults for the
// rest) and applies the index schema (idempotent). False with `error` holding libpq's
// reason when the server cannot be reached or the schema cannot be applied.
bool PrepareMediaIndex(std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_STORE_INDEX_SCHEMA_H
