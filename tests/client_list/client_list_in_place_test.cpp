// Where a replace through a temporary file cannot keep what the file is, the save
// rewrites it in place: devices, FIFOs, hard links, files or directories we may not
// write, names too long for the temporary name.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <thread>

#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "client_list_test_util.h"
#include "platform/file_ops.h"

using calyx_test::kClientListFixedPath;
using calyx_test::LogWatch;
using calyx_test::ParseJson;
using calyx_test::ReadFile;
using calyx_test::RunningAsRoot;

namespace {

ino_t InodeOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

class ClientListInPlace : public calyx_test::OneClientList {
protected:
    bool SavedHere(const std::string& path) {
        return ParseJson(ReadFile(path))["ClientList"][0]["macAddr"] == Json::Value("aa:00");
    }
};

// A private device node as root (never the real /dev/null), a link to /dev/null otherwise.
TEST_F(ClientListInPlace, LinkToACharacterDeviceKeepsTheDevice) {
    std::string device = "/dev/null";
    if (RunningAsRoot()) {
        device = root_.resolve("/null-device");
        ASSERT_EQ(mknod(device.c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
    }
    ASSERT_EQ(symlink(device.c_str(), Path().c_str()), 0);
    EXPECT_EQ(list_.WriteToFile(), 1);
    struct stat st;
    ASSERT_EQ(stat(Path().c_str(), &st), 0);
    EXPECT_TRUE(S_ISCHR(st.st_mode));
    struct stat link;
    ASSERT_EQ(lstat(Path().c_str(), &link), 0);
    EXPECT_TRUE(S_ISLNK(link.st_mode));
}

TEST_F(ClientListInPlace, ReadOnlyFileInAWritableDirectoryIsNotReplaced) {
    if (RunningAsRoot()) {
        GTEST_SKIP() << "root may write a 0444 file: the save then succeeds";
    }
    calyx_test::WriteFile(Path(), "{\"old\": 1}");
    ASSERT_EQ(chmod(Path().c_str(), 0444), 0);
    ino_t before = InodeOf(Path());
    LogWatch log;
    EXPECT_EQ(list_.WriteToFile(), 0);
    EXPECT_TRUE(log.Contains("Error - " + Path() + " could not open\n"));
    EXPECT_EQ(ReadFile(Path()), "{\"old\": 1}");
    EXPECT_EQ(InodeOf(Path()), before);
}

TEST_F(ClientListInPlace, WritableFileInADirectoryWeMayNotWriteIsRewritten) {
    if (RunningAsRoot()) {
        GTEST_SKIP() << "root may write any directory: the ordinary replace applies";
    }
    calyx_test::WriteFile(Path(), "{\"old\": 1}");
    ino_t before = InodeOf(Path());
    ASSERT_EQ(chmod(Dir().c_str(), 0555), 0);
    int saved = list_.WriteToFile();
    chmod(Dir().c_str(), 0755);
    EXPECT_EQ(saved, 1);
    EXPECT_TRUE(SavedHere(Path()));
    EXPECT_EQ(InodeOf(Path()), before);
}

TEST_F(ClientListInPlace, HardLinkedFileKeepsItsLinks) {
    calyx_test::WriteFile(Path(), "{}");
    std::string other = root_.resolve("/second-name.json");
    ASSERT_EQ(link(Path().c_str(), other.c_str()), 0);
    ASSERT_EQ(list_.WriteToFile(), 1);
    EXPECT_EQ(InodeOf(Path()), InodeOf(other));
    EXPECT_TRUE(SavedHere(other));
    EXPECT_EQ(ReadFile(other), ReadFile(Path()));
}

TEST_F(ClientListInPlace, NameTooLongForTheTemporaryNameIsRewritten) {
    std::string path = root_.resolve("/" + std::string(250, 'n'));
    calyx_test::WriteFile(path, "{}");
    ino_t before = InodeOf(path);
    std::string error;
    ASSERT_EQ(Calyx::ClientListWriteTo(list_, path, &error), 1) << error;
    EXPECT_TRUE(SavedHere(path));
    EXPECT_EQ(InodeOf(path), before);
}

TEST_F(ClientListInPlace, FifoWithoutAReaderFailsAtOnce) {
    ASSERT_EQ(mkfifo(Path().c_str(), 0644), 0);
    LogWatch log;
    EXPECT_EQ(list_.WriteToFile(), 0);
    EXPECT_TRUE(log.Contains("Error - " + Path() + " could not open\n"));
    std::string linked = root_.resolve("/to-fifo.json");
    ASSERT_EQ(symlink(Path().c_str(), linked.c_str()), 0);
    EXPECT_EQ(Calyx::ClientListWriteTo(list_, linked, nullptr), 0);
}

TEST_F(ClientListInPlace, FifoWithAReaderGetsTheDocument) {
    ASSERT_EQ(mkfifo(Path().c_str(), 0644), 0);
    int reader = open(Path().c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    std::string received;
    std::thread drain([&] {
        int flags = fcntl(reader, F_GETFL);
        fcntl(reader, F_SETFL, flags & ~O_NONBLOCK);
        char buf[4096];
        ssize_t n;
        // Ends when the writer closes (it opened before the first read blocks for long).
        while ((n = read(reader, buf, sizeof buf)) >= 0) {
            received.append(buf, static_cast<size_t>(n));
            if (n == 0 && !received.empty()) {
                break;
            }
        }
    });
    EXPECT_EQ(list_.WriteToFile(), 1);
    drain.join();
    close(reader);
    EXPECT_EQ(ParseJson(received)["ClientList"][0]["macAddr"], Json::Value("aa:00"));
}

ssize_t FailingWrite(int, const void*, size_t) {
    errno = EIO;
    return -1;
}

TEST_F(ClientListInPlace, WriteErrorInPlaceFailsWithTheMessage) {
    calyx_test::WriteFile(Path(), "{}");
    std::string other = root_.resolve("/second-name.json");
    ASSERT_EQ(link(Path().c_str(), other.c_str()), 0);
    Calyx::detail::FileOps ops = Calyx::detail::SystemFileOps();
    ops.write = FailingWrite;
    LogWatch log;
    {
        Calyx::detail::ScopedFileOps failing(ops);
        EXPECT_EQ(list_.WriteToFile(), 0);
    }
    EXPECT_TRUE(log.Contains("Error - " + Path() + " could not open\n"));
    EXPECT_EQ(InodeOf(Path()), InodeOf(other));  // the inode stays; its content may not
    EXPECT_EQ(list_.WriteToFile(), 1);
    EXPECT_TRUE(SavedHere(other));
}

}  // namespace
