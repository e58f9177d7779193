#include "content/served_file.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include "calyx/platform.h"
#include "indexer/indexed_path.h"

namespace calyx_dms {

namespace {

const std::chrono::seconds kRootsRefresh(5);

std::string Resolved(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? std::string(resolved) : std::string();
}

// The path the kernel has for an open descriptor ("" when it cannot tell).
std::string PathOfDescriptor(int fd) {
    char link[64];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    char target[PATH_MAX];
    const ssize_t length = readlink(link, target, sizeof target - 1);
    return length > 0 ? std::string(target, static_cast<size_t>(length)) : std::string();
}

int Refuse(unsigned code, unsigned& status, int fd = -1) {
    if (fd >= 0)
        close(fd);
    status = code;
    return -1;
}

}  // namespace

bool PathInside(const std::string& path, const std::string& root) {
    if (root == "/")
        return !path.empty() && path[0] == '/';
    return path == root || (path.size() > root.size() && path.compare(0, root.size(), root) == 0 &&
                            path[root.size()] == '/');
}

bool ServedFiles::Roots(std::vector<std::string>& roots) {
    const auto now = std::chrono::steady_clock::now();
    if (!haveRead_ || now - read_ >= kRootsRefresh) {
        DBResult* result = nullptr;
        if (ZEVODBExecute(connection_->Get(),
                          "SELECT path FROM media_folder WHERE missing_since IS NULL",
                          &result) != 0)
            return false;
        roots_.clear();
        DBRow row{};
        while (ZEVODBFetchRow(result, &row) == 0) {
            const char* path = ZEVODBFetchField(result, row, "path");
            const std::string resolved =
                path ? Resolved(calyx_indexer::DecodeIndexedPath(path)) : "";
            if (!resolved.empty())
                roots_.push_back(resolved);
        }
        ZEVODBFreeResult(result);
        read_ = now;
        haveRead_ = true;
    }
    roots = roots_;
    return true;
}

int ServedFiles::OpenMedia(const std::string& path, long long indexedSize, long long indexedMtime,
                           struct stat& st, unsigned& status) {
    const std::string resolved = Resolved(path);
    if (resolved.empty())
        return Refuse(404, status);
    if (!followLinks_) {
        std::vector<std::string> roots;
        if (!Roots(roots))
            return Refuse(503, status);
        bool inside = false;
        for (const std::string& root : roots)
            inside = inside || PathInside(resolved, root);
        if (!inside)
            return Refuse(403, status);
    }
    // The resolved path, never through a link at its end; then the opened file must be
    // that path (a folder on the way swapped for a link since realpath shows up here).
    const int fd = open(resolved.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return Refuse(404, status);
    if (PathOfDescriptor(fd) != resolved)
        return Refuse(403, status, fd);
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        return Refuse(404, status, fd);
    if ((indexedSize > 0 && st.st_size != indexedSize) ||
        (indexedMtime > 0 && st.st_mtime != indexedMtime))
        return Refuse(kChangedSinceIndexed, status, fd);
    return fd;
}

int ServedFiles::OpenThumbnail(const std::string& path, struct stat& st, unsigned& status) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return Refuse(404, status);
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        return Refuse(404, status, fd);
    return fd;
}

}  // namespace calyx_dms
