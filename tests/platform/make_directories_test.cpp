// The programs' "mkdir -p": every missing folder made, existing ones fine, and a clear
// error naming the part that is in the way.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "calyx/core.h"
#include "support/test_support.h"

using calyx_test::TempDir;

namespace {

bool IsFolder(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

TEST(MakeDirectories, MakesEveryMissingFolder) {
    TempDir dir;
    const std::string deep = dir.file("a/b/c");
    Calyx::Error error;
    ASSERT_TRUE(Calyx::MakeDirectories(deep, &error)) << error.message;
    EXPECT_TRUE(IsFolder(dir.file("a")));
    EXPECT_TRUE(IsFolder(deep));
    // Again, and with a trailing slash and doubled slashes: nothing to do, no error.
    EXPECT_TRUE(Calyx::MakeDirectories(deep, &error)) << error.message;
    EXPECT_TRUE(Calyx::MakeDirectories(dir.file("a//b/c/"), nullptr));
}

TEST(MakeDirectories, AFileInTheWayIsNamed) {
    TempDir dir;
    calyx_test::WriteFile(dir.file("file"), "x");
    Calyx::Error error;
    EXPECT_FALSE(Calyx::MakeDirectories(dir.file("file/below"), &error));
    EXPECT_EQ(error.errorNumber, ENOTDIR);
    EXPECT_NE(error.message.find(dir.file("file") + ": cannot create the folder"),
              std::string::npos)
        << error.message;
    EXPECT_FALSE(Calyx::MakeDirectories(dir.file("file"), nullptr));
}

TEST(MakeDirectories, AFolderThatMayNotBeWrittenGivesTheSystemError) {
    if (geteuid() == 0)
        GTEST_SKIP() << "root may write any folder";
    TempDir dir;
    calyx_test::MakeDirs(dir.file("locked"));
    ASSERT_EQ(chmod(dir.file("locked").c_str(), 0555), 0);
    Calyx::Error error;
    EXPECT_FALSE(Calyx::MakeDirectories(dir.file("locked/inner/deeper"), &error));
    EXPECT_EQ(error.errorNumber, EACCES);
    EXPECT_NE(error.message.find(dir.file("locked/inner")), std::string::npos) << error.message;
    chmod(dir.file("locked").c_str(), 0755);
}

}  // namespace
