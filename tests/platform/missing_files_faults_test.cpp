// Every file the library reads, when it is missing, unreadable, a directory or a FIFO:
// a clear failure value, no crash and no hang.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "calyx/core.h"
#include "calyx/platform.h"
#include "support/test_support.h"

using calyx_test::RunningAsRoot;
using calyx_test::ScopedRoot;
using calyx_test::TempDir;
using calyx_test::WriteFile;

namespace {

int ReadKey(const std::string& path, const char* key, std::string* value = nullptr) {
    char buf[256] = "untouched";
    int rc = QLIBCFileGetKeyValue(path.c_str(), key, buf, sizeof buf, 0);
    if (value != nullptr) {
        *value = buf;
    }
    return rc;
}

TEST(MissingFiles, KeyValueFileMissing) {
    TempDir dir;
    EXPECT_LT(ReadKey(dir.file("absent.conf"), "a"), 0);
}

TEST(MissingFiles, KeyValueFileIsADirectory) {
    TempDir dir;
    EXPECT_LT(ReadKey(dir.path(), "a"), 0);
}

TEST(MissingFiles, KeyValueFileUnreadable) {
    if (RunningAsRoot()) {
        GTEST_SKIP() << "root reads any file";
    }
    TempDir dir;
    std::string path = dir.file("locked.conf");
    WriteFile(path, "a=1\n");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    EXPECT_LT(ReadKey(path, "a"), 0);
}

TEST(MissingFiles, KeyValueFileIsAFifoWithoutWriter) {
    // Opening a FIFO for reading blocks until a writer comes; the reader must not wait.
    TempDir dir;
    std::string path = dir.file("fifo.conf");
    ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
    EXPECT_LT(ReadKey(path, "a"), 0);
}

TEST(MissingFiles, KeyValueFileEmpty) {
    TempDir dir;
    std::string path = dir.file("empty.conf");
    WriteFile(path, "");
    EXPECT_EQ(ReadKey(path, "a"), 0);
}

TEST(MissingFiles, SharesFileMissingResolvesNothing) {
    ScopedRoot root;
    EXPECT_EQ(Calyx::GetAbsolutePath("/music/a.mp3"), "");
    EXPECT_EQ(Calyx::GetAbsolutePath("music"), "");
    char buf[64];
    EXPECT_NE(ZEVOSharePathGet("music", buf, sizeof buf), 0);
}

TEST(MissingFiles, SharesFileUnreadableResolvesNothing) {
    if (RunningAsRoot()) {
        GTEST_SKIP() << "root reads any file";
    }
    ScopedRoot root;
    std::string path = root.write("/usr/zevo/etc/shares.conf", "music=/volume1/music\n");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    EXPECT_EQ(Calyx::GetAbsolutePath("/music/a.mp3"), "");
}

TEST(MissingFiles, FileCopyOfMissingSourceFails) {
    TempDir dir;
    EXPECT_NE(Calyx::FileCopy(dir.file("absent"), dir.file("copy")), 0);
    EXPECT_FALSE(calyx_test::FileExists(dir.file("copy")));
}

TEST(MissingFiles, FileCopyIntoMissingDirectoryFails) {
    TempDir dir;
    WriteFile(dir.file("a"), "x");
    EXPECT_NE(Calyx::FileCopy(dir.file("a"), dir.file("no/such/dir/b")), 0);
}

}  // namespace
