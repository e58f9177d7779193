// The server's query workers: jobs run off the calling thread, several at once, and their
// replies come back on the main context in order; stopping answers everything queued.
#include "content/query_workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

// GLib's main context locks itself with raw futexes, which ThreadSanitizer does not see:
// every reply handed to the main context would look like a race inside GLib. Only GLib's
// own frames are named; the workers' queue is still checked.
#if defined(__SANITIZE_THREAD__)
extern "C" const char* __tsan_default_suppressions() {
    return "race:libglib-2.0.so\n";
}
#endif

namespace calyx_dms {
namespace {

// Runs the default context until `done` holds or `seconds` pass.
bool RunUntil(const std::function<bool()>& done, int seconds = 10) {
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!done() && std::chrono::steady_clock::now() < end)
        g_main_context_iteration(nullptr, FALSE) ||
            (std::this_thread::sleep_for(std::chrono::milliseconds(1)), true);
    return done();
}

TEST(QueryWorkers, JobsRunOnWorkerThreadsAndRepliesOnTheMainContext) {
    const std::thread::id main = std::this_thread::get_id();
    std::vector<std::thread::id> replyThreads;
    std::atomic<int> onMain{0};
    std::set<size_t> indexes;
    std::mutex indexMutex;
    // Declared last, so its threads are gone before the state they write.
    QueryWorkers workers(3);
    ASSERT_EQ(workers.count(), 3u);
    for (int i = 0; i < 30; ++i) {
        workers.Submit([&](size_t worker) {
            if (std::this_thread::get_id() == main)
                ++onMain;
            {
                std::lock_guard<std::mutex> lock(indexMutex);
                indexes.insert(worker);
            }
            workers.Reply([&] { replyThreads.push_back(std::this_thread::get_id()); });
        });
    }
    ASSERT_TRUE(RunUntil([&] { return replyThreads.size() == 30; }));
    EXPECT_EQ(onMain.load(), 0);
    for (const std::thread::id& id : replyThreads)
        EXPECT_EQ(id, main);
    std::lock_guard<std::mutex> lock(indexMutex);
    for (size_t index : indexes)
        EXPECT_LT(index, 3u);
}

TEST(QueryWorkers, ASlowJobDoesNotHoldUpTheOthers) {
    std::atomic<bool> release{false};
    std::atomic<int> quickDone{0};
    QueryWorkers workers(2);
    workers.Submit([&](size_t) {
        while (!release)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    for (int i = 0; i < 5; ++i)
        workers.Submit([&](size_t) { ++quickDone; });
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (quickDone < 5 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(quickDone.load(), 5);
    release = true;
}

TEST(QueryWorkers, RepliesFromOneWorkerKeepTheirOrder) {
    std::vector<int> order;
    QueryWorkers workers(1);
    workers.Submit([&](size_t) {
        for (int i = 0; i < 100; ++i)
            workers.Reply([&order, i] { order.push_back(i); });
    });
    ASSERT_TRUE(RunUntil([&] { return order.size() == 100; }));
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(order[static_cast<size_t>(i)], i);
}

TEST(QueryWorkers, StopRunsEveryQueuedJobAndDeliversItsReply) {
    std::atomic<int> ran{0};
    int replied = 0;
    {
        QueryWorkers workers(2);
        for (int i = 0; i < 50; ++i)
            workers.Submit([&](size_t) {
                std::this_thread::sleep_for(std::chrono::microseconds(200));
                ++ran;
                workers.Reply([&] { ++replied; });
            });
        workers.Stop();
        EXPECT_EQ(ran.load(), 50);
        EXPECT_EQ(replied, 50);
        // Work handed over after the stop is dropped, not run.
        workers.Submit([&](size_t) { ++ran; });
        workers.Stop();
    }
    EXPECT_EQ(ran.load(), 50);
}

TEST(QueryWorkers, ZeroThreadsMeansOne) {
    bool replied = false;
    QueryWorkers workers(0);
    EXPECT_EQ(workers.count(), 1u);
    workers.Submit([&](size_t worker) {
        EXPECT_EQ(worker, 0u);
        workers.Reply([&] { replied = true; });
    });
    EXPECT_TRUE(RunUntil([&] { return replied; }));
}

}  // namespace
}  // namespace calyx_dms
