// A client list file owned by another user, which the saving user may write but cannot
// give back to its owner: the save rewrites it in place, so owner and inode stay. Needs
// two users, so it runs as root (label root) and saves from a child that has dropped to
// an unprivileged user.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "client_list_test_util.h"

namespace {

constexpr uid_t kOwner = 47001;  // owns the file
constexpr uid_t kSaver = 47002;  // runs the save

bool PrivilegedPass() {
    const char* pass = getenv("CALYX_PRIVILEGED_PASS");
    return pass != nullptr && *pass != '\0';
}

// Saves a one-client list to `path` as user kSaver; the save's result, or -1.
int SaveAsOtherUser(const std::string& path) {
    pid_t child = fork();
    if (child == 0) {
        if (setgroups(0, nullptr) != 0 || setgid(kSaver) != 0 || setuid(kSaver) != 0) {
            _exit(100);
        }
        Calyx::DMSClientList list;
        list.UpdateKeys("HandleDiscovery", "aa:00", "10.0.0.1", {{"friendlyName", "F"}});
        _exit(Calyx::ClientListWriteTo(list, path, nullptr));
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

class ClientListOwner : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            if (PrivilegedPass()) {
                FAIL() << "the privileged pass must run as root";
            }
            GTEST_SKIP() << "needs root: the file's owner and the saving user must differ";
        }
        // The saving user must reach the directory and may write in it.
        ASSERT_EQ(chmod(dir_.path().c_str(), 0777), 0);
        path_ = dir_.file("client_list.json");
        calyx_test::WriteFile(path_, "{}");
        ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    }
    struct stat Stat() const {
        struct stat st = {};
        stat(path_.c_str(), &st);
        return st;
    }

    calyx_test::TempDir dir_;
    std::string path_;
};

TEST_F(ClientListOwner, FileOfAnotherUserKeepsItsOwnerAndInode) {
    ASSERT_EQ(chown(path_.c_str(), kOwner, kOwner), 0);
    struct stat before = Stat();
    ASSERT_EQ(SaveAsOtherUser(path_), 1);
    struct stat after = Stat();
    EXPECT_EQ(after.st_uid, kOwner);
    EXPECT_EQ(after.st_gid, kOwner);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode & 07777, 0666u);
    Json::Value saved = calyx_test::ParseJson(calyx_test::ReadFile(path_));
    EXPECT_EQ(saved["ClientList"][0]["macAddr"], Json::Value("aa:00"));
    EXPECT_EQ(calyx_test::ListDirectory(dir_.path()), std::vector<std::string>{"client_list.json"});
}

TEST_F(ClientListOwner, OwnFileIsReplacedThroughATemporaryFile) {
    ASSERT_EQ(chown(path_.c_str(), kSaver, kSaver), 0);
    struct stat before = Stat();
    ASSERT_EQ(SaveAsOtherUser(path_), 1);
    struct stat after = Stat();
    EXPECT_EQ(after.st_uid, kSaver);
    EXPECT_NE(after.st_ino, before.st_ino);
    EXPECT_EQ(calyx_test::ListDirectory(dir_.path()), std::vector<std::string>{"client_list.json"});
}

}  // namespace
