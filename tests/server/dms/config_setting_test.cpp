// Editing one setting of the configuration file.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "admin/config_setting.h"
#include "support/test_support.h"

namespace calyx_dms {
namespace {

TEST(ConfigSetting, ReplacesTheLineOrAppendsOne) {
    calyx_test::TempDir dir;
    const std::string path = dir.path() + "/calyx-dms.conf";
    {
        std::ofstream out(path);
        out << "# settings\nport = 8200\n  deny-new-clients=false\ndeny-new-clients-x = 1\n";
    }
    std::string error;
    ASSERT_TRUE(SaveConfigSetting(path, "deny-new-clients", "true", error)) << error;
    EXPECT_EQ(calyx_test::ReadFile(path),
              "# settings\nport = 8200\ndeny-new-clients = true\ndeny-new-clients-x = 1\n");
    ASSERT_TRUE(SaveConfigSetting(path, "language", "ger", error)) << error;
    EXPECT_EQ(calyx_test::ReadFile(path),
              "# settings\nport = 8200\ndeny-new-clients = true\n"
              "deny-new-clients-x = 1\nlanguage = ger\n");
    EXPECT_FALSE(SaveConfigSetting(dir.path() + "/missing.conf", "a", "b", error));
    EXPECT_NE(error.find("missing.conf"), std::string::npos);
}

}  // namespace
}  // namespace calyx_dms
