// Running a program directly (no shell) and waiting for it.
#ifndef CALYX_PLATFORM_RUN_PROGRAM_H
#define CALYX_PLATFORM_RUN_PROGRAM_H

namespace Calyx {
namespace detail {

// Runs argv[0] with the null-terminated argument vector `argv` and waits for it.
// Returns 0 when it exited with status 0, its wait status when it did not, and -1 when
// it could not be started or waited for.
int RunProgramAndWait(const char* const argv[]);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_PLATFORM_RUN_PROGRAM_H
