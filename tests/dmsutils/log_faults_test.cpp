// The log when its directory disappears, when the disk is full and when rotation cannot
// move the full log aside.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

#include "calyx/core.h"
#include "dmsutils/log_internal.h"
#include "platform/file_ops.h"
#include "support/fault_support.h"
#include "support/test_support.h"

using calyx_test::FileExists;
using calyx_test::MakeDirs;
using calyx_test::ReadFile;
using calyx_test::TempDir;

namespace {

class LogFaults : public testing::Test {
protected:
    void TearDown() override {
        Calyx::DMSLogClose();
        Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);
    }
    TempDir dir_;
};

std::string RotatingMessage() {
    return std::string(static_cast<size_t>(Calyx::detail::kLogRotateSize), 'x') + "\n";
}

TEST_F(LogFaults, DirectoryThatDisappearsStopsLoggingQuietly) {
    std::string logDir = dir_.file("logs");
    MakeDirs(logDir);
    std::string path = logDir + "/dms.log";
    ASSERT_EQ(Calyx::DMSLOGInit(path.c_str()), 1);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "before\n");
    ASSERT_EQ(std::remove(path.c_str()), 0);
    ASSERT_EQ(rmdir(logDir.c_str()), 0);

    // The open stream still writes to the unlinked file; the rotation it triggers can
    // neither rename nor reopen, so logging goes quiet instead of failing.
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "%s", RotatingMessage().c_str());
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "dropped\n");
    EXPECT_FALSE(FileExists(logDir));

    // Once the host sets the log up again, it works.
    MakeDirs(logDir);
    Calyx::DMSLogClose();
    ASSERT_EQ(Calyx::DMSLOGInit(path.c_str()), 1);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "again\n");
    EXPECT_NE(ReadFile(path).find(" again\n"), std::string::npos);
    EXPECT_EQ(ReadFile(path).find("dropped"), std::string::npos);
}

TEST_F(LogFaults, InitInMissingDirectoryFailsAndLoggingIsANoOp) {
    std::string path = dir_.file("no/such/dir/dms.log");
    EXPECT_EQ(Calyx::DMSLOGInit(path.c_str()), 0);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "nowhere %s\n", "to go");
    EXPECT_FALSE(FileExists(path));
}

TEST_F(LogFaults, FullDiskLosesMessagesButNothingElse) {
    std::string path = dir_.file("dms.log");
    ASSERT_EQ(Calyx::DMSLOGInit(path.c_str()), 1);
    const rlim_t limit = 16 * 1024;
    {
        calyx_fault::ScopedFileSizeLimit full(limit);
        ASSERT_TRUE(full.ok());
        std::string line(100, 'f');
        for (int i = 0; i < 1000 * calyx_test::TestScale(); ++i) {
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "%d %s\n", i, line.c_str());
        }
        struct stat st;
        ASSERT_EQ(stat(path.c_str(), &st), 0);
        EXPECT_LE(static_cast<rlim_t>(st.st_size), limit);
        EXPECT_FALSE(FileExists(path + ".1"));  // a full file is not a large file
    }
    // With room again, later messages arrive.
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "room again\n");
    EXPECT_NE(ReadFile(path).find(" room again\n"), std::string::npos);
}

TEST_F(LogFaults, FullDiskWhileArchivingKeepsTheGeneration) {
    // A log just at the rotation size, of bytes that do not compress: the archive would
    // be larger than the limit, so gzip fails part-way.
    std::string path = dir_.file("dms.log");
    std::string noise(static_cast<size_t>(Calyx::detail::kLogRotateSize), '\0');
    uint32_t state = 12345;
    for (char& c : noise) {
        state = state * 1103515245u + 12345u;
        c = static_cast<char>(state >> 24);
    }
    calyx_test::WriteFile(path, noise);
    ASSERT_EQ(Calyx::DMSLOGInit(path.c_str()), 1);
    {
        calyx_fault::ScopedFileSizeLimit full(static_cast<rlim_t>(noise.size()) + 64);
        ASSERT_TRUE(full.ok());
        calyx_test::SyslogCapture capture;
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "the last straw\n");
        std::vector<std::string> lines = capture.Stop();
        bool reported = false;
        for (const std::string& l : lines) {
            reported = reported ||
                       l.find("Failed to archive DMS logs " + path + ".1") != std::string::npos;
        }
        EXPECT_TRUE(reported);
    }
    EXPECT_FALSE(FileExists(path + ".1.gz"));
    std::string generation = ReadFile(path + ".1");
    EXPECT_EQ(generation.compare(0, noise.size(), noise), 0);
    EXPECT_NE(generation.find(" the last straw\n"), std::string::npos);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "after\n");
    EXPECT_NE(ReadFile(path).find(" after\n"), std::string::npos);
}

int FailingRename(const char*, const char*) {
    errno = EACCES;
    return -1;
}

int FailingOpen(const char*, int, mode_t) {
    errno = EMFILE;
    return -1;
}

int gFstatCalls = 0;
int CountingFstat(int fd, struct stat* st) {
    ++gFstatCalls;
    return fstat(fd, st);
}

TEST_F(LogFaults, OpeningTheLogGoesThroughTheFileOperations) {
    std::string path = dir_.file("dms.log");
    {
        Calyx::detail::FileOps ops = Calyx::detail::SystemFileOps();
        ops.open = FailingOpen;
        Calyx::detail::ScopedFileOps failing(ops);
        EXPECT_EQ(Calyx::DMSLOGInit(path.c_str()), 0);
    }
    EXPECT_FALSE(FileExists(path));
    ASSERT_EQ(Calyx::DMSLOGInit(path.c_str()), 1);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "opened\n");
    EXPECT_NE(ReadFile(path).find(" opened\n"), std::string::npos);
}

TEST_F(LogFaults, TheSizeCheckAfterEachLineGoesThroughTheFileOperations) {
    std::string path = dir_.file("dms.log");
    ASSERT_EQ(Calyx::DMSLOGInit(path.c_str()), 1);
    gFstatCalls = 0;
    Calyx::detail::FileOps ops = Calyx::detail::SystemFileOps();
    ops.fstat = CountingFstat;
    Calyx::detail::ScopedFileOps counting(ops);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "one\n");
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "two\n");
    EXPECT_EQ(gFstatCalls, 2);
}

TEST_F(LogFaults, RotationThatCannotRenameKeepsTheLogWholeAndGoesOn) {
    std::string path = dir_.file("dms.log");
    std::string full(static_cast<size_t>(Calyx::detail::kLogRotateSize), 'o');
    calyx_test::WriteFile(path, full);
    ASSERT_EQ(Calyx::DMSLOGInit(path.c_str()), 1);
    {
        Calyx::detail::FileOps ops = Calyx::detail::SystemFileOps();
        ops.rename = FailingRename;
        Calyx::detail::ScopedFileOps failing(ops);
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "the last straw\n");
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "still here\n");
    }
    // Nothing was moved aside or archived; the log was reopened and kept every byte.
    EXPECT_FALSE(FileExists(path + ".1"));
    EXPECT_FALSE(FileExists(path + ".1.gz"));
    std::string log = ReadFile(path);
    EXPECT_EQ(log.compare(0, full.size(), full), 0);
    EXPECT_NE(log.find(" the last straw\n"), std::string::npos);
    EXPECT_NE(log.find(" still here\n"), std::string::npos);
}

}  // namespace
