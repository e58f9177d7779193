// Serial number, model name and UDN, from fixture trees.
#include <gtest/gtest.h>

#include <regex>

#include "calyx/host.h"
#include "support/host_fixtures.h"

using namespace calyx_test;

namespace {

const char* kSettings = "/etc.defaults/zevoinfo.conf";
const char* kDeviceTreeSerial = "/proc/device-tree/serial-number";
const char* kDmiSerial = "/sys/class/dmi/id/product_serial";
const char* kSerialFailure = "dmsutils:DMSGetProductSerial(";

}  // namespace

TEST(DMSGetProductSerial, CustomSerialWinsOverFactory) {
    ScopedRoot root;
    root.write(kSettings, "custom_serial=C1\n");
    root.write(kDeviceTreeSerial, std::string("F1\0", 3));
    EXPECT_EQ(Calyx::DMSGetProductSerial(), "C1");
}

TEST(DMSGetProductSerial, EmptyCustomSerialFallsThroughToFactory) {
    ScopedRoot root;
    root.write(kSettings, "custom_serial=\nupnpmodelname=X\n");
    root.write(kDeviceTreeSerial, std::string("F1\0", 3));
    EXPECT_EQ(Calyx::DMSGetProductSerial(), "F1");
}

TEST(DMSGetProductSerial, MissingSettingsFileFallsThroughToFactory) {
    ScopedRoot root;
    root.write(kDmiSerial, "F2 \n");
    EXPECT_EQ(Calyx::DMSGetProductSerial(), "F2");
}

TEST(DMSGetProductSerial, BothEmptyGivePlaceholder) {
    ScopedRoot root;
    root.write(kSettings, "custom_serial=\"\"\n");
    root.write(kDmiSerial, "\n");
    SyslogCapture capture;
    EXPECT_EQ(Calyx::DMSGetProductSerial(), "1234567890");
    EXPECT_EQ(CountContaining(capture.Stop(), kSerialFailure), 0u);
}

TEST(DMSGetProductSerial, FailedCustomReadGivesEmptyAndOneReport) {
    ScopedRoot root;
    // A directory where the settings file should be: present but not readable as a file.
    MakeDirs(root.resolve(kSettings));
    root.write(kDeviceTreeSerial, std::string("F1\0", 3));
    SyslogCapture capture;
    EXPECT_EQ(Calyx::DMSGetProductSerial(), "");
    std::vector<std::string> lines = capture.Stop();
    EXPECT_EQ(CountContaining(lines, "failed to get serial number from flash."), 1u);
    EXPECT_EQ(CountContaining(lines, kSerialFailure), 1u);
}

TEST(DMSGetProductSerial, FailedFactoryReadGivesEmptyNotPlaceholder) {
    ScopedRoot root;
    root.write(kSettings, "upnpmodelname=X\n");  // no custom serial
    // Neither factory source exists.
    SyslogCapture capture;
    EXPECT_EQ(Calyx::DMSGetProductSerial(), "");
    EXPECT_EQ(CountContaining(capture.Stop(), "failed to get serial number from flash."), 1u);
}

TEST(DMSGetProductSerial, UnreadableFactorySourceFails) {
    ScopedRoot root;
    MakeDirs(root.resolve(kDeviceTreeSerial));  // exists, but is no file
    root.write(kDmiSerial, "F3\n");             // not consulted: the first existing wins
    SyslogCapture capture;
    EXPECT_EQ(Calyx::DMSGetProductSerial(), "");
    EXPECT_EQ(CountContaining(capture.Stop(), kSerialFailure), 1u);
}

TEST(DMSGetProductModel, ValueFromSettingsFile) {
    ScopedRoot root;
    root.write(kSettings, "# platform settings\nupnpmodelname=X-100\n");
    EXPECT_EQ(Calyx::DMSGetProductModel(), "X-100");
}

TEST(DMSGetProductModel, MissingKeyOrFileGivesDefault) {
    {
        ScopedRoot root;
        root.write(kSettings, "custom_serial=C1\n");
        EXPECT_EQ(Calyx::DMSGetProductModel(), "Quillbox");
    }
    {
        ScopedRoot root;
        EXPECT_EQ(Calyx::DMSGetProductModel(), "Quillbox");
    }
}

TEST(DMSGetProductModel, EmptyValueReplacesDefault) {
    ScopedRoot root;
    root.write(kSettings, "upnpmodelname=\n");
    EXPECT_EQ(Calyx::DMSGetProductModel(), "");
}

TEST(DMSGetProductModel, LongValueIsCutTo63Bytes) {
    ScopedRoot root;
    root.write(kSettings, "upnpmodelname=" + std::string(100, 'M') + "\n");
    EXPECT_EQ(Calyx::DMSGetProductModel(), std::string(63, 'M'));
}

TEST(DMSGetProductUDN, ScrambledByteOrderOfCardZero) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "00:11:32:aa:bb:cc"});
    EXPECT_EQ(Calyx::DMSGetProductUDN(), "uuid:001132aa-bbcc-0011-ccbb-ccbbaa321100");
}

TEST(DMSGetProductUDN, StableAcrossCalls) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "02:42:ac:11:00:02"});
    std::string first = Calyx::DMSGetProductUDN();
    EXPECT_EQ(Calyx::DMSGetProductUDN(), first);
    EXPECT_TRUE(std::regex_match(
        first, std::regex("uuid:[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}")));
}

TEST(DMSGetProductUDN, UsesCardZeroEvenWhenDown) {
    ScopedRoot root;
    WriteNetCard(root, {"eth0", "00:11:32:aa:bb:cc", "down"});
    EXPECT_EQ(Calyx::DMSGetProductUDN(), "uuid:001132aa-bbcc-0011-ccbb-ccbbaa321100");
}

TEST(DMSGetProductUDN, PhysicalCardWinsOverContainerBridge) {
    ScopedRoot root;
    WriteNetCard(root, {"docker0", "02:42:00:00:00:01", "up", 1, false});
    WriteNetCard(root, {"eth0", "00:11:32:aa:bb:cc"});
    WriteLoopback(root);
    EXPECT_EQ(Calyx::DMSGetProductUDN(), "uuid:001132aa-bbcc-0011-ccbb-ccbbaa321100");
}

TEST(DMSGetProductUDN, NoCardGivesFixedUDNAndReport) {
    ScopedRoot root;
    WriteLoopback(root);
    SyslogCapture capture;
    EXPECT_EQ(Calyx::DMSGetProductUDN(), "uuid:4b1e7d30-2ac9-11b2-9f06-c37a51e8d2b4");
    std::vector<std::string> lines = capture.Stop();
    EXPECT_EQ(CountContaining(lines, "dmsutils:DMSGetProductUDN("), 1u);
    EXPECT_EQ(CountContaining(lines, "get network error."), 1u);
}
