// Portable QLIBCExec: run a program directly and wait for it.
#include "calyx/platform.h"
#include "platform/run_program.h"

extern "C" int QLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
                         const char* arg4, const char* arg5, const char* arg6) {
    if (program == nullptr) {
        return -1;
    }
    // The argument list ends at the first null slot.
    const char* argv[8] = {program, arg1, arg2, arg3, arg4, arg5, arg6, nullptr};
    for (int i = 1; i < 7; ++i) {
        if (argv[i] == nullptr) {
            for (int j = i + 1; j < 8; ++j) {
                argv[j] = nullptr;
            }
            break;
        }
    }
    return Calyx::detail::RunProgramAndWait(argv);
}
