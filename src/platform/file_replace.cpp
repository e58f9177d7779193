// Writing a whole file: replace through a temporary file, or rewrite in place.
#include "platform/file_replace.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "platform/file_ops.h"

namespace Calyx {
namespace detail {

namespace {

constexpr int kMaxSymlinkHops = 40;
constexpr size_t kTemporarySuffixLength = 6;  // the XXXXXX of mkostemp
// Not a failure: the file must be rewritten in place instead of replaced.
constexpr int kRewriteInPlace = -1;

int WriteAll(int fd, const std::string& bytes) {
    const FileOps& ops = CurrentFileOps();
    const char* data = bytes.data();
    size_t left = bytes.size();
    while (left > 0) {
        ssize_t n = ops.write(fd, data, left);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        if (n == 0) {
            return ENOSPC;
        }
        data += n;
        left -= static_cast<size_t>(n);
    }
    return 0;
}

int SyncFile(int fd) {
    const FileOps& ops = CurrentFileOps();
    while (ops.fsync(fd) != 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

// Closes `fd`; an error of close counts only when nothing failed before.
int CloseKeepingError(int fd, int error) {
    if (CurrentFileOps().close(fd) != 0 && error == 0 && errno != EINTR) {
        return errno;
    }
    return error;
}

// Makes the rename durable. The old-or-new guarantee holds without it, so a directory
// that cannot be synced does not fail the save.
void SyncDirectory(const std::string& dir) {
    const FileOps& ops = CurrentFileOps();
    int fd = ops.open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
    if (fd >= 0) {
        ops.fsync(fd);
        ops.close(fd);
    }
}

// Mode a file created with 0666 gets in `dir` under the current umask, learnt without
// changing the process-wide umask (which other threads may rely on).
mode_t DefaultCreationMode(const std::string& dir) {
    mode_t mode = 0644;
#ifdef O_TMPFILE
    const FileOps& ops = CurrentFileOps();
    int probe = ops.open(dir.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
    if (probe >= 0) {
        struct stat st;
        if (ops.fstat(probe, &st) == 0) {
            mode = st.st_mode & 07777;
        }
        ops.close(probe);
    }
#endif
    return mode;
}

// Gives the temporary file `fd` the mode and owner of the old file (`old`, null for a
// new file). kRewriteInPlace when the owner cannot be given back.
int TakeOverAttributes(int fd, const std::string& dir, const struct stat* old) {
    const FileOps& ops = CurrentFileOps();
    if (old == nullptr) {
        return ops.fchmod(fd, DefaultCreationMode(dir)) != 0 ? errno : 0;
    }
    struct stat mine;
    if (ops.fstat(fd, &mine) != 0) {
        return errno;
    }
    if ((mine.st_uid != old->st_uid || mine.st_gid != old->st_gid) &&
        ops.fchown(fd, old->st_uid, old->st_gid) != 0) {
        return kRewriteInPlace;
    }
    return ops.fchmod(fd, old->st_mode & 07777) != 0 ? errno : 0;
}

// The ordinary case: temporary file, fsync, rename, directory fsync. kRewriteInPlace when
// the temporary file cannot be made or owned as the old file is.
int ReplaceThroughTemporary(const std::string& target, const std::string& bytes,
                            const struct stat* old) {
    const FileOps& ops = CurrentFileOps();
    std::string dir = DirectoryOf(target);
    std::string pattern = TemporaryPattern(target);
    std::vector<char> temporary(pattern.begin(), pattern.end());
    temporary.push_back('\0');
    int fd = ops.mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        int error = errno;
        bool blocked = error == EACCES || error == EPERM || error == ENAMETOOLONG;
        return blocked && old != nullptr ? kRewriteInPlace : error;
    }
    int error = TakeOverAttributes(fd, dir, old);
    if (error == 0) {
        error = WriteAll(fd, bytes);
    }
    if (error == 0) {
        error = SyncFile(fd);
    }
    error = CloseKeepingError(fd, error);
    if (error == 0 && ops.rename(temporary.data(), target.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ops.unlink(temporary.data());
        return error;
    }
    SyncDirectory(dir);
    return 0;
}

// Truncates and rewrites `target` in place, as a plain open for writing would, except
// that a FIFO is opened without waiting for a reader.
int RewriteInPlace(const std::string& target, const std::string& bytes) {
    const FileOps& ops = CurrentFileOps();
    int fd = ops.open(target.c_str(),
                      O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    if (fd < 0) {
        return errno;
    }
    int error = 0;
    struct stat st;
    if (ops.fstat(fd, &st) != 0) {
        error = errno;
    }
    // Once open, a reader of a FIFO and a device are written to at their own pace.
    int flags = fcntl(fd, F_GETFL);
    if (error == 0 && flags >= 0) {
        fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    }
    if (error == 0) {
        error = WriteAll(fd, bytes);
    }
    if (error == 0 && S_ISREG(st.st_mode)) {
        error = SyncFile(fd);
    }
    return CloseKeepingError(fd, error);
}

bool MayWrite(const std::string& path) {
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

}  // namespace

std::string DirectoryOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string BaseNameOf(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string TemporaryPattern(const std::string& target) {
    return DirectoryOf(target) + "/." + BaseNameOf(target) + "." +
           std::string(kTemporarySuffixLength, 'X');
}

bool IsTemporaryNameOf(const std::string& name, const std::string& targetBaseName) {
    const size_t length = 1 + targetBaseName.size() + 1 + kTemporarySuffixLength;
    return name.size() == length && name[0] == '.' &&
           name.compare(1, targetBaseName.size(), targetBaseName) == 0 &&
           name[1 + targetBaseName.size()] == '.';
}

int ResolveFinalTarget(const std::string& path, std::string& target) {
    const FileOps& ops = CurrentFileOps();
    target = path;
    for (int hop = 0; hop < kMaxSymlinkHops; ++hop) {
        struct stat st;
        if (ops.lstat(target.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) {
            return 0;
        }
        std::vector<char> link(static_cast<size_t>(st.st_size > 0 ? st.st_size : 255) + 2);
        ssize_t n = ops.readlink(target.c_str(), link.data(), link.size() - 1);
        if (n < 0) {
            return errno;
        }
        std::string next(link.data(), static_cast<size_t>(n));
        if (next.empty()) {
            return ENOENT;
        }
        target = next[0] == '/' ? next : DirectoryOf(target) + "/" + next;
    }
    return ELOOP;
}

int WriteResolvedFile(const std::string& target, const std::string& bytes) {
    const FileOps& ops = CurrentFileOps();
    struct stat st;
    if (ops.stat(target.c_str(), &st) != 0) {
        if (errno != ENOENT) {
            return errno;
        }
        int error = ReplaceThroughTemporary(target, bytes, nullptr);
        return error == kRewriteInPlace ? RewriteInPlace(target, bytes) : error;
    }
    if (S_ISDIR(st.st_mode)) {
        return EISDIR;
    }
    const bool replaceable = S_ISREG(st.st_mode) && st.st_nlink == 1 && MayWrite(target) &&
                             MayWrite(DirectoryOf(target)) &&
                             BaseNameOf(TemporaryPattern(target)).size() <= NAME_MAX;
    if (replaceable) {
        int error = ReplaceThroughTemporary(target, bytes, &st);
        if (error != kRewriteInPlace) {
            return error;
        }
    }
    return RewriteInPlace(target, bytes);
}

int WriteFileContents(const std::string& path, const std::string& bytes) {
    std::string target;
    if (int error = ResolveFinalTarget(path, target)) {
        return error;
    }
    return WriteResolvedFile(target, bytes);
}

}  // namespace detail
}  // namespace Calyx
