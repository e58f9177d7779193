#include "state_folder.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace calyx_dms {

namespace {

std::string Environment(const char* name) {
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

}  // namespace

std::string DefaultStateFolder() {
    const std::string systemd = Environment("STATE_DIRECTORY");
    if (!systemd.empty() && systemd[0] == '/')
        return systemd.substr(0, systemd.find(':'));
    if (geteuid() == 0)
        return "/var/lib/calyx";
    const std::string xdg = Environment("XDG_STATE_HOME");
    if (!xdg.empty() && xdg[0] == '/')
        return xdg + "/calyx";
    const std::string home = Environment("HOME");
    if (!home.empty() && home[0] == '/')
        return home + "/.local/state/calyx";
    return "";
}

bool MakeStateFolder(const std::string& folder, unsigned mode, std::string& error) {
    for (size_t slash = folder.find('/', 1);; slash = folder.find('/', slash + 1)) {
        const std::string part = folder.substr(0, slash);
        const bool last = slash == std::string::npos;
        if (mkdir(part.c_str(), last ? mode : 0755) != 0 && errno != EEXIST) {
            error = "cannot create the state folder " + part + ": " + strerror(errno);
            return false;
        }
        if (last)
            break;
    }
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        error = "cannot write in the state folder " + folder + ": " + strerror(errno);
        return false;
    }
    return true;
}

}  // namespace calyx_dms
