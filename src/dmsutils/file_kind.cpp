#include "dmsutils/file_kind.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

}  // namespace detail
}  // namespace Calyx
