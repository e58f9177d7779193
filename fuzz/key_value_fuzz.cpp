// The key=value reader on fuzzed files: never more than the buffer, always terminated,
// and the value it finds is the first matching line's.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/platform.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    std::string key = input.ConsumeRandomLengthString(16);
    int bufferSize = input.ConsumeIntegralInRange<int>(-1, 80);
    std::string content = input.ConsumeRemainingBytesAsString();
    std::string path = calyx_fuzz::WriteUnderRoot("/etc/fuzz.conf", content);

    // Guard bytes around the buffer show any write past `bufferSize`.
    std::vector<char> buffer(static_cast<size_t>(bufferSize > 0 ? bufferSize : 0) + 16, '\x7f');
    int found = QLIBCFileGetKeyValue(path.c_str(), key.c_str(), buffer.data() + 8, bufferSize, 0);
    for (size_t i = 0; i < 8; ++i) {
        FUZZ_CHECK(buffer[i] == '\x7f', "write before the buffer");
        FUZZ_CHECK(buffer[buffer.size() - 1 - i] == '\x7f', "write past the buffer");
    }
    if (bufferSize <= 0) {
        FUZZ_CHECK(found < 0, "accepted a buffer of size " + std::to_string(bufferSize));
        return 0;
    }
    FUZZ_CHECK(found >= 0, "a readable file reported unreadable");
    const char* value = buffer.data() + 8;
    if (found > 0) {
        size_t length = strnlen(value, static_cast<size_t>(bufferSize));
        FUZZ_CHECK(length < static_cast<size_t>(bufferSize), "value not terminated");
        // The value (cut to the buffer) occurs in the file.
        FUZZ_CHECK(content.find(std::string(value, length)) != std::string::npos,
                   "value not from the file: " + calyx_fuzz::Show(std::string(value, length)));
    }
    if (!key.empty() && key.find_first_of("=\n\r\t #;[") == std::string::npos &&
        key.find('\0') == std::string::npos) {
        // A line "<key>=<marker>" appended at the end is found unless an earlier line
        // holds the key.
        std::string withLine = content + "\n" + key + "=tail-marker\n";
        calyx_fuzz::WriteUnderRoot("/etc/fuzz.conf", withLine);
        char big[128];
        int again = QLIBCFileGetKeyValue(path.c_str(), key.c_str(), big, sizeof big, 0);
        FUZZ_CHECK(again > 0, "appended key not found: " + calyx_fuzz::Show(key));
        if (found == 0) {
            FUZZ_CHECK(strcmp(big, "tail-marker") == 0,
                       "appended line's value not returned: " + calyx_fuzz::Show(big));
        }
    }
    return 0;
}
