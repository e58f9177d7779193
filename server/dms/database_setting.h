// The media index server, named the way `calyx index --database` names it.
#ifndef CALYX_DMS_DATABASE_SETTING_H
#define CALYX_DMS_DATABASE_SETTING_H

#include <string>

namespace calyx_dms {

// Points libpq's environment (PGHOST, PGPORT, ...) at the server a libpq connection
// string names, so the library's own connections reach it. The library always opens the
// database "calyx" as the user "admin": a string naming another database or user is
// refused with `error` set, as is one libpq cannot parse. An empty string changes nothing.
bool ApplyDatabaseSetting(const std::string& conninfo, std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_DATABASE_SETTING_H
