// The network cards of the device, from the kernel's view under "/sys/class/net".
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/platform.h"
#include "support/host_fixtures.h"

using namespace calyx_test;

namespace {

std::string CardName(int index) {
    ZEVO_NET_CARD card;
    memset(&card, 0, sizeof card);
    if (ZEVONetGetCard1(index, 0, &card) <= 0) {
        return "<none>";
    }
    return card.name;
}

}  // namespace

TEST(ZEVO_NET_CARD, LayoutOfTheRecord) {
    EXPECT_EQ(sizeof(ZEVO_NET_CARD), 72u);
    EXPECT_EQ(offsetof(ZEVO_NET_CARD, usable), 4u);
    EXPECT_EQ(offsetof(ZEVO_NET_CARD, mac), 24u);
    EXPECT_EQ(offsetof(ZEVO_NET_CARD, name), 30u);
}

TEST(ZEVONetEnumCard, PhysicalCardsFirstThenVirtualInByteOrder) {
    ScopedRoot root;
    WriteLoopback(root);
    WriteNetCard(root, {"virbr0", "52:54:00:00:00:01", "up", 1, false});
    WriteNetCard(root, {"eth2", "00:00:00:00:00:02"});
    WriteNetCard(root, {"eth10", "00:00:00:00:00:10", "down"});
    WriteNetCard(root, {"Wlan0", "00:00:00:00:00:0a", "dormant"});
    WriteNetCard(root, {"br0", "00:00:00:00:00:b0", "up", 1, false});
    WriteNetCard(root, {"ip6tnl0", "", "unknown", 769, false});
    EXPECT_EQ(ZEVONetEnumCard(3), 5);
    EXPECT_EQ(ZEVONetEnumCard(1), 5);
    EXPECT_EQ(ZEVONetEnumCard(0), 0);
    std::vector<std::string> names;
    for (int i = 0; i < 6; ++i) {
        names.push_back(CardName(i));
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"Wlan0", "eth10", "eth2", "br0", "virbr0", "<none>"}));
}

TEST(ZEVONetEnumCard, ContainerNetworkDoesNotChangeCardZero) {
    ScopedRoot root;
    WriteNetCard(root, {"enp3s0", "00:11:32:aa:bb:cc"});
    EXPECT_EQ(CardName(0), "enp3s0");
    WriteNetCard(root, {"docker0", "02:42:00:00:00:01", "up", 1, false});
    WriteNetCard(root, {"aveth1", "02:42:00:00:00:02", "up", 1, false});
    EXPECT_EQ(CardName(0), "enp3s0");
    EXPECT_EQ(ZEVONetEnumCard(3), 3);
}

TEST(ZEVONetGetCard1, FillsTheRecord) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "00:11:32:AA:bb:cc"});
    root.write("/sys/class/net/eth0/speed", "1000\n");
    WriteNetCard(root, {"eth1", "00:11:32:aa:bb:cd", "down"});
    root.write("/sys/class/net/eth1/speed", "-1\n");
    // The kernel's "device" entry is a symbolic link.
    WriteNetCard(root, {"wl0", "00:11:32:aa:bb:ce", "up", 1, false});
    ASSERT_EQ(
        symlink("../../devices/pci0000:00", root.resolve("/sys/class/net/wl0/device").c_str()), 0);

    ZEVO_NET_CARD card;
    memset(&card, 0xff, sizeof card);
    ASSERT_GT(ZEVONetGetCard1(0, 0, &card), 0);
    EXPECT_EQ(card.index, 0);
    EXPECT_EQ(card.usable, 1);
    const uint8_t mac0[6] = {0x00, 0x11, 0x32, 0xaa, 0xbb, 0xcc};
    EXPECT_EQ(memcmp(card.mac, mac0, 6), 0);
    EXPECT_STREQ(card.name, "eth0");
    EXPECT_EQ(card.mtu, 1500u);
    EXPECT_EQ(card.speed, 1000u);
    EXPECT_EQ(card.ipv4, 0u);  // not taken from the running kernel under a root prefix

    memset(&card, 0, sizeof card);
    ASSERT_GT(ZEVONetGetCard1(1, 0, &card), 0);
    EXPECT_EQ(card.index, 1);
    EXPECT_EQ(card.usable, 0);
    EXPECT_EQ(card.speed, 0u);
    EXPECT_STREQ(card.name, "eth1");

    memset(&card, 0, sizeof card);
    ASSERT_GT(ZEVONetGetCard1(2, 0, &card), 0);
    EXPECT_STREQ(card.name, "wl0");
}

TEST(ZEVONetGetCard1, NoSuchCard) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "00:11:32:aa:bb:cc"});
    ZEVO_NET_CARD card;
    EXPECT_LE(ZEVONetGetCard1(1, 0, &card), 0);
    EXPECT_LE(ZEVONetGetCard1(-1, 0, &card), 0);
    EXPECT_LE(ZEVONetGetCard1(0, 0, nullptr), 0);
}
