// Processor properties from "/proc/cpuinfo" excerpts of x86 and 32-bit ARM kernels.
#include <gtest/gtest.h>

#include "calyx/host.h"
#include "support/host_fixtures.h"

using namespace calyx_test;

namespace {

// Two processors as an x86 kernel lists them (tab-padded names).
const char* kX86CpuInfo =
    "processor\t: 0\n"
    "vendor_id\t: GenuineExample\n"
    "cpu family\t: 6\n"
    "model\t\t: 142\n"
    "model name\t: Example CPU 8250 @ 1.60GHz\n"
    "cpu MHz\t\t: 1800.000\n"
    "flags\t\t: fpu vme de pse\n"
    "bogomips\t: 3600.00\n"
    "address sizes\t: 39 bits physical, 48 bits virtual\n"
    "\n"
    "processor\t: 1\n"
    "vendor_id\t: GenuineExample\n"
    "model\t\t: 142\n"
    "model name\t: Example CPU 8250 @ 1.70GHz\n"
    "bogomips\t: 3601.00\n"
    "\n";

// A 32-bit ARM kernel: "Processor" with a capital, per-core BogoMIPS, board lines.
const char* kArmCpuInfo =
    "Processor\t: ARMv7 Processor rev 10 (v7l)\n"
    "processor\t: 0\n"
    "BogoMIPS\t: 1987.37\n"
    "\n"
    "processor\t: 1\n"
    "BogoMIPS\t: 1993.93\n"
    "\n"
    "Features\t: swp half thumb fastmult vfp edsp neon vfpv3 tls\n"
    "CPU implementer\t: 0x41\n"
    "CPU architecture: 7\n"
    "CPU part\t: 0xc09\n"
    "\n"
    "Hardware\t: Example Board: rev B (Device Tree)\n"
    "Revision\t: 0000\n"
    "Serial\t\t: 0000000000000000\n";

}  // namespace

TEST(GetCPUInfo, ValueIsRawWithBlankAndLineBreak) {
    ScopedRoot root;
    root.write("/proc/cpuinfo", "model name : X\n");
    EXPECT_EQ(Calyx::GetCPUInfo("model name"), " X\n");
}

TEST(GetCPUInfo, X86LastMatchingLineWins) {
    ScopedRoot root;
    root.write("/proc/cpuinfo", kX86CpuInfo);
    EXPECT_EQ(Calyx::GetCPUInfo("model name"), " Example CPU 8250 @ 1.70GHz\n");
    EXPECT_EQ(Calyx::GetCPUInfo("bogomips"), " 3601.00\n");
    EXPECT_EQ(Calyx::GetCPUInfo("processor"), " 1\n");
    EXPECT_EQ(Calyx::GetCPUInfo("flags"), " fpu vme de pse\n");
    // The key is a substring of the name part: "model" also matches "model name".
    EXPECT_EQ(Calyx::GetCPUInfo("model"), " Example CPU 8250 @ 1.70GHz\n");
    EXPECT_EQ(Calyx::GetCPUInfo("address sizes"), " 39 bits physical, 48 bits virtual\n");
}

TEST(GetCPUInfo, Arm32Layout) {
    ScopedRoot root;
    root.write("/proc/cpuinfo", kArmCpuInfo);
    // Case-sensitive: "Processor" is not "processor".
    EXPECT_EQ(Calyx::GetCPUInfo("Processor"), " ARMv7 Processor rev 10 (v7l)\n");
    EXPECT_EQ(Calyx::GetCPUInfo("processor"), " 1\n");
    EXPECT_EQ(Calyx::GetCPUInfo("BogoMIPS"), " 1993.93\n");
    EXPECT_EQ(Calyx::GetCPUInfo("Serial"), " 0000000000000000\n");
    EXPECT_EQ(Calyx::GetCPUInfo("CPU architecture"), " 7\n");
    EXPECT_EQ(Calyx::GetCPUInfo("Revision"), " 0000\n");
    // A value with a colon is cut there, without its line break.
    EXPECT_EQ(Calyx::GetCPUInfo("Hardware"), " Example Board");
    EXPECT_EQ(Calyx::GetCPUInfo("bogomips"), "");
}

TEST(GetCPUInfo, MissingKeyAndOnePieceLinesGiveEmpty) {
    ScopedRoot root;
    root.write("/proc/cpuinfo", "no colon here\nkey:\n:only value\n");
    EXPECT_EQ(Calyx::GetCPUInfo("absent"), "");
    EXPECT_EQ(Calyx::GetCPUInfo("no colon"), "");
    // "key:\n" splits into "key" and "\n".
    EXPECT_EQ(Calyx::GetCPUInfo("key"), "\n");
    // ":only value\n" is one piece: no match even for its text.
    EXPECT_EQ(Calyx::GetCPUInfo("only"), "");
}

TEST(GetCPUInfo, EmptyKeyIsBadParameter) {
    ScopedRoot root;
    root.write("/proc/cpuinfo", kArmCpuInfo);
    SyslogCapture capture;
    EXPECT_EQ(Calyx::GetCPUInfo(""), "");
    EXPECT_EQ(CountContaining(capture.Stop(), "Bad parameter"), 1u);
}

TEST(GetCPUInfo, MissingFileIsReported) {
    ScopedRoot root;
    SyslogCapture capture;
    EXPECT_EQ(Calyx::GetCPUInfo("model name"), "");
    std::vector<std::string> lines = capture.Stop();
    EXPECT_EQ(CountContaining(lines, "Failed to open file [" + root.resolve("/proc/cpuinfo") + "]"),
              1u);
}
