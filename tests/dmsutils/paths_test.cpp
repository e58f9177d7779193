#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "calyx/core.h"
#include "platform/file_ops.h"
#include "support/test_support.h"

using calyx_test::ReadFile;
using calyx_test::ScopedRoot;
using calyx_test::SyslogCapture;
using calyx_test::TempDir;
using calyx_test::WriteFile;

TEST(FileGetPathBaseName, FollowsPosix) {
    EXPECT_EQ(Calyx::FileGetPathBaseName("/a/b/"), "b");
    EXPECT_EQ(Calyx::FileGetPathBaseName("/a/b"), "b");
    EXPECT_EQ(Calyx::FileGetPathBaseName("/"), "/");
    EXPECT_EQ(Calyx::FileGetPathBaseName("name"), "name");
    EXPECT_EQ(Calyx::FileGetPathBaseName(""), ".");
}

TEST(FileGetPathDirName, FollowsPosix) {
    EXPECT_EQ(Calyx::FileGetPathDirName("/a/b/"), "/a");
    EXPECT_EQ(Calyx::FileGetPathDirName("/a/b"), "/a");
    EXPECT_EQ(Calyx::FileGetPathDirName("/"), "/");
    EXPECT_EQ(Calyx::FileGetPathDirName("name"), ".");
    EXPECT_EQ(Calyx::FileGetPathDirName(""), ".");
}

TEST(FileGetPathBaseNameNoExt, CutsAtLastDot) {
    EXPECT_EQ(Calyx::FileGetPathBaseNameNoExt("/v/m/song.live.mp3"), "song.live");
    EXPECT_EQ(Calyx::FileGetPathBaseNameNoExt("/v/m/README"), "README");
}

TEST(FileGetPathBaseNameNoExt, BareNameOrTrailingSlashGivesNothing) {
    EXPECT_EQ(Calyx::FileGetPathBaseNameNoExt("song.mp3"), "");
    EXPECT_EQ(Calyx::FileGetPathBaseNameNoExt("/v/m/"), "");
    EXPECT_EQ(Calyx::FileGetPathBaseNameNoExt("/x/.hidden"), "");
}

TEST(FileGetFileExt, TextAfterLastDot) {
    EXPECT_EQ(Calyx::FileGetFileExt("a/b.MP3"), "MP3");
    EXPECT_EQ(Calyx::FileGetFileExt("a/b."), "");
    EXPECT_EQ(Calyx::FileGetFileExt("a/b"), "");
    EXPECT_EQ(Calyx::FileGetFileExt("/a.b/c"), "b/c");
}

class GetAbsolutePathTest : public testing::Test {
protected:
    void SetUp() override {
        root_.write("/usr/zevo/etc/shares.conf",
                    "# shares of this box\nmusic=/volume1/music\nvideo = \"/volume1/my video\"\n");
    }
    ScopedRoot root_;
};

TEST_F(GetAbsolutePathTest, ShareAlone) {
    EXPECT_EQ(Calyx::GetAbsolutePath("music"), "/volume1/music");
    EXPECT_EQ(Calyx::GetAbsolutePath("/music/"), "/volume1/music");
}

TEST_F(GetAbsolutePathTest, ShareWithRestWithOrWithoutLeadingSlash) {
    EXPECT_EQ(Calyx::GetAbsolutePath("/music/x/y.flac"), "/volume1/music/x/y.flac");
    EXPECT_EQ(Calyx::GetAbsolutePath("music/x/y.flac"), "/volume1/music/x/y.flac");
    EXPECT_EQ(Calyx::GetAbsolutePath("/video/a b/../c"), "/volume1/my video/a b/../c");
}

TEST_F(GetAbsolutePathTest, RestIsKeptUnchanged) {
    EXPECT_EQ(Calyx::GetAbsolutePath("music//x/./y"), "/volume1/music//x/./y");
}

