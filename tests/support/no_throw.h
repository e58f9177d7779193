// The boundary check of the sweep tests: an exception that leaves a library call fails
// the test and names the call; one that escapes somewhere no handler can see it ends the
// process with a message instead of a silent terminate.
#ifndef CALYX_TESTS_SUPPORT_NO_THROW_H
#define CALYX_TESTS_SUPPORT_NO_THROW_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace calyx_sweep {

// Huge, binary and NUL-laden texts that every string parameter is given.
inline std::vector<std::string> HostileStrings() {
    std::string binary;
    for (int c = 0; c < 256; ++c) {
        binary += static_cast<char>(c);
    }
    return {"",
            std::string(1, '\0'),
            std::string("a\0b/c", 5),
            "{}",
            "{",
            "////",
            "..",
            "%%%s%n",
            binary,
            std::string(1 << 20, 'x'),
            std::string(70000, '/'),
            std::string(5000, '\xff')};
}

inline void InstallTerminateReport() {
    std::set_terminate([] {
        fprintf(stderr, "an exception escaped without a handler\n");
        std::abort();
    });
}

}  // namespace calyx_sweep

#define EXPECT_NO_ESCAPE(call)                                           \
    do {                                                                 \
        try {                                                            \
            (void)(call);                                                \
        } catch (const std::exception& e) {                              \
            ADD_FAILURE() << #call << " threw " << e.what();             \
        } catch (...) {                                                  \
            ADD_FAILURE() << #call << " threw a non-standard exception"; \
        }                                                                \
    } while (0)

#endif  // CALYX_TESTS_SUPPORT_NO_THROW_H
