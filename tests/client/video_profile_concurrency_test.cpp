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

TEST(ProfileListConcurrencyTest, CheckersAndLookupsRunTogetherOnALoadedList) {
    calyx_test::TempDir dir;
    std::string path = dir.file("profiles.json");
    std::string json = R"({"ProfileList": [)";
    for (int i = 0; i < 50; ++i) {
        json += (i ? "," : "") + std::string(R"({"profileName": "P)") + std::to_string(i) +
                R"(", "dlna": "yes", "agentopt": "xmres", "profile@v": "channel@)" +
                std::to_string(i) + "\"}";
    }
    calyx_test::WriteFile(path, json + "]}");
    DMSClientChecker::ReleaseClientList();
    ASSERT_TRUE(DMSClientChecker::InitProfileList(path));
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            ZEVO_MEDIA_INFO item{};
            for (int i = 0; i < 500 * calyx_test::TestScale(); ++i) {
                int n = (i * 7 + t) % 60;  // some names are unknown
                DMSClientChecker checker("DLNADOC", "P" + std::to_string(n), false);
                item.channel = n;
                bool known = n < 50;
                if (checker.m_isDLNA != true || (checker.m_agent != nullptr) != known ||
                    checker.m_capability != (known ? 1u : 0u) ||
                    checker.getVideoProfileName(&item) != (known ? "v" : "")) {
                    ++failures;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0, failures.load());
    DMSClientChecker::ReleaseClientList();
}

}  // namespace
