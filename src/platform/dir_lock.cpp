#include "platform/dir_lock.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <time.h>

#include <cerrno>
#include <vector>

#include "platform/file_ops.h"
#include "platform/file_replace.h"

namespace Calyx {
namespace detail {

namespace {

constexpr int kPollMilliseconds = 10;

void SleepMilliseconds(int ms) {
    struct timespec pause = {0, static_cast<long>(ms) * 1000000L};
    while (nanosleep(&pause, &pause) != 0 && errno == EINTR) {
    }
}

}  // namespace

DirectoryLock::~DirectoryLock() {
    if (fd_ >= 0) {
        // Closing the descriptor releases the lock.
        CurrentFileOps().close(fd_);
    }
}

int DirectoryLock::Acquire(const std::string& dir, int waitMilliseconds) {
    const FileOps& ops = CurrentFileOps();
    int fd = ops.open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (fd < 0) {
        return errno;
    }
    int waited = 0;
    for (;;) {
        if (ops.flock(fd, LOCK_EX | LOCK_NB) == 0) {
            fd_ = fd;
            return 0;
        }
        int error = errno;
        if (error == EINTR) {
            continue;
        }
        if (error != EWOULDBLOCK || waited >= waitMilliseconds) {
            ops.close(fd);
            return error;
        }
        SleepMilliseconds(kPollMilliseconds);
        waited += kPollMilliseconds;
    }
}

void RemoveStaleTemporaries(const std::string& dir, const std::string& baseName) {
    DIR* d = opendir(dir.c_str());
    if (d == nullptr) {
        return;
    }
    std::vector<std::string> stale;
    while (dirent* entry = readdir(d)) {
        if (IsTemporaryNameOf(entry->d_name, baseName)) {
            stale.push_back(entry->d_name);
        }
    }
    closedir(d);
    for (const std::string& name : stale) {
        CurrentFileOps().unlink((dir + "/" + name).c_str());
    }
}

}  // namespace detail
}  // namespace Calyx
