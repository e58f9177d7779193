#include "platform/file_kind.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace Calyx {
namespace detail {

FILE* OpenForReading(const std::string& path) {
    // Non-blocking, so that opening a FIFO returns at once; it is then refused.
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return nullptr;
    }
    struct stat st;
    if (fstat(fd, &st) != 0 || S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode) ||
        S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) {
        close(fd);
        return nullptr;
    }
    int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) < 0) {
        close(fd);
        return nullptr;
    }
    FILE* file = fdopen(fd, "r");
    if (file == nullptr) {
        close(fd);
    }
    return file;
}

bool AppendFileContents(FILE* file, std::string& text) {
    char chunk[65536];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, file)) > 0) {
        text.append(chunk, n);
    }
    return ferror(file) == 0;
}

bool ReadWholeFile(const std::string& path, std::string& text) {
    FILE* file = OpenForReading(path);
    if (file == nullptr) {
        return false;
    }
    text.clear();
    bool ok = AppendFileContents(file, text);
    fclose(file);
    return ok;
}

namespace {

SourceKind KindOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return SourceKind::kRegular;
    }
    if (S_ISDIR(mode)) {
        return SourceKind::kDirectory;
    }
    if (S_ISCHR(mode) || S_ISBLK(mode)) {
        return SourceKind::kDevice;
    }
    if (S_ISFIFO(mode)) {
        return SourceKind::kFifo;
    }
    return S_ISSOCK(mode) ? SourceKind::kSocket : SourceKind::kOther;
}

// Reads `fd` to its end (or EAGAIN, or `limit` bytes). A directory reads as nothing.
void ReadDescriptor(int fd, size_t limit, std::string& text) {
    char chunk[65536];
    while (text.size() < limit) {
        size_t want = sizeof chunk < limit - text.size() ? sizeof chunk : limit - text.size();
        ssize_t n = read(fd, chunk, want);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return;  // end of file, EAGAIN (nothing more without waiting), EISDIR, EIO
        }
        text.append(chunk, static_cast<size_t>(n));
    }
}

class FdCloser {
public:
    explicit FdCloser(int fd) : fd_(fd) {}
    ~FdCloser() { close(fd_); }
    FdCloser(const FdCloser&) = delete;
    FdCloser& operator=(const FdCloser&) = delete;

private:
    int fd_;
};

}  // namespace

bool ReadJsonSource(const std::string& path, std::string& text, SourceKind* kind) {
    text.clear();
    SourceKind found = SourceKind::kMissing;
    if (kind != nullptr) {
        *kind = found;
    }
    // Non-blocking, so that opening a FIFO returns at once; it is then refused.
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        struct stat st;
        if (kind != nullptr && stat(path.c_str(), &st) == 0) {
            *kind = KindOf(st.st_mode);
        }
        return false;
    }
    FdCloser closer(fd);
    struct stat st;
    if (fstat(fd, &st) != 0) {
        return false;
    }
    found = KindOf(st.st_mode);
    if (kind != nullptr) {
        *kind = found;
    }
    if (found == SourceKind::kFifo || found == SourceKind::kSocket || found == SourceKind::kOther) {
        return false;
    }
    if (found != SourceKind::kDevice) {
        // A regular file is read to its end, even one that grows meanwhile.
        int flags = fcntl(fd, F_GETFL);
        if (flags >= 0) {
            fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
        }
    }
    ReadDescriptor(fd, found == SourceKind::kDevice ? kDeviceReadLimit : static_cast<size_t>(-1),
                   text);
    return true;
}

}  // namespace detail
}  // namespace Calyx
