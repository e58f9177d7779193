// Fixture trees for the host tests: network cards, the library log, system-log lines.
#ifndef CALYX_TESTS_SUPPORT_HOST_FIXTURES_H
#define CALYX_TESTS_SUPPORT_HOST_FIXTURES_H

#include <algorithm>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "support/test_support.h"

namespace calyx_test {

// One interface under "/sys/class/net" as the kernel shows it.
struct NetCardFixture {
    std::string name;
    std::string address;
    std::string operstate = "up";
    int type = 1;          // ARPHRD_ETHER
    bool physical = true;  // has a "device" entry
    std::string flags = "0x1003";
};

inline void WriteNetCard(const ScopedRoot& root, const NetCardFixture& card) {
    std::string dir = "/sys/class/net/" + card.name;
    root.write(dir + "/type", std::to_string(card.type) + "\n");
    root.write(dir + "/address", card.address + "\n");
    root.write(dir + "/operstate", card.operstate + "\n");
    root.write(dir + "/flags", card.flags + "\n");
    root.write(dir + "/mtu", "1500\n");
    if (card.physical) {
        MakeDirs(root.resolve(dir + "/device"));
    }
}

inline void WriteLoopback(const ScopedRoot& root) {
    WriteNetCard(root, {"lo", "00:00:00:00:00:00", "unknown", 772, false, "0x9"});
}

// Points the library log at a private file for the scope.
class LogFile {
public:
    LogFile() : path_(dir_.file("calyx.log")) {
        Calyx::DMSLogClose();
        Calyx::DMSLOGInit(path_.c_str());
    }
    ~LogFile() { Calyx::DMSLogClose(); }
    std::vector<std::string> Lines() const { return SplitLines(ReadFile(path_)); }

private:
    TempDir dir_;
    std::string path_;
};

inline size_t CountContaining(const std::vector<std::string>& lines, const std::string& text) {
    return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) {
        return l.find(text) != std::string::npos;
    }));
}

}  // namespace calyx_test

#endif  // CALYX_TESTS_SUPPORT_HOST_FIXTURES_H
