// The cpuinfo reader on a fuzzed "/proc/cpuinfo" (under a temporary root), against a
// straightforward reading: the last line whose name part holds the key gives its raw
// second ":"-piece.
#include <cstdint>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/host.h"
#include "fuzz_support.h"
#include "proc_readers.h"

namespace {

std::string ReferenceValue(const std::string& content, const std::string& key) {
    std::string result;
    for (const std::string& line : calyx_fuzz::LinesWithBreaks(content)) {
        std::vector<std::string> pieces = Calyx::StringExplode(line, ":");
        if (pieces.size() >= 2 && pieces[0].find(key) != std::string::npos) {
            result = pieces[1];
        }
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    std::string key = input.ConsumeRandomLengthString(16);
    bool present = input.ConsumeIntegralInRange<int>(0, 15) != 0;
    std::string content = input.ConsumeRemainingBytesAsString();
    if (present) {
        calyx_fuzz::WriteUnderRoot("/proc/cpuinfo", content);
    } else {
        calyx_fuzz::RemoveUnderRoot("/proc/cpuinfo");
    }
    std::string value = Calyx::GetCPUInfo(key);
    std::string expected = present && !key.empty() ? ReferenceValue(content, key) : std::string();
    FUZZ_CHECK(value == expected, "cpuinfo " + calyx_fuzz::Show(key) + " gave " +
                                      calyx_fuzz::Show(value) + ", expected " +
                                      calyx_fuzz::Show(expected));
    return 0;
}
