// Writing a whole file when a step fails: every step goes through the file operations'
// table, so each failure is injected there. A replace that fails leaves the old file whole
// and no temporary file behind, and returns the errno of the failed step.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/file_ops.h"
#include "platform/file_replace.h"
#include "support/test_support.h"

using Calyx::detail::FileOps;
using Calyx::detail::ScopedFileOps;
using Calyx::detail::SystemFileOps;
using Calyx::detail::WriteFileContents;
using calyx_test::ListDirectory;
using calyx_test::ReadFile;
using calyx_test::TempDir;

namespace {

int gInterruptions = 0;

int FailingFsync(int) {
    errno = EIO;
    return -1;
}
int FailingRename(const char*, const char*) {
    errno = EXDEV;
    return -1;
}
ssize_t FullDiskWrite(int, const void*, size_t) {
    errno = ENOSPC;
    return -1;
}
ssize_t ZeroWrite(int, const void*, size_t) {
    return 0;
}
int FailingMkostemp(char*, int) {
    errno = EMFILE;
    return -1;
}
int InterruptedFsync(int fd) {
    if (gInterruptions > 0) {
        --gInterruptions;
        errno = EINTR;
        return -1;
    }
    return fsync(fd);
}
ssize_t InterruptedWrite(int fd, const void* data, size_t size) {
    if (gInterruptions > 0) {
        --gInterruptions;
        errno = EINTR;
        return -1;
    }
    return write(fd, data, size < 3 ? size : 3);  // short writes too
}

int FailingStat(const char*, struct stat*) {
    errno = EACCES;
    return -1;
}
int FailingFstat(int, struct stat*) {
    errno = EIO;
    return -1;
}
int FailingLstat(const char*, struct stat*) {
    errno = ENAMETOOLONG;
    return -1;
}

class FileReplaceFaults : public testing::Test {
protected:
    void SetUp() override { calyx_test::WriteFile(Path(), kOld); }
    std::string Path() const { return dir_.file("settings.json"); }
    // The save with one entry of the table replaced, and its result.
    int SaveWith(void (*patch)(FileOps&)) {
        FileOps ops = SystemFileOps();
        patch(ops);
        ScopedFileOps scoped(ops);
        return WriteFileContents(Path(), kNew);
    }
    void ExpectOldFileWholeAndAlone() {
        EXPECT_EQ(ReadFile(Path()), kOld);
        EXPECT_EQ(ListDirectory(dir_.path()), std::vector<std::string>{"settings.json"});
    }
    static constexpr const char* kOld = "{\"old\": \"content that must survive\"}\n";
    static constexpr const char* kNew = "{\"new\": 1}\n";
    TempDir dir_;
};

TEST_F(FileReplaceFaults, FailedFsyncKeepsTheOldFileAndReturnsTheError) {
    EXPECT_EQ(SaveWith([](FileOps& o) { o.fsync = FailingFsync; }), EIO);
    ExpectOldFileWholeAndAlone();
}

TEST_F(FileReplaceFaults, FailedRenameKeepsTheOldFileAndReturnsTheError) {
    EXPECT_EQ(SaveWith([](FileOps& o) { o.rename = FailingRename; }), EXDEV);
    ExpectOldFileWholeAndAlone();
}

TEST_F(FileReplaceFaults, FullDiskKeepsTheOldFileAndReturnsTheError) {
    EXPECT_EQ(SaveWith([](FileOps& o) { o.write = FullDiskWrite; }), ENOSPC);
    ExpectOldFileWholeAndAlone();
}

TEST_F(FileReplaceFaults, WriteThatMakesNoProgressCountsAsAFullDisk) {
    EXPECT_EQ(SaveWith([](FileOps& o) { o.write = ZeroWrite; }), ENOSPC);
    ExpectOldFileWholeAndAlone();
}

TEST_F(FileReplaceFaults, NoTemporaryFileKeepsTheOldFileAndReturnsTheError) {
    EXPECT_EQ(SaveWith([](FileOps& o) { o.mkostemp = FailingMkostemp; }), EMFILE);
    ExpectOldFileWholeAndAlone();
}

TEST_F(FileReplaceFaults, InterruptedCallsAreRepeated) {
    gInterruptions = 4;
    EXPECT_EQ(SaveWith([](FileOps& o) {
                  o.write = InterruptedWrite;
                  o.fsync = InterruptedFsync;
              }),
              0);
    EXPECT_EQ(gInterruptions, 0);
    EXPECT_EQ(ReadFile(Path()), kNew);
    EXPECT_EQ(ListDirectory(dir_.path()), std::vector<std::string>{"settings.json"});
}

// The save looks at the old file and the temporary one through the table as well.
TEST_F(FileReplaceFaults, FailedStatOfTheTargetIsReturned) {
    EXPECT_EQ(SaveWith([](FileOps& ops) { ops.stat = FailingStat; }), EACCES);
    ExpectOldFileWholeAndAlone();
}

TEST_F(FileReplaceFaults, FailedFstatOfTheTemporaryFileKeepsTheOldFile) {
    EXPECT_EQ(SaveWith([](FileOps& ops) { ops.fstat = FailingFstat; }), EIO);
    ExpectOldFileWholeAndAlone();
}

TEST_F(FileReplaceFaults, FailedLstatWhileFollowingLinksIsTakenAsNoLink) {
    // Without lstat no link can be seen: the path itself is written, as for a plain file.
    EXPECT_EQ(SaveWith([](FileOps& ops) { ops.lstat = FailingLstat; }), 0);
    EXPECT_EQ(ReadFile(Path()), kNew);
}

TEST_F(FileReplaceFaults, TheSystemTableReplacesTheFile) {
    EXPECT_EQ(WriteFileContents(Path(), kNew), 0);
    EXPECT_EQ(ReadFile(Path()), kNew);
    EXPECT_EQ(ListDirectory(dir_.path()), std::vector<std::string>{"settings.json"});
}

}  // namespace
