#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <string>

#include "calyx/core.h"
#include "dmsutils/log_internal.h"
#include "support/test_support.h"

using calyx_test::FileExists;
using calyx_test::Gunzip;
using calyx_test::ReadFile;
using calyx_test::SplitLines;
using calyx_test::TempDir;
using calyx_test::WriteFile;
using testing::HasSubstr;

namespace {

// 2026-11-05 09:04:07 UTC
constexpr time_t kFifthOfNovember = 1793869447;
time_t FixedClock() {
    return kFifthOfNovember;
}

// Every test opens its own log in a temporary directory, with UTC and a fixed clock.
class LogTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        Calyx::detail::SetLogClockForTesting(FixedClock);
        path_ = dir_.file("dms.log");
        ASSERT_EQ(Calyx::DMSLOGInit(path_.c_str()), 1);
        Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);
    }
    void TearDown() override {
        Calyx::DMSLogClose();
        Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);
        Calyx::detail::SetLogClockForTesting(nullptr);
    }
    std::string Log() const { return ReadFile(path_); }

    TempDir dir_;
    std::string path_;
};

}  // namespace

TEST(LogTimestamp, SingleDigitDayIsPaddedWithBlank) {
    setenv("TZ", "UTC", 1);
    tzset();
    char buf[128];
    size_t n = Calyx::detail::FormatLogTimestamp(kFifthOfNovember, buf, sizeof buf);
    EXPECT_EQ(std::string(buf, n), "Nov 5 09:04:07");
}

TEST(LogTimestamp, TwoDigitDayRunsIntoMonth) {
    setenv("TZ", "UTC", 1);
    tzset();
    char buf[128];
    size_t n = Calyx::detail::FormatLogTimestamp(kFifthOfNovember + 10 * 86400, buf, sizeof buf);
    EXPECT_EQ(std::string(buf, n), "Nov15 09:04:07");
}

TEST(LogTimestamp, FollowsTimeZone) {
    setenv("TZ", "UTC-2", 1);  // two hours east of UTC
    tzset();
    char buf[128];
    Calyx::detail::FormatLogTimestamp(kFifthOfNovember, buf, sizeof buf);
    EXPECT_STREQ(buf, "Nov 5 11:04:07");
    setenv("TZ", "UTC", 1);
    tzset();
}

TEST_F(LogTest, DMSNowUsesTheSameFormat) {
    EXPECT_STREQ(Calyx::DMSNow(), "Nov 5 09:04:07");
}

TEST_F(LogTest, LevelFiltersMessages) {
    EXPECT_EQ(Calyx::DMSLOGGetLevel(), Calyx::DMSLOG_ERR);
    Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG, "debug %d\n", 1);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "error %d\n", 1);
    EXPECT_EQ(Log(), "Nov 5 09:04:07 error 1\n");
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_DEBUG);
    EXPECT_EQ(Calyx::DMSLOGGetLevel(), Calyx::DMSLOG_DEBUG);
    Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG, "debug %d\n", 2);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "error %d\n", 2);
    EXPECT_EQ(Log(), "Nov 5 09:04:07 error 1\nNov 5 09:04:07 debug 2\nNov 5 09:04:07 error 2\n");
}

TEST_F(LogTest, NegativeLevelSilencesEverything) {
    Calyx::DMSLOGSetLevel(static_cast<Calyx::DMSLOG_LEVEL>(-1));
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "dropped\n");
    EXPECT_EQ(Log(), "");
}

// A conversion that fails (a wide character the C locale cannot encode) still leaves
// the stamp and the text before it, as writing straight through with vfprintf does.
TEST_F(LogTest, FailingConversionWritesWhatVfprintfWrites) {
    const wchar_t unencodable[] = {static_cast<wchar_t>(0xE9), 0};
    std::string direct = dir_.file("direct");
    FILE* out = fopen(direct.c_str(), "w");
    ASSERT_NE(out, nullptr);
    fprintf(out, "Nov 5 09:04:07 before %ls after\n", unencodable);
    fclose(out);
    ASSERT_EQ(ReadFile(direct), "Nov 5 09:04:07 before ");

    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "before %ls after\n", unencodable);
    EXPECT_EQ(Log(), ReadFile(direct));
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "next\n");
    EXPECT_EQ(Log(), ReadFile(direct) + "Nov 5 09:04:07 next\n");
}

TEST_F(LogTest, NoLineBreakIsAdded) {
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "a");
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "b\n");
    EXPECT_EQ(Log(), "Nov 5 09:04:07 aNov 5 09:04:07 b\n");
}

