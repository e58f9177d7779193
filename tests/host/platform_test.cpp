// The portable platform operations behind device identity and media folders.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/platform.h"
#include "host_fixtures.h"

using namespace calyx_test;

namespace {

std::vector<std::string> Tokens(std::string text, const char* seps) {
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    char* cursor = buffer.data();
    std::vector<std::string> tokens;
    while (char* token = QLIBCStrTokIndex(&cursor, seps)) {
        tokens.emplace_back(token);
    }
    // The cursor rests on the end of the text once no token is left.
    EXPECT_EQ(*cursor, '\0');
    EXPECT_EQ(QLIBCStrTokIndex(&cursor, seps), nullptr);
    return tokens;
}

std::string CardName(int index) {
    ZEVO_NET_CARD card;
    memset(&card, 0, sizeof card);
    if (ZEVONetGetCard1(index, 0, &card) <= 0) {
        return "<none>";
    }
    return card.name;
}

const char* kSettings = "/etc.defaults/zevoinfo.conf";
const char* kDeviceTreeSerial = "/proc/device-tree/serial-number";
const char* kDmiSerial = "/sys/class/dmi/id/product_serial";

}  // namespace

TEST(QLIBCStrTokIndex, NonEmptyTokensInOrder) {
    EXPECT_EQ(Tokens("a;b;c", ";"), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(Tokens(";;a;;b;", ";"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Tokens("a b,c ,d", " ,"), (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_EQ(Tokens("", ";"), std::vector<std::string>{});
    EXPECT_EQ(Tokens(";;;", ";"), std::vector<std::string>{});
    EXPECT_EQ(Tokens("a;b", ""), std::vector<std::string>{"a;b"});
}

TEST(QLIBCStrTokIndex, CursorAdvancesPastTheSeparator) {
    char text[] = "one;two";
    char* cursor = text;
    char* first = QLIBCStrTokIndex(&cursor, ";");
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first, "one");
    EXPECT_EQ(cursor, text + 4);
    EXPECT_STREQ(QLIBCStrTokIndex(&cursor, ";"), "two");
    EXPECT_EQ(cursor, text + 7);
}

TEST(QLIBCStrTokIndex, NullArgumentsGiveNull) {
    char* cursor = nullptr;
    EXPECT_EQ(QLIBCStrTokIndex(&cursor, ";"), nullptr);
    EXPECT_EQ(QLIBCStrTokIndex(nullptr, ";"), nullptr);
    char text[] = "a;b";
    cursor = text;
    EXPECT_STREQ(QLIBCStrTokIndex(&cursor, nullptr), "a;b");
}

TEST(QLIBGetCustomSerialNumber, MissingFileOrKeyIsEmptySuccess) {
    char buf[256] = "junk";
    {
        ScopedRoot root;
        EXPECT_GE(QLIBGetCustomSerialNumber(buf, sizeof buf), 0);
        EXPECT_STREQ(buf, "");
    }
    strcpy(buf, "junk");
    {
        ScopedRoot root;
        root.write(kSettings, "upnpmodelname=X\n");
        EXPECT_GE(QLIBGetCustomSerialNumber(buf, sizeof buf), 0);
        EXPECT_STREQ(buf, "");
    }
}

TEST(QLIBGetCustomSerialNumber, ValueOfTheKey) {
    ScopedRoot root;
    root.write(kSettings, "# comment\ncustom_serial = \"ABC 123\"\ncustom_serial=second\n");
    char buf[256];
    EXPECT_GE(QLIBGetCustomSerialNumber(buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "ABC 123");
    char small[4];
    EXPECT_GE(QLIBGetCustomSerialNumber(small, sizeof small), 0);
    EXPECT_STREQ(small, "ABC");
}

TEST(QLIBGetCustomSerialNumber, FileThatIsNoFileFails) {
    ScopedRoot root;
    MakeDirs(root.resolve(kSettings));
    char buf[256];
    EXPECT_LT(QLIBGetCustomSerialNumber(buf, sizeof buf), 0);
    EXPECT_LT(QLIBGetCustomSerialNumber(nullptr, 256), 0);
    EXPECT_LT(QLIBGetCustomSerialNumber(buf, 0), 0);
}

TEST(QLIBGetCustomSerialNumber, UnreadableFileFails) {
    if (RunningAsRoot()) {
        GTEST_SKIP() << "root reads every file";
    }
    ScopedRoot root;
    std::string file = root.write(kSettings, "custom_serial=C1\n");
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    char buf[256];
    EXPECT_LT(QLIBGetCustomSerialNumber(buf, sizeof buf), 0);
}

TEST(QLIBGetSerialNumber, DeviceTreeFirstWithTrailingBytesRemoved) {
    ScopedRoot root;
    root.write(kDeviceTreeSerial, std::string(" 0A1B2C \n\0\0", 11));
    root.write(kDmiSerial, "DMI-1\n");
    char buf[256];
    EXPECT_GE(QLIBGetSerialNumber(buf, sizeof buf), 0);
    EXPECT_STREQ(buf, " 0A1B2C");
}

TEST(QLIBGetSerialNumber, DmiWhenNoDeviceTree) {
    ScopedRoot root;
    root.write(kDmiSerial, "DMI-1 \r\n");
    char buf[256];
    EXPECT_GE(QLIBGetSerialNumber(buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "DMI-1");
    char small[3];
    EXPECT_GE(QLIBGetSerialNumber(small, sizeof small), 0);
    EXPECT_STREQ(small, "DM");
}

TEST(QLIBGetSerialNumber, EmptyContentsIsEmptySuccess) {
    ScopedRoot root;
    root.write(kDeviceTreeSerial, std::string("\0", 1));
    char buf[256] = "junk";
    EXPECT_GE(QLIBGetSerialNumber(buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "");
}

TEST(QLIBGetSerialNumber, NeitherSourceOrUnreadableSourceFails) {
    char buf[256];
    {
        ScopedRoot root;
        EXPECT_LT(QLIBGetSerialNumber(buf, sizeof buf), 0);
    }
    {
        ScopedRoot root;
        MakeDirs(root.resolve(kDmiSerial));
        EXPECT_LT(QLIBGetSerialNumber(buf, sizeof buf), 0);
    }
    EXPECT_LT(QLIBGetSerialNumber(nullptr, 256), 0);
}

TEST(QLIBGetSerialNumber, PermissionDeniedFails) {
    if (RunningAsRoot()) {
        GTEST_SKIP() << "root reads every file";
    }
    ScopedRoot root;
    std::string file = root.write(kDmiSerial, "DMI-1\n");
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    char buf[256];
    EXPECT_LT(QLIBGetSerialNumber(buf, sizeof buf), 0);
}

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
