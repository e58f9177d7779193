// Portable ZEVOSharePathGet: shares are listed in "/usr/zevo/etc/shares.conf", one
// "name=/absolute/path" line each.
#include <cstring>
#include <string>

#include "calyx/core.h"
#include "calyx/platform.h"

extern "C" int ZEVOSharePathGet(const char* name, char* buf, int size) {
    if (name == nullptr || name[0] == '\0' || buf == nullptr || size <= 0) {
        return -1;
    }
    std::string conf = Calyx::ResolveFixedPath("/usr/zevo/etc/shares.conf");
    if (QLIBCFileGetKeyValue(conf.c_str(), name, buf, size, 0) <= 0 || buf[0] == '\0') {
        buf[0] = '\0';
        return -1;
    }
    return 0;
}
