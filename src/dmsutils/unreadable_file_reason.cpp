// Why a path cannot be read as a file, through the readers' guarded open.
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "calyx/core.h"
#include "platform/file_kind.h"

namespace Calyx {

namespace {

// The kind of a file that is not a regular one, as a reason; "" for a regular file.
std::string KindReason(mode_t mode) {
    if (S_ISDIR(mode))
        return "is a directory";
    if (S_ISFIFO(mode))
        return "is a FIFO";
    if (S_ISCHR(mode))
        return "is a character device";
    if (S_ISBLK(mode))
        return "is a block device";
    if (S_ISSOCK(mode))
        return "is a socket";
    return "";
}

}  // namespace

std::string UnreadableFileReason(const std::string& path) {
    try {
        FILE* file = detail::OpenForReading(path);
        if (file != nullptr) {
            // The guarded open lets a directory through; reading it would fail later.
            struct stat st;
            int statResult = fstat(fileno(file), &st);
            int savedErrno = errno;
            fclose(file);
            if (statResult != 0)
                return std::string("cannot open: ") + strerror(savedErrno);
            return KindReason(st.st_mode);
        }
        int openErrno = errno;
        struct stat st;
        if (stat(path.c_str(), &st) == 0 && !KindReason(st.st_mode).empty())
            return KindReason(st.st_mode);
        return std::string("cannot open: ") + strerror(openErrno != 0 ? openErrno : EACCES);
    } catch (const std::exception&) {
        return "cannot open: out of memory";
    }
}

}  // namespace Calyx
