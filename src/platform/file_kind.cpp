#include "platform/file_kind.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/file_ops.h"

namespace Calyx {
namespace detail {

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

// The one guarded open: `path` opened for reading without ever waiting, or -1. A FIFO,
// a socket (and a device unless `devices`) is refused after the open, which does not
// wait because it is non-blocking; a device stays non-blocking, anything else is made
// blocking again so that it is read to its end. `found` receives what `path` names (also
// when the open fails and the path can still be looked at).
int OpenWithoutWaiting(const std::string& path, bool devices, SourceKind& found) {
    const FileOps& ops = CurrentFileOps();
    found = SourceKind::kMissing;
    int fd = ops.open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0);
    if (fd < 0) {
        struct stat st;
        if (ops.stat(path.c_str(), &st) == 0) {
            found = KindOf(st.st_mode);
        }
        return -1;
    }
    struct stat st;
    if (fstat(fd, &st) != 0) {
        ops.close(fd);
        return -1;
    }
    found = KindOf(st.st_mode);
    bool refused = found == SourceKind::kFifo || found == SourceKind::kSocket ||
                   found == SourceKind::kOther || (found == SourceKind::kDevice && !devices);
    if (refused) {
        ops.close(fd);
        return -1;
    }
    if (found != SourceKind::kDevice) {
        int flags = fcntl(fd, F_GETFL);
        if (flags < 0 || fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) < 0) {
            ops.close(fd);
            return -1;
        }
    }
    return fd;
}

// Appends what `fd` holds to `text`, up to `limit` bytes in all. 0 at the end of the
// file or the limit, otherwise the errno of the failed read (EAGAIN: nothing more
// without waiting, EISDIR: a directory).
int ReadDescriptor(int fd, size_t limit, std::string& text) {
    char chunk[65536];
    while (text.size() < limit) {
        size_t want = sizeof chunk < limit - text.size() ? sizeof chunk : limit - text.size();
        ssize_t n = CurrentFileOps().read(fd, chunk, want);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return errno;
        }
        if (n == 0) {
            return 0;
        }
        text.append(chunk, static_cast<size_t>(n));
    }
    return 0;
}

}  // namespace

FILE* OpenForReading(const std::string& path) {
    SourceKind found;
    int fd = OpenWithoutWaiting(path, false, found);
    if (fd < 0) {
        return nullptr;
    }
    FILE* file = fdopen(fd, "r");
    if (file == nullptr) {
        CurrentFileOps().close(fd);
    }
    return file;
}

bool ReadWholeFile(const std::string& path, std::string& text, size_t limit) {
    SourceKind found;
    int fd = OpenWithoutWaiting(path, false, found);
    if (fd < 0) {
        return false;
    }
    text.clear();
    int error = ReadDescriptor(fd, limit, text);
    CurrentFileOps().close(fd);
    return error == 0;
}

bool ReadJsonSource(const std::string& path, std::string& text, SourceKind* kind) {
    text.clear();
    SourceKind found;
    int fd = OpenWithoutWaiting(path, true, found);
    if (kind != nullptr) {
        *kind = found;
    }
    if (fd < 0) {
        return false;
    }
    // A directory reads as nothing, and a device as much as it gives without waiting.
    ReadDescriptor(fd, found == SourceKind::kDevice ? kDeviceReadLimit : static_cast<size_t>(-1),
                   text);
    CurrentFileOps().close(fd);
    return true;
}

}  // namespace detail
}  // namespace Calyx
