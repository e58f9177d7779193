// The lock that every writer of a file holds while it saves: flock on the directory
// that holds the file. It survives the rename of a save, works in a directory
// the process may not write and leaves no file behind.
#ifndef CALYX_PLATFORM_DIR_LOCK_H
#define CALYX_PLATFORM_DIR_LOCK_H

#include <string>

namespace Calyx {
namespace detail {

// How long a save waits for another writer to finish.
constexpr int kSaveLockWaitMilliseconds = 2000;

class DirectoryLock {
public:
    DirectoryLock() = default;
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    // Takes the lock of `dir`, waiting at most `waitMilliseconds`. 0, or the errno of the
    // failure (EWOULDBLOCK when another writer kept it). A second lock of the same
    // directory, even in the same process, waits for the first.
    int Acquire(const std::string& dir, int waitMilliseconds = kSaveLockWaitMilliseconds);

private:
    int fd_ = -1;
};

// Removes every file of `dir` named like the temporary files of a save of `baseName`
// (left behind by a writer that was killed). Call it holding the lock: no cooperating
// writer can then be between creating and renaming its temporary file.
void RemoveStaleTemporaries(const std::string& dir, const std::string& baseName);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_PLATFORM_DIR_LOCK_H
