#include "platform/file_ops.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/run_program.h"

namespace Calyx {
namespace detail {

namespace {

int SystemOpen(const char* path, int flags, mode_t mode) {
    return ::open(path, flags, mode);
}

int SystemStat(const char* path, struct stat* st) {
    return ::stat(path, st);
}

int SystemLstat(const char* path, struct stat* st) {
    return ::lstat(path, st);
}

int SystemFstat(int fd, struct stat* st) {
    return ::fstat(fd, st);
}

const FileOps kSystemFileOps = {
    SystemOpen, ::close,     ::read,      ::write,           ::fsync,  ::rename,
    ::unlink,   ::readlink,  ::flock,     ::mkostemp,        ::fchmod, ::fchown,
    SystemStat, SystemLstat, SystemFstat, RunProgramAndWait,
};

}  // namespace

const FileOps& SystemFileOps() {
    return kSystemFileOps;
}

FileOps& CurrentFileOps() {
    static FileOps current = kSystemFileOps;
    return current;
}

}  // namespace detail
}  // namespace Calyx
