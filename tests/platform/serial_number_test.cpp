// The serial numbers of the device: the custom one from the settings file, then the
// device tree's or the DMI one.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/platform.h"
#include "support/test_support.h"

using namespace calyx_test;

namespace {

const char* kSettings = "/etc.defaults/zevoinfo.conf";
const char* kDeviceTreeSerial = "/proc/device-tree/serial-number";
const char* kDmiSerial = "/sys/class/dmi/id/product_serial";

}  // namespace

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
