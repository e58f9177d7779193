// Whether opening a path for reading could wait.
#include "dmsutils/file_kind.h"

#include <sys/stat.h>

namespace Calyx {
namespace detail {

bool WouldBlockOnOpen(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        return false;  // missing: the open itself fails and reports it
    }
    return S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode) || S_ISCHR(st.st_mode) ||
           S_ISBLK(st.st_mode);
}

}  // namespace detail
}  // namespace Calyx
