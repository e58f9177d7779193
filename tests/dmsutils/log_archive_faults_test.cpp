// Rotation when the archiving program fails. This executable supplies its own
// QLIBCExec (the platform seam) instead of the portable one.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/platform.h"
#include "dmsutils/log_internal.h"
#include "support/test_support.h"

using calyx_test::FileExists;
using calyx_test::ReadFile;

namespace {

int gExecResult = 0;
std::vector<std::vector<std::string>> gExecCalls;

}  // namespace

extern "C" int QLIBCExec(const char* program, const char* arg1, const char* arg2, const char* arg3,
                         const char* arg4, const char* arg5, const char* arg6) {
    std::vector<std::string> call{program != nullptr ? program : "(null)"};
    for (const char* arg : {arg1, arg2, arg3, arg4, arg5, arg6}) {
        if (arg == nullptr) {
            break;
        }
        call.emplace_back(arg);
    }
    gExecCalls.push_back(call);
    return gExecResult;
}

namespace {

class ArchiveFailure : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        gExecCalls.clear();
        path_ = dir_.file("dms.log");
        // A log at the rotation size, so that the next message rotates it.
        calyx_test::WriteFile(path_, std::string(Calyx::detail::kLogRotateSize, 'o'));
        ASSERT_EQ(Calyx::DMSLOGInit(path_.c_str()), 1);
    }
    void TearDown() override {
        Calyx::DMSLogClose();
        gExecResult = 0;
    }
    std::vector<std::string> RotateWithExecResult(int result) {
        gExecResult = result;
        calyx_test::SyslogCapture capture;
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "rotate now\n");
        return capture.Stop();
    }
    bool Reported(const std::vector<std::string>& lines) const {
        for (const std::string& line : lines) {
            if (line.find("Failed to archive DMS logs " + path_ + ".1") != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    calyx_test::TempDir dir_;
    std::string path_;
};

TEST_P(ArchiveFailure, FailureIsReportedAndTheGenerationStays) {
    // 256: the program ran and exited with status 1; -1: it could not be started.
    std::vector<std::string> lines = RotateWithExecResult(GetParam());
    ASSERT_EQ(gExecCalls.size(), 1u);
    EXPECT_EQ(gExecCalls[0], (std::vector<std::string>{"/bin/gzip", path_ + ".1"}));
    EXPECT_TRUE(Reported(lines));
    std::string generation = ReadFile(path_ + ".1");
    EXPECT_EQ(generation.size(), Calyx::detail::kLogRotateSize +
                                     std::string(" rotate now\n").size() +
                                     std::string(Calyx::DMSNow()).size());
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "next\n");
    EXPECT_NE(ReadFile(path_).find(" next\n"), std::string::npos);
    EXPECT_EQ(ReadFile(path_).find("rotate now"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(ExitStatusAndNoStart, ArchiveFailure, testing::Values(256, -1));

TEST_F(ArchiveFailure, SuccessIsNotReported) {
    std::vector<std::string> lines = RotateWithExecResult(0);
    ASSERT_EQ(gExecCalls.size(), 1u);
    EXPECT_FALSE(Reported(lines));
}

TEST_F(ArchiveFailure, EachFailedRotationTakesTheSameFreeNumber) {
    // Archives are numbered by the ".N.gz" names that exist; with every archive step
    // failing, the next rotation reuses ".1" and replaces the earlier generation instead
    // of piling up.
    RotateWithExecResult(256);
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "%s\n",
                     std::string(Calyx::detail::kLogRotateSize, 'p').c_str());
    ASSERT_EQ(gExecCalls.size(), 2u);
    EXPECT_EQ(gExecCalls[1], (std::vector<std::string>{"/bin/gzip", path_ + ".1"}));
    EXPECT_FALSE(FileExists(path_ + ".2"));
}

}  // namespace