TEST_F(GetAbsolutePathTest, UnknownShareOrNoShareGivesEmpty) {
    EXPECT_EQ(Calyx::GetAbsolutePath("/nosuchshare/x"), "");
    EXPECT_EQ(Calyx::GetAbsolutePath("nosuchshare"), "");
    EXPECT_EQ(Calyx::GetAbsolutePath(""), "");
    EXPECT_EQ(Calyx::GetAbsolutePath("///"), "");
}

TEST_F(GetAbsolutePathTest, OverlongPathIsLoggedAndEmpty) {
    TempDir dir;
    std::string log = dir.file("calyx.log");
    ASSERT_EQ(Calyx::DMSLOGInit(log.c_str()), 1);
    std::string longPath = "/music/" + std::string(4096 - 7, 'a');
    ASSERT_EQ(longPath.size(), 4096u);
    EXPECT_EQ(Calyx::GetAbsolutePath(longPath), "");
    std::string fits = "/music/" + std::string(4095 - 7, 'a');
    EXPECT_NE(Calyx::GetAbsolutePath(fits), "");
    Calyx::DMSLogClose();
    std::vector<std::string> lines = calyx_test::SplitLines(ReadFile(log));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], testing::HasSubstr("Error: GetAbsolutePath - exceed ZEVO_MAXPATH(4095)"));
}

TEST(FileCopy, EmptyArgumentIsReportedWithoutRunning) {
    TempDir dir;
    std::string target = dir.file("target");
    SyslogCapture capture;
    EXPECT_EQ(Calyx::FileCopy("", target), -1);
    EXPECT_EQ(Calyx::FileCopy(target, ""), -1);
    std::vector<std::string> lines = capture.Stop();
    EXPECT_FALSE(calyx_test::FileExists(target));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], testing::ContainsRegex("dmsutils:[0-9]+ Bad parameter"));
}

TEST(FileCopy, CopiesPathsWithShellCharacters) {
    TempDir dir;
    std::string from = dir.file("a \"quoted\" $HOME `id` name.txt");
    std::string to = dir.file("copy of $(echo x) \"b\".txt");
    WriteFile(from, "payload\n");
    EXPECT_EQ(Calyx::FileCopy(from, to), 0);
    EXPECT_EQ(ReadFile(to), "payload\n");
}

TEST(FileCopy, OverwritesExistingTarget) {
    TempDir dir;
    WriteFile(dir.file("from"), "new");
    WriteFile(dir.file("to"), "old contents");
    EXPECT_EQ(Calyx::FileCopy(dir.file("from"), dir.file("to")), 0);
    EXPECT_EQ(ReadFile(dir.file("to")), "new");
}

TEST(FileCopy, FailedCopyReturnsWaitStatus) {
    TempDir dir;
    int status = Calyx::FileCopy(dir.file("missing"), dir.file("to"));
    EXPECT_NE(status, 0);
    EXPECT_NE(status, -1);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_NE(WEXITSTATUS(status), 0);
}

std::vector<std::string> gRunArguments;
int gRunResult = 0;
int RecordRun(const char* const argv[]) {
    gRunArguments.clear();
    for (int i = 0; argv[i] != nullptr; ++i) {
        gRunArguments.emplace_back(argv[i]);
    }
    return gRunResult;
}

TEST(FileCopy, RunsCpThroughThePlatformAndPassesItsStatusThrough) {
    Calyx::detail::FileOps ops = Calyx::detail::SystemFileOps();
    ops.run = RecordRun;
    Calyx::detail::ScopedFileOps recording(ops);
    for (int result : {0, 256, -1}) {
        gRunResult = result;
        EXPECT_EQ(Calyx::FileCopy("/a \"b\"", "/c $d"), result);
        EXPECT_EQ(gRunArguments, (std::vector<std::string>{"/bin/cp", "-f", "/a \"b\"", "/c $d"}));
    }
}
