// The file operations of the library (saving a file, its lock, log rotation, running a
// program), as a table of function pointers. The library calls them only through
// CurrentFileOps(), so a test can replace one entry to make a step fail (a full disk, a
// failed fsync or rename, an interrupted call, a program that fails) without touching the
// real file system's behaviour. Internal: not exported, and not a class hierarchy.
#ifndef CALYX_PLATFORM_FILE_OPS_H
#define CALYX_PLATFORM_FILE_OPS_H

#include <sys/stat.h>
#include <sys/types.h>

namespace Calyx {
namespace detail {

struct FileOps {
    int (*open)(const char* path, int flags, mode_t mode);
    int (*close)(int fd);
    ssize_t (*read)(int fd, void* buffer, size_t size);
    ssize_t (*write)(int fd, const void* buffer, size_t size);
    int (*fsync)(int fd);
    int (*rename)(const char* from, const char* to);
    int (*unlink)(const char* path);
    ssize_t (*readlink)(const char* path, char* buffer, size_t size);
    int (*flock)(int fd, int operation);
    int (*mkostemp)(char* pattern, int flags);
    int (*fchmod)(int fd, mode_t mode);
    int (*fchown)(int fd, uid_t owner, gid_t group);
    int (*stat)(const char* path, struct stat* st);
    int (*lstat)(const char* path, struct stat* st);
    int (*fstat)(int fd, struct stat* st);
    // RunProgramAndWait (platform/run_program.h).
    int (*run)(const char* const argv[]);
};

/// The system's own operations.
const FileOps& SystemFileOps();

/// The table in use. Replace entries only while no save runs (tests do, between calls);
/// reading it from several threads is safe.
FileOps& CurrentFileOps();

/// Installs `ops` for a scope and restores the previous table afterwards. For tests.
class ScopedFileOps {
public:
    explicit ScopedFileOps(const FileOps& ops) : saved_(CurrentFileOps()) {
        CurrentFileOps() = ops;
    }
    ~ScopedFileOps() { CurrentFileOps() = saved_; }
    ScopedFileOps(const ScopedFileOps&) = delete;
    ScopedFileOps& operator=(const ScopedFileOps&) = delete;

private:
    FileOps saved_;
};

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_PLATFORM_FILE_OPS_H
