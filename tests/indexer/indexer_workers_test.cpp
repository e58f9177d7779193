// The worker limit: a worker that hangs or crashes costs one file, not the run.
#include <gtest/gtest.h>

#include <signal.h>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class Workers : public IndexerTest {
protected:
    void SetUp() override {
        IndexerTest::SetUp();
        root_ = RealPath(tree_.path());
        CopyInto({MediaFile("video/h264_aac.mkv"), MediaFile("video/mpeg4_mp3.avi"),
                  MediaFile("music/tone.flac"), MediaFile("music/tone.m4a"),
                  MediaFile("photo/picture.png")},
                 root_);
        options_.probeTimeoutSeconds = 1;
        options_.workers = 2;
    }

    // Sends `signal` to the worker that is about to get `file`.
    void SignalWorkerOf(const std::string& file, int signal) {
        const std::string path = root_ + "/" + file;
        options_.onProbeStart = [path, signal](const std::string& started, pid_t worker) {
            if (started == path)
                kill(worker, signal);
        };
    }

    std::string ReasonFor(const calyx_indexer::IndexSummary& summary, const std::string& file) {
        for (const calyx_indexer::FailedFile& failure : summary.failures) {
            if (failure.path == root_ + "/" + file)
                return failure.reason;
        }
        return "";
    }

    TempDir tree_;
    std::string root_;
};

TEST_F(Workers, StoppedWorkerHitsTheTimeLimitAndTheRunGoesOn) {
    SignalWorkerOf("mpeg4_mp3.avi", SIGSTOP);
    calyx_indexer::IndexSummary summary = Index({root_});
    EXPECT_EQ(summary.failed, 1u);
    EXPECT_NE(ReasonFor(summary, "mpeg4_mp3.avi").find("longer than 1 s"), std::string::npos)
        << ReasonFor(summary, "mpeg4_mp3.avi");
    EXPECT_EQ(summary.added, 4u);
    EXPECT_TRUE(RowOf("video", root_ + "/mpeg4_mp3.avi").empty());
    EXPECT_FALSE(RowOf("video", root_ + "/h264_aac.mkv").empty());
    EXPECT_FALSE(RowOf("photo", root_ + "/picture.png").empty());
}

TEST_F(Workers, CrashedWorkerCostsOneFileAndIsReplaced) {
    SignalWorkerOf("h264_aac.mkv", SIGSEGV);
    options_.workers = 1;  // the one worker must be replaced for the rest to be probed
    calyx_indexer::IndexSummary summary = Index({root_});
    EXPECT_EQ(summary.failed, 1u);
    const std::string reason = ReasonFor(summary, "h264_aac.mkv");
    EXPECT_NE(reason.find("crashed (signal " + std::to_string(SIGSEGV)), std::string::npos)
        << reason;
    EXPECT_EQ(summary.added, 4u);
    EXPECT_TRUE(RowOf("video", root_ + "/h264_aac.mkv").empty());
    EXPECT_FALSE(RowOf("video", root_ + "/mpeg4_mp3.avi").empty());
    EXPECT_FALSE(RowOf("music", root_ + "/tone.m4a").empty());
}

TEST_F(Workers, EveryWorkerEndsWithTheRun) {
    std::vector<pid_t> workers;
    options_.onProbeStart = [&workers](const std::string&, pid_t worker) {
        workers.push_back(worker);
    };
    Index({root_});
    ASSERT_FALSE(workers.empty());
    for (pid_t worker : workers)
        EXPECT_NE(kill(worker, 0), 0) << "worker " << worker << " still exists";
}

}  // namespace
}  // namespace calyx_test
