// The pool on its own: every job is answered once, in any order.
#include <gtest/gtest.h>

#include <set>

#include "indexer/worker_pool.h"
#include "media_tree.h"

namespace calyx_test {
namespace {

using namespace calyx_indexer;

TEST(WorkerPool, EveryJobIsAnsweredOnce) {
    std::vector<ProbeJob> jobs;
    for (int i = 0; i < 4; ++i) {
        jobs.push_back({MediaFile("music/tone.flac"), ""});
        jobs.push_back({MediaFile("bad/text.mkv"), ""});
    }
    WorkerPool pool(3, 10);
    std::multiset<size_t> answered;
    std::set<pid_t> workers;
    size_t music = 0, failed = 0;
    ASSERT_TRUE(pool.Run(
        jobs, [&](size_t, pid_t worker) { workers.insert(worker); },
        [&](size_t job, ProbedMedia& media) {
            answered.insert(job);
            music += media.kind == MediaKind::kMusic;
            failed += !media.failure.empty();
        }));
    EXPECT_EQ(answered.size(), jobs.size());
    for (size_t i = 0; i < jobs.size(); ++i)
        EXPECT_EQ(answered.count(i), 1u) << i;
    EXPECT_EQ(music, 4u);
    EXPECT_EQ(failed, 4u);
    EXPECT_EQ(workers.size(), 3u);  // long-lived: one process per worker, not per file
    EXPECT_TRUE(pool.Run({}, nullptr, [](size_t, ProbedMedia&) { FAIL(); }));
}

TEST(WorkerPool, CancelStopsHandingOutJobs) {
    std::vector<ProbeJob> jobs(5, ProbeJob{MediaFile("music/tone.flac"), ""});
    WorkerPool pool(1, 10);
    size_t answered = 0;
    ASSERT_TRUE(pool.Run(jobs, nullptr, [&](size_t, ProbedMedia&) {
        ++answered;
        pool.Cancel();
    }));
    EXPECT_EQ(answered, 1u);
    // A later run starts afresh.
    answered = 0;
    ASSERT_TRUE(pool.Run(jobs, nullptr, [&](size_t, ProbedMedia&) { ++answered; }));
    EXPECT_EQ(answered, jobs.size());
}

}  // namespace
}  // namespace calyx_test
