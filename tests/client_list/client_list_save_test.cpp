// The crash-safe save: temporary file, permissions, symbolic links, failures.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "calyx/client_list.h"
#include "client_list_test_util.h"
#include "platform/file_replace.h"

using calyx_test::kClientListFixedPath;
using calyx_test::LogWatch;
using calyx_test::ParseJson;
using calyx_test::ReadFile;

namespace {

mode_t ModeOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

using ClientListSave = calyx_test::OneClientList;

TEST_F(ClientListSave, LeavesOnlyTheFileBehind) {
    ASSERT_EQ(list_.WriteToFile(), 1);
    ASSERT_EQ(list_.WriteToFile(), 1);
    EXPECT_EQ(calyx_test::ListDirectory(Dir()), std::vector<std::string>{"client_list.json"});
    EXPECT_EQ(ParseJson(ReadFile(Path()))["ClientList"][0]["displayName"], Json::Value(" F"));
}

TEST_F(ClientListSave, KeepsThePermissionBitsOfTheOldFile) {
    calyx_test::WriteFile(Path(), "{}");
    ASSERT_EQ(chmod(Path().c_str(), 0640), 0);
    ASSERT_EQ(list_.WriteToFile(), 1);
    EXPECT_EQ(ModeOf(Path()), 0640u);
    ASSERT_EQ(chmod(Path().c_str(), 0604), 0);
    ASSERT_EQ(list_.WriteToFile(), 1);
    EXPECT_EQ(ModeOf(Path()), 0604u);
}

TEST_F(ClientListSave, NewFileGetsTheModeOfTheUmask) {
    mode_t old = umask(027);
    int saved = list_.WriteToFile();
    umask(old);
    ASSERT_EQ(saved, 1);
    EXPECT_EQ(ModeOf(Path()), 0640u);
}

TEST_F(ClientListSave, FollowsASymbolicLinkAndKeepsIt) {
    std::string target = root_.resolve("/data/real_list.json");
    calyx_test::WriteFile(target, "{}");
    ASSERT_EQ(chmod(target.c_str(), 0600), 0);
    ASSERT_EQ(symlink("../../../../data/real_list.json", Path().c_str()), 0);
    ASSERT_EQ(list_.WriteToFile(), 1);
    struct stat st;
    ASSERT_EQ(lstat(Path().c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(ParseJson(ReadFile(target))["ClientList"].size(), 1u);
    EXPECT_EQ(ModeOf(target), 0600u);
    EXPECT_EQ(calyx_test::ListDirectory(root_.resolve("/data")),
              std::vector<std::string>{"real_list.json"});
}

TEST_F(ClientListSave, DanglingLinkCreatesItsTarget) {
    std::string target = root_.resolve("/data/new_list.json");
    calyx_test::MakeDirs(root_.resolve("/data"));
    ASSERT_EQ(symlink(target.c_str(), Path().c_str()), 0);
    ASSERT_EQ(list_.WriteToFile(), 1);
    EXPECT_EQ(ParseJson(ReadFile(target))["ClientList"].size(), 1u);
}

TEST_F(ClientListSave, MissingDirectoryFailsWithTheMessage) {
    std::string etc = Dir();
    ASSERT_EQ(rmdir(etc.c_str()), 0);
    LogWatch log;
    EXPECT_EQ(list_.WriteToFile(), 0);
    EXPECT_TRUE(log.Contains(" Error - " + Path() + " could not open\n"));
}

TEST_F(ClientListSave, FullDiskFailsAndLeavesThePreviousFileIntact) {
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "bb:" + std::to_string(i), "2",
                                   {{"friendlyName", std::string(100, 'f')}}),
                  1);
    }
    calyx_test::WriteFile(Path(), "{\"previous\": true}\n");
    std::string before = ReadFile(Path());

    // The log is written before the limit applies and stays far below it.
    LogWatch log;
    struct rlimit old;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    struct sigaction oldAction;
    sigaction(SIGXFSZ, &ignore, &oldAction);
    struct rlimit small = old;
    small.rlim_cur = 4096;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    int saved = list_.WriteToFile();
    setrlimit(RLIMIT_FSIZE, &old);
    sigaction(SIGXFSZ, &oldAction, nullptr);

    EXPECT_EQ(saved, 0);
    EXPECT_EQ(ReadFile(Path()), before);
    EXPECT_EQ(calyx_test::ListDirectory(Dir()), std::vector<std::string>{"client_list.json"});
    EXPECT_TRUE(log.Contains("Error - " + Path() + " could not open\n"));
    // With room again the same save succeeds.
    EXPECT_EQ(list_.WriteToFile(), 1);
    EXPECT_EQ(ParseJson(ReadFile(Path()))["ClientList"].size(), 201u);
}

TEST_F(ClientListSave, ReplaceRefusesALinkLoop) {
    std::string a = root_.resolve("/loop_a");
    std::string b = root_.resolve("/loop_b");
    ASSERT_EQ(symlink(b.c_str(), a.c_str()), 0);
    ASSERT_EQ(symlink(a.c_str(), b.c_str()), 0);
    EXPECT_EQ(Calyx::detail::WriteFileContents(a, "x"), ELOOP);
}

TEST_F(ClientListSave, ReplaceOverADirectoryFailsAndCleansUp) {
    std::string dir = root_.resolve("/a_dir");
    calyx_test::MakeDirs(dir + "/inner");
    EXPECT_NE(Calyx::detail::WriteFileContents(dir, "x"), 0);
    EXPECT_EQ(calyx_test::ListDirectory(root_.path()), (std::vector<std::string>{"a_dir", "var"}));
}

}  // namespace
