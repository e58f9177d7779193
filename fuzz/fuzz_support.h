// Helpers shared by the fuzz targets: property checks that stop the run with a clear
// message, and a private temporary root (CALYX_ROOT) removed when the process ends.
#ifndef CALYX_FUZZ_SUPPORT_H
#define CALYX_FUZZ_SUPPORT_H

#include <string>

#include <fuzzer/FuzzedDataProvider.h>

// The leak checker exists only in sanitizer builds; a plain build (the replay of the
// corpus on another target, say) has nothing to pause.
#if defined(__SANITIZE_ADDRESS__)
#define CALYX_FUZZ_LEAK_CHECKER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(leak_sanitizer)
#define CALYX_FUZZ_LEAK_CHECKER 1
#endif
#endif
#ifdef CALYX_FUZZ_LEAK_CHECKER
#include <sanitizer/lsan_interface.h>
#endif

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

// While one lives, allocations are not reported as leaks (where a leak checker runs).
class LeakChecksPaused {
public:
    LeakChecksPaused() {
#ifdef CALYX_FUZZ_LEAK_CHECKER
        __lsan_disable();
#endif
    }
    ~LeakChecksPaused() {
#ifdef CALYX_FUZZ_LEAK_CHECKER
        __lsan_enable();
#endif
    }
    LeakChecksPaused(const LeakChecksPaused&) = delete;
    LeakChecksPaused& operator=(const LeakChecksPaused&) = delete;
};

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
