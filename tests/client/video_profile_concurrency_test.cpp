// Many threads choosing video profiles at once, including the first use that compiles rules.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "calyx/client.h"
#include "support/test_support.h"
#include "video_profile_generator.h"
#include "video_profile_reference.h"

namespace {

using Calyx::Agent;
using Calyx::DMSClientChecker;

TEST(VideoProfileConcurrencyTest, ThreadsRacingOnFirstUseAllGetTheReferenceNames) {
    std::mt19937 rng(99);
    std::vector<ZEVO_MEDIA_INFO> items;
    for (int i = 0; i < 200; ++i) {
        items.push_back(calyx_gen::RealisticItem(rng));
    }
    const int rounds = 20 * calyx_test::TestScale();
    for (int round = 0; round < rounds; ++round) {
        Agent agent("shared");
        for (const auto& profile : calyx_gen::RealisticProfiles()) {
            agent.setPair("profile@" + profile.first, profile.second);
        }
        std::vector<std::string> expected;
        for (const ZEVO_MEDIA_INFO& item : items) {
            expected.push_back(calyx_reference::VideoProfileName(agent.m_profileSettings, &item));
        }
        std::atomic<int> mismatches{0};
        std::atomic<bool> go{false};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                while (!go.load()) {
                }
                DMSClientChecker checker("", "Default Profile", false);
                checker.m_agent = &agent;
                for (size_t i = 0; i < items.size(); ++i) {
                    size_t index = (i + t * 37) % items.size();
                    if (checker.getVideoProfileName(&items[index]) != expected[index]) {
                        ++mismatches;
                    }
                }
            });
        }
        go = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(0, mismatches.load()) << "round " << round;
    }
}

}  // namespace
