// Reading a whole file when a step fails: the guarded open and every read go through the
// file operations' table, so a test can make one of them fail.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/file_kind.h"
#include "platform/file_ops.h"
#include "support/test_support.h"

using Calyx::detail::FileOps;
using Calyx::detail::ReadJsonSource;
using Calyx::detail::ReadWholeFile;
using Calyx::detail::ScopedFileOps;
using Calyx::detail::SourceKind;
using Calyx::detail::SystemFileOps;

namespace {

int gInterruptions = 0;

ssize_t InterruptedRead(int fd, void* buffer, size_t size) {
    if (gInterruptions > 0) {
        --gInterruptions;
        errno = EINTR;
        return -1;
    }
    return read(fd, buffer, size < 4 ? size : 4);  // short reads too
}
ssize_t FailingRead(int, void*, size_t) {
    errno = EIO;
    return -1;
}
int TooManyFilesOpen(const char*, int, mode_t) {
    errno = EMFILE;
    return -1;
}

class FileKindFaults : public testing::Test {
protected:
    void SetUp() override { calyx_test::WriteFile(path_, kContent); }
    static constexpr const char* kContent = "key=value\nother=1\n";
    calyx_test::TempDir dir_;
    std::string path_ = dir_.file("settings.conf");
};

TEST_F(FileKindFaults, InterruptedAndShortReadsAreRepeated) {
    FileOps ops = SystemFileOps();
    ops.read = InterruptedRead;
    ScopedFileOps scoped(ops);
    gInterruptions = 3;
    std::string text = "old";
    EXPECT_TRUE(ReadWholeFile(path_, text));
    EXPECT_EQ(text, kContent);
    EXPECT_EQ(gInterruptions, 0);
    gInterruptions = 2;
    EXPECT_TRUE(ReadJsonSource(path_, text));
    EXPECT_EQ(text, kContent);
}

TEST_F(FileKindFaults, FailedReadFailsTheWholeFileReader) {
    FileOps ops = SystemFileOps();
    ops.read = FailingRead;
    ScopedFileOps scoped(ops);
    std::string text;
    EXPECT_FALSE(ReadWholeFile(path_, text));
    EXPECT_EQ(text, "");
}

TEST_F(FileKindFaults, FailedOpenLeavesTheTextAndStillNamesTheKind) {
    FileOps ops = SystemFileOps();
    ops.open = TooManyFilesOpen;
    ScopedFileOps scoped(ops);
    std::string text = "untouched";
    EXPECT_FALSE(ReadWholeFile(path_, text));
    EXPECT_EQ(text, "untouched");
    SourceKind kind = SourceKind::kMissing;
    EXPECT_FALSE(ReadJsonSource(path_, text, &kind));
    EXPECT_EQ(kind, SourceKind::kRegular);
    EXPECT_EQ(Calyx::detail::OpenForReading(path_), nullptr);
}

TEST_F(FileKindFaults, LimitReadsOnlyTheFirstBytes) {
    std::string text;
    EXPECT_TRUE(ReadWholeFile(path_, text, 5));
    EXPECT_EQ(text, "key=v");
}

}  // namespace
