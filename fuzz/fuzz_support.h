// Helpers shared by the fuzz targets: property checks that stop the run with a clear
// message, and a private temporary root (CALYX_ROOT) removed when the process ends.
#ifndef CALYX_FUZZ_SUPPORT_H
#define CALYX_FUZZ_SUPPORT_H

#include <string>

#include <fuzzer/FuzzedDataProvider.h>

namespace calyx_fuzz {

[[noreturn]] void PropertyFailed(const char* file, int line, const char* condition,
                                 const std::string& detail);

// The process's private directory, created on first use, set as CALYX_ROOT and removed
// at exit. Fuzzed file trees are written below it.
const std::string& Root();

// Writes `content` to root-relative `absolute` (e.g. "/proc/net/arp"), creating its
// directories; returns the full path.
std::string WriteUnderRoot(const std::string& absolute, const std::string& content);

// Removes a file or a whole tree below the root.
void RemoveUnderRoot(const std::string& absolute);

// Logging goes to a file under the root at the highest level, so that every logging
// path of the code under test is exercised.
void OpenLogUnderRoot();

// Printable rendering of a byte string for failure messages.
std::string Show(const std::string& bytes);

}  // namespace calyx_fuzz

#define FUZZ_CHECK(condition, detail)                                               \
    do {                                                                            \
        if (!(condition)) {                                                         \
            ::calyx_fuzz::PropertyFailed(__FILE__, __LINE__, #condition, (detail)); \
        }                                                                           \
    } while (0)

#endif  // CALYX_FUZZ_SUPPORT_H
