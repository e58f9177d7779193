// Smoke checks on the real machine (no root prefix): only what holds on any Linux box.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>

#include "calyx/host.h"
#include "calyx/platform.h"
#include "support/host_fixtures.h"

using namespace calyx_test;

namespace {

// Every check reads the machine itself.
class RealMachine : public testing::Test {
protected:
    ScopedEnv noRoot_{"CALYX_ROOT", nullptr};
};

}  // namespace

TEST_F(RealMachine, UDNHasItsShapeAndIsStable) {
    std::string udn = Calyx::DMSGetProductUDN();
    EXPECT_TRUE(std::regex_match(
        udn, std::regex("uuid:[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}")))
        << udn;
    EXPECT_EQ(Calyx::DMSGetProductUDN(), udn);
}

TEST_F(RealMachine, ModelNameIsStableAndFitsItsBuffer) {
    std::string model = Calyx::DMSGetProductModel();
    EXPECT_LE(model.size(), 63u);
    EXPECT_EQ(Calyx::DMSGetProductModel(), model);
}

TEST_F(RealMachine, SerialHasNoTrailingBlanks) {
    std::string serial = Calyx::DMSGetProductSerial();
    EXPECT_LE(serial.size(), 255u);
    if (!serial.empty()) {
        EXPECT_NE(serial.back(), '\n');
        EXPECT_NE(serial.back(), ' ');
    }
}

TEST_F(RealMachine, NetworkCardsAreEthernetLikeAndNotLoopback) {
    int count = ZEVONetEnumCard(3);
    EXPECT_GE(count, 0);
    for (int i = 0; i < count; ++i) {
        ZEVO_NET_CARD card;
        memset(&card, 0, sizeof card);
        if (ZEVONetGetCard1(i, 0, &card) <= 0) {
            continue;  // an interface may vanish between the calls
        }
        EXPECT_EQ(card.index, i);
        EXPECT_GT(strlen(card.name), 0u);
        EXPECT_STRNE(card.name, "lo");
    }
    std::map<std::string, std::string> cards;
    Calyx::DMSGetNetworkInterface(cards);
    for (const auto& entry : cards) {
        EXPECT_TRUE(std::regex_match(entry.first, std::regex("([0-9a-f]{2}:){5}[0-9a-f]{2}")))
            << entry.first;
        EXPECT_FALSE(entry.second.empty());
    }
}

TEST_F(RealMachine, ArpLookupOfNoAddressIsEmpty) {
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable("not an address"), "");
    EXPECT_EQ(Calyx::GetMACAddressFromARPTable(""), "");
}

TEST_F(RealMachine, CpuInfoOfAnAbsentKeyIsEmpty) {
    EXPECT_EQ(Calyx::GetCPUInfo("no processor has this property"), "");
    // Every value is raw: it starts after a colon, so it is never a bare key name.
    std::string processor = Calyx::GetCPUInfo("processor");
    if (!processor.empty()) {
        EXPECT_EQ(processor.find(':'), std::string::npos);
    }
}
