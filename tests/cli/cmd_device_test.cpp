// calyx device: the facts of a machine tree given as the root prefix.
#include <gtest/gtest.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

void BuildMachine(const TempDir& root) {
    WriteFile(root.path() + "/etc.defaults/zevoinfo.conf",
              "upnpmodelname=X-100\ncustom_serial=C1\n");
    WriteFile(root.path() + "/proc/cpuinfo", "processor\t: 0\nmodel name\t: Example CPU\n");
    WriteFile(root.path() + "/proc/net/arp",
              "IP address       HW type     Flags       HW address            Mask     Device\n"
              "10.0.0.5         0x1         0x2         02:00:00:00:00:05     *        eth0\n");
    WriteFile(root.path() + "/sys/class/net/eth0/type", "1\n");
    WriteFile(root.path() + "/sys/class/net/eth0/address", "00:11:32:aa:bb:cc\n");
    WriteFile(root.path() + "/sys/class/net/eth0/operstate", "up\n");
    MakeDirs(root.path() + "/sys/class/net/eth0/device");
}

TEST(CliDevice, FactsOfARootTree) {
    TempDir root;
    BuildMachine(root);
    ToolRun run = RunTool(
        {"device", "--root", root.path(), "--arp", "10.0.0.5", "--arp", "10.0.0.6", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value out = ExpectJson(run.out);
    EXPECT_EQ(out["model"].asString(), "X-100");
    EXPECT_EQ(out["serial"].asString(), "C1");
    EXPECT_EQ(out["udn"].asString(), "uuid:001132aa-bbcc-0011-ccbb-ccbbaa321100");
    ASSERT_EQ(out["networkCards"].size(), 1u);
    EXPECT_EQ(out["networkCards"][0]["mac"].asString(), "00:11:32:aa:bb:cc");
    EXPECT_EQ(out["cpu"]["model name"].asString(), "Example CPU");
    EXPECT_EQ(out["arp"]["10.0.0.5"].asString(), "02:00:00:00:00:05");
    EXPECT_EQ(out["arp"]["10.0.0.6"].asString(), "");

    ToolRun text = RunTool({"device", "--root", root.path()});
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("uuid:001132aa-bbcc-0011-ccbb-ccbbaa321100"), std::string::npos)
        << text.out;
    EXPECT_NE(text.out.find("X-100"), std::string::npos);
}

TEST(CliDevice, ThisMachineGivesAWellFormedUdn) {
    ToolRun run = RunTool({"device", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::string udn = ExpectJson(run.out)["udn"].asString();
    ASSERT_EQ(udn.size(), 41u) << udn;
    EXPECT_EQ(udn.rfind("uuid:", 0), 0u);
}

TEST(CliDevice, MissingRootIsAnError) {
    ToolRun run = RunTool({"device", "--root", "/nonexistent/calyx-root"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("/nonexistent/calyx-root"), std::string::npos);
}

}  // namespace
}  // namespace calyx_test
