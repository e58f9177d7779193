// The ARP table reader on a fuzzed "/proc/net/arp" (under a temporary root), against a
// straightforward reading: skip the heading, six blank-separated columns, first exact
// IP match gives the fourth column.
#include <cstdint>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/host.h"
#include "fuzz_support.h"
#include "proc_readers.h"

namespace {

std::string ReferenceLookup(const std::string& content, const std::string& ip) {
    std::vector<std::string> lines = calyx_fuzz::LinesWithBreaks(content);
    for (size_t i = 1; i < lines.size(); ++i) {
        std::vector<std::string> pieces = Calyx::StringExplode(lines[i], " ");
        if (pieces.size() == 6 && pieces[0] == ip) {
            return pieces[3];
        }
    }
    return std::string();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool prepared = (calyx_fuzz::OpenLogUnderRoot(), true);
    (void)prepared;
    FuzzedDataProvider input(data, size);
    std::string ip = input.ConsumeRandomLengthString(20);
    bool present = input.ConsumeIntegralInRange<int>(0, 15) != 0;
    std::string table = input.ConsumeRemainingBytesAsString();
    if (present) {
        calyx_fuzz::WriteUnderRoot("/proc/net/arp", table);
    } else {
        calyx_fuzz::RemoveUnderRoot("/proc/net/arp");
    }
    std::string mac = Calyx::GetMACAddressFromARPTable(ip);
    std::string expected = present ? ReferenceLookup(table, ip) : std::string();
    FUZZ_CHECK(mac == expected, "ARP lookup of " + calyx_fuzz::Show(ip) + " gave " +
                                    calyx_fuzz::Show(mac) + ", expected " +
                                    calyx_fuzz::Show(expected));
    return 0;
}
