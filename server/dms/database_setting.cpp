#include "database_setting.h"

#include <libpq-fe.h>
#include <stdlib.h>
#include <string.h>

namespace calyx_dms {

bool ApplyDatabaseSetting(const std::string& conninfo, std::string& error) {
    if (conninfo.empty())
        return true;
    char* message = nullptr;
    PQconninfoOption* options = PQconninfoParse(conninfo.c_str(), &message);
    if (!options) {
        error = "--database: " + std::string(message ? message : "cannot be parsed");
        PQfreemem(message);
        return false;
    }
    bool ok = true;
    for (PQconninfoOption* o = options; o->keyword && ok; ++o) {
        if (!o->val || !*o->val)
            continue;
        if ((strcmp(o->keyword, "dbname") == 0 && strcmp(o->val, "calyx") != 0) ||
            (strcmp(o->keyword, "user") == 0 && strcmp(o->val, "admin") != 0)) {
            error = std::string(
                        "--database: the media index is always the database \"calyx\" "
                        "of the user \"admin\", not ") +
                    o->keyword + "=" + o->val;
            ok = false;
        } else if (o->envvar) {
            setenv(o->envvar, o->val, 1);
        }
    }
    PQconninfoFree(options);
    return ok;
}

}  // namespace calyx_dms
