// Crash-safe saving: temporary file, fsync, rename, directory fsync.
#include "client/client_list_save.h"

#include <fcntl.h>
#include <json/writer.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <sstream>
#include <vector>

#include "calyx/core.h"

namespace Calyx {
namespace detail {

namespace {

constexpr int kMaxSymlinkHops = 40;

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

// The file that writing to `path` would reach: symbolic links in the last component are
// followed (also a dangling one, whose target is then created).
int ResolveFinalTarget(const std::string& path, std::string& target) {
    target = path;
    for (int hop = 0; hop < kMaxSymlinkHops; ++hop) {
        struct stat st;
        if (lstat(target.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) {
            return 0;
        }
        std::vector<char> link(static_cast<size_t>(st.st_size > 0 ? st.st_size : 255) + 2);
        ssize_t n = readlink(target.c_str(), link.data(), link.size() - 1);
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

// Mode a file created with 0666 gets in `dir` under the current umask, learnt without
// changing the process-wide umask (which other threads may rely on).
mode_t DefaultCreationMode(const std::string& dir) {
    mode_t mode = 0644;
#ifdef O_TMPFILE
    int probe = open(dir.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
    if (probe >= 0) {
        struct stat st;
        if (fstat(probe, &st) == 0) {
            mode = st.st_mode & 07777;
        }
        close(probe);
    }
#endif
    return mode;
}

int WriteAll(int fd, const std::string& bytes) {
    const char* data = bytes.data();
    size_t left = bytes.size();
    while (left > 0) {
        ssize_t n = write(fd, data, left);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        data += n;
        left -= static_cast<size_t>(n);
    }
    return 0;
}

// Makes the rename durable. The old-or-new guarantee holds without it, so a directory
// that cannot be synced does not fail the save.
void SyncDirectory(const std::string& dir) {
    int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

// Writes and syncs the temporary file `fd`; 0 or the errno of the failed step.
int FillTemporary(int fd, const std::string& dir, const std::string& target,
                  const std::string& bytes) {
    struct stat old;
    if (stat(target.c_str(), &old) == 0) {
        if (fchmod(fd, old.st_mode & 07777) != 0) {
            return errno;
        }
        struct stat mine;
        if (fstat(fd, &mine) == 0 && (mine.st_uid != old.st_uid || mine.st_gid != old.st_gid)) {
            // Only a privileged process may give the file away; otherwise it stays ours.
            if (fchown(fd, old.st_uid, old.st_gid) != 0) {
                errno = 0;
            }
        }
    } else if (fchmod(fd, DefaultCreationMode(dir)) != 0) {
        return errno;
    }
    if (int error = WriteAll(fd, bytes)) {
        return error;
    }
    if (fsync(fd) != 0) {
        return errno;
    }
    return 0;
}

}  // namespace

std::string SerializeClientDocument(const Json::Value& document) {
    std::ostringstream out;
    Json::StyledStreamWriter writer("\t");
    writer.write(out, document);
    return out.str();
}

int ReplaceFileAtomically(const std::string& path, const std::string& bytes) {
    std::string target;
    if (int error = ResolveFinalTarget(path, target)) {
        return error;
    }
    std::string dir = DirectoryOf(target);
    std::string pattern = dir + "/." + BaseNameOf(target) + ".XXXXXX";
    std::vector<char> temporary(pattern.begin(), pattern.end());
    temporary.push_back('\0');
    int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    int error = FillTemporary(fd, dir, target, bytes);
    if (close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && rename(temporary.data(), target.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        unlink(temporary.data());
        return error;
    }
    SyncDirectory(dir);
    return 0;
}

int SaveClientDocument(const std::string& path, const Json::Value& document, int* failure) {
    int error = 0;
    try {
        error = ReplaceFileAtomically(path, SerializeClientDocument(document));
    } catch (const std::exception&) {
        error = ENOMEM;  // serializing a huge document ran out of memory
    }
    if (failure != nullptr) {
        *failure = error;
    }
    if (error != 0) {
        if (DMSLOGGetLevel() >= 0) {
            DMSPrintf(DMSLOG_ERR, "Error - %s could not open\n", path.c_str());
        }
        return 0;
    }
    return 1;
}

}  // namespace detail
}  // namespace Calyx
