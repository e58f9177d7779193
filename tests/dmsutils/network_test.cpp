// Network cards of the device and the kernel ARP table, from fixture trees.
#include <gtest/gtest.h>

#include <map>

#include "calyx/host.h"
#include "calyx/platform.h"
#include "support/host_fixtures.h"

using namespace calyx_test;
using CardMap = std::map<std::string, std::string>;

namespace {

// The kernel's layout: a heading line and columns padded with blanks.
const char* kArpHeading =
    "IP address       HW type     Flags       HW address            Mask     Device\n";

std::string ArpLine(const std::string& ip, const std::string& flags, const std::string& mac,
                    const std::string& device) {
    char line[256];
    snprintf(line, sizeof line, "%-16s %-11s %-11s %-21s %-8s %s\n", ip.c_str(), "0x1",
             flags.c_str(), mac.c_str(), "*", device.c_str());
    return line;
}

}  // namespace

TEST(DMSGetNetworkInterface, UsableCardsByAddress) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "00:11:32:AA:BB:CC"});
    WriteNetCard(root, {"eth1", "00:11:32:aa:bb:cd"});
    WriteLoopback(root);
    CardMap cards;
    Calyx::DMSGetNetworkInterface(cards);
    EXPECT_EQ(cards, (CardMap{{"00:11:32:aa:bb:cc", "eth0"}, {"00:11:32:aa:bb:cd", "eth1"}}));
}

TEST(DMSGetNetworkInterface, DownCardIsSkipped) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "00:11:32:aa:bb:cc", "down"});
    WriteNetCard(root, {"eth1", "00:11:32:aa:bb:cd"});
    CardMap cards;
    Calyx::DMSGetNetworkInterface(cards);
    EXPECT_EQ(cards, (CardMap{{"00:11:32:aa:bb:cd", "eth1"}}));
}

TEST(DMSGetNetworkInterface, LoopbackAndNonEthernetAreNoCards) {
    ScopedRoot root;
    WriteLoopback(root);
    WriteNetCard(root, {"tun0", "", "up", 65534, false, "0x1091"});
    // An Ethernet-typed interface whose flags say loopback is no card either.
    WriteNetCard(root, {"lo1", "00:00:00:00:00:01", "up", 1, false, "0x9"});
    CardMap cards;
    Calyx::DMSGetNetworkInterface(cards);
    EXPECT_TRUE(cards.empty());
    EXPECT_EQ(ZEVONetEnumCard(3), 0);
}

TEST(DMSGetNetworkInterface, DuplicateAddressKeepsFirstCard) {
    ScopedRoot root;
    // Physical cards come first, each group in byte order of the names.
    WriteNetCard(root, {"br0", "00:11:32:aa:bb:cc", "up", 1, false});
    WriteNetCard(root, {"eth1", "00:11:32:aa:bb:cc"});
    WriteNetCard(root, {"eth0", "00:11:32:aa:bb:cc"});
    CardMap cards;
    Calyx::DMSGetNetworkInterface(cards);
    EXPECT_EQ(cards, (CardMap{{"00:11:32:aa:bb:cc", "eth0"}}));
}

TEST(DMSGetNetworkInterface, ExistingEntriesStayAndAreNotOverwritten) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "00:11:32:aa:bb:cc"});
    WriteNetCard(root, {"eth1", "00:11:32:aa:bb:cd"});
    CardMap cards{{"00:11:32:aa:bb:cc", "host entry"}, {"zz", "other"}};
    Calyx::DMSGetNetworkInterface(cards);
    EXPECT_EQ(cards, (CardMap{{"00:11:32:aa:bb:cc", "host entry"},
                              {"00:11:32:aa:bb:cd", "eth1"},
                              {"zz", "other"}}));
}

TEST(DMSGetNetworkInterface, NoNetworkDirectoryAddsNothing) {
    ScopedRoot root;
    CardMap cards{{"a", "b"}};
    Calyx::DMSGetNetworkInterface(cards);
    EXPECT_EQ(cards, (CardMap{{"a", "b"}}));
}

TEST(DMSGetNetworkInterface, CardWithUnreadableAddressIsSkipped) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "not-an-address"});
    WriteNetCard(root, {"eth1", "00:11:32:aa:bb:cd"});
    CardMap cards;
    Calyx::DMSGetNetworkInterface(cards);
    EXPECT_EQ(cards, (CardMap{{"00:11:32:aa:bb:cd", "eth1"}}));
}

TEST(GetMACAddressFromARPTable, FindsEntryInKernelLayout) {
    ScopedRoot root;
    root.write("/proc/net/arp", std::string(kArpHeading) +
                                    ArpLine("192.168.1.10", "0x2", "aa:bb:cc:dd:ee:10", "eth0") +
                                    ArpLine("192.168.1.1", "0x2", "aa:bb:cc:dd:ee:01", "eth0") +
                                    ArpLine("192.168.1.1", "0x2", "aa:bb:cc:dd:ee:99", "eth1"));
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("192.168.1.1"), "aa:bb:cc:dd:ee:01");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("192.168.1.10"), "aa:bb:cc:dd:ee:10");
}

TEST(GetMACAddressFromARPTable, LongerAddressDoesNotMatchPrefix) {
    ScopedRoot root;
    root.write("/proc/net/arp", std::string(kArpHeading) +
                                    ArpLine("192.168.1.10", "0x2", "aa:bb:cc:dd:ee:10", "eth0"));
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("192.168.1.1"), "");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("192.168.1.100"), "");
}

TEST(GetMACAddressFromARPTable, IncompleteEntryGivesZeros) {
    ScopedRoot root;
    root.write("/proc/net/arp",
               std::string(kArpHeading) + ArpLine("10.0.0.7", "0x0", "00:00:00:00:00:00", "eth0"));
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("10.0.0.7"), "00:00:00:00:00:00");
}

TEST(GetMACAddressFromARPTable, HeadingAndFiveColumnLinesNeverMatch) {
    ScopedRoot root;
    // The heading is skipped even when it holds six pieces.
    root.write("/proc/net/arp",
               "10.0.0.1 0x1 0x2 aa:aa:aa:aa:aa:aa * eth0\n"
               "10.0.0.2 0x1 0x2 bb:bb:bb:bb:bb:bb eth0\n"
               "10.0.0.3 0x1 0x2 cc:cc:cc:cc:cc:cc * eth0 extra\n");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("10.0.0.1"), "");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("10.0.0.2"), "");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("10.0.0.3"), "");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("IP"), "");
}

TEST(GetMACAddressFromARPTable, NoNormalisationOfTheQuery) {
    ScopedRoot root;
    root.write("/proc/net/arp",
               std::string(kArpHeading) + ArpLine("10.0.0.7", "0x2", "aa:bb:cc:dd:ee:ff", "eth0"));
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable(" 10.0.0.7"), "");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("10.0.0.07"), "");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable(""), "");
}

TEST(GetMACAddressFromARPTable, MissingTableIsLoggedAndGivesEmpty) {
    ScopedRoot root;
    LogFile log;
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("10.0.0.7"), "");
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("Error: Server::GetMACAddressFromARPTable - Failed to open " +
                            root.resolve("/proc/net/arp")),
              std::string::npos);
}

TEST(GetMACAddressFromARPTable, MissingEntryIsNotLogged) {
    ScopedRoot root;
    root.write("/proc/net/arp", kArpHeading);
    LogFile log;
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("10.0.0.7"), "");
    EXPECT_TRUE(log.Lines().empty());
}
