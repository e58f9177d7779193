#include "platform/run_program.h"

#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

namespace Calyx {
namespace detail {

int RunProgramAndWait(const char* const argv[]) {
    if (argv == nullptr || argv[0] == nullptr) {
        return -1;
    }
    // posix_spawn rather than fork: it is safe in a multi-threaded host and reports a
    // program that cannot be executed as an error instead of a child that exits 127.
    // Some C libraries and user-mode emulators spawn by fork and report it as a child that
    // exits 127 all the same, so a missing program is caught here first.
    if (access(argv[0], X_OK) != 0) {
        return -1;
    }
    pid_t pid = 0;
    int rc = posix_spawn(&pid, argv[0], nullptr, nullptr, const_cast<char* const*>(argv), environ);
    if (rc != 0) {
        return -1;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return 0;
    }
    return status;
}

}  // namespace detail
}  // namespace Calyx
