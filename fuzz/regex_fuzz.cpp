// EscapeRegex: the escaped text compiles as an ECMAScript regular expression and matches
// exactly the input's first line with its leading spaces removed. Inputs are capped at
// 1 KB (std::regex matching recurses per character).
#include <cstdint>
#include <regex>
#include <string>

#include "calyx/client.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1024) {
        return -1;
    }
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string line = text.substr(0, text.find('\0'));  // the text ends at a NUL byte
    line = line.substr(0, line.find('\n'));
    line.erase(0, line.find_first_not_of(' ') == std::string::npos ? line.size()
                                                                   : line.find_first_not_of(' '));

    std::string escaped = Calyx::DMSClientChecker::EscapeRegex(text.c_str());
    try {
        std::regex pattern(escaped, std::regex::ECMAScript);
        FUZZ_CHECK(std::regex_match(line, pattern),
                   calyx_fuzz::Show(escaped) + " does not match " + calyx_fuzz::Show(line));
    } catch (const std::regex_error& e) {
        FUZZ_CHECK(false, calyx_fuzz::Show(escaped) + " does not compile: " + e.what());
    }
    FUZZ_CHECK(Calyx::DMSClientChecker::EscapeRegex(nullptr).empty(), "null text");
    return 0;
}