TEST_F(LogTest, LongMessagesAreWrittenWhole) {
    std::string big(100000, 'x');
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "%s|\n", big.c_str());
    EXPECT_EQ(Log(), "Nov 5 09:04:07 " + big + "|\n");
}

TEST_F(LogTest, AppendsToExistingFile) {
    Calyx::DMSLogClose();
    WriteFile(path_, "earlier\n");
    ASSERT_EQ(Calyx::DMSLOGInit(path_.c_str()), 1);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "later\n");
    EXPECT_EQ(Log(), "earlier\nNov 5 09:04:07 later\n");
}

TEST_F(LogTest, ClosedLogDropsMessages) {
    Calyx::DMSLogClose();
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "dropped\n");
    Calyx::DMSLogClose();  // closing twice is harmless
    EXPECT_EQ(Log(), "");
}

TEST(LogInit, UnopenablePathReturnsZero) {
    TempDir dir;
    std::string path = dir.file("no/such/dir/dms.log");
    EXPECT_EQ(Calyx::DMSLOGInit(path.c_str()), 0);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "dropped\n");
    EXPECT_FALSE(FileExists(path));
}

TEST_F(LogTest, FileOfExactlyTheLimitStaysThenRotates) {
    const std::string line = "Nov 5 09:04:07 message\n";
    std::string filler(static_cast<size_t>(Calyx::detail::kLogRotateSize) - line.size() - 1, 'f');
    filler += '\n';
    Calyx::DMSLogClose();
    WriteFile(path_, filler);
    ASSERT_EQ(Calyx::DMSLOGInit(path_.c_str()), 1);

    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "message\n");
    struct stat st;
    ASSERT_EQ(stat(path_.c_str(), &st), 0);
    EXPECT_EQ(st.st_size, Calyx::detail::kLogRotateSize);
    EXPECT_FALSE(FileExists(path_ + ".1.gz"));

    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "over the limit\n");
    ASSERT_TRUE(FileExists(path_ + ".1.gz"));
    EXPECT_FALSE(FileExists(path_ + ".1"));
    EXPECT_EQ(Log(), "");
    EXPECT_EQ(Gunzip(path_ + ".1.gz"), filler + line + "Nov 5 09:04:07 over the limit\n");

    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "fresh\n");
    EXPECT_EQ(Log(), "Nov 5 09:04:07 fresh\n");
}

TEST_F(LogTest, RotationTakesFirstFreeArchiveNumber) {
    WriteFile(path_ + ".1.gz", "one");
    WriteFile(path_ + ".2.gz", "two");
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "%s\n",
                     std::string(static_cast<size_t>(Calyx::detail::kLogRotateSize), 'x').c_str());
    EXPECT_TRUE(FileExists(path_ + ".3.gz"));
    EXPECT_EQ(ReadFile(path_ + ".1.gz"), "one");
    EXPECT_EQ(ReadFile(path_ + ".2.gz"), "two");
}

TEST_F(LogTest, RotationFillsAGapAtOne) {
    WriteFile(path_ + ".2.gz", "two");
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "%s\n",
                     std::string(static_cast<size_t>(Calyx::detail::kLogRotateSize), 'x').c_str());
    EXPECT_TRUE(FileExists(path_ + ".1.gz"));
    EXPECT_EQ(ReadFile(path_ + ".2.gz"), "two");
    EXPECT_FALSE(FileExists(path_ + ".3.gz"));
}

TEST_F(LogTest, FailedArchiveIsReportedAndGenerationStays) {
    // gzip refuses a file that has another hard link; the rename keeps the link.
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "first\n");
    ASSERT_EQ(link(path_.c_str(), dir_.file("extra-link").c_str()), 0);
    calyx_test::SyslogCapture capture;
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "%s\n",
                     std::string(static_cast<size_t>(Calyx::detail::kLogRotateSize), 'x').c_str());
    std::vector<std::string> lines = capture.Stop();
    EXPECT_TRUE(FileExists(path_ + ".1"));
    EXPECT_FALSE(FileExists(path_ + ".1.gz"));
    bool reported = false;
    for (const std::string& l : lines) {
        reported =
            reported || l.find("Failed to archive DMS logs " + path_ + ".1") != std::string::npos;
    }
    EXPECT_TRUE(reported);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "after\n");
    EXPECT_EQ(Log(), "Nov 5 09:04:07 after\n");
}
