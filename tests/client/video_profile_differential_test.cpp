// The compiled video-profile path against the straightforward reference, on generated
// hostile rule sets and items.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "support/test_support.h"
#include "video_profile_generator.h"
#include "video_profile_reference.h"

namespace {

using Calyx::Agent;
using Calyx::DMSClientChecker;

// An agent with 1 to 4 hostile rules under short names (some repeated: the first wins).
void FillHostileAgent(std::mt19937& rng, Agent& agent) {
    static const std::vector<std::string> names = {"a", "b", "B", "c", "", "a@b", "Z9"};
    int rules = calyx_gen::Between(rng, 1, 4);
    for (int r = 0; r < rules; ++r) {
        agent.setPair("profile@" + calyx_gen::Pick(rng, names), calyx_gen::HostileRule(rng));
    }
}

TEST(VideoProfileDifferentialTest, CompiledPathGivesTheReferenceNameOnHostileInput) {
    const int ruleSets = 2000 * calyx_test::TestScale();
    const int itemsPerSet = 50;
    std::mt19937 rng(20240611);
    long pairs = 0;
    long named = 0;
    for (int s = 0; s < ruleSets; ++s) {
        Agent agent("hostile");
        FillHostileAgent(rng, agent);
        DMSClientChecker checker("", "Default Profile", false);
        checker.m_agent = &agent;
        for (int i = 0; i < itemsPerSet; ++i) {
            ZEVO_MEDIA_INFO item = calyx_gen::HostileItem(rng);
            std::string expected =
                calyx_reference::VideoProfileName(agent.m_profileSettings, &item);
            std::string actual = checker.getVideoProfileName(&item);
            ASSERT_EQ(expected, actual)
                << "rules set " << s << ", item " << i << ", path " << item.path;
            ++pairs;
            named += expected.empty() ? 0 : 1;
        }
    }
    EXPECT_GE(pairs, 100000L);
    // Both outcomes must be well represented, or the comparison proves little.
    EXPECT_GT(named, pairs / 50);
    EXPECT_GT(pairs - named, pairs / 50);
}

TEST(VideoProfileDifferentialTest, ExplanationAgreesWithTheReferencePerRule) {
    std::mt19937 rng(7);
    const int ruleSets = 300 * calyx_test::TestScale();
    for (int s = 0; s < ruleSets; ++s) {
        Agent agent("hostile");
        FillHostileAgent(rng, agent);
        for (int i = 0; i < 20; ++i) {
            ZEVO_MEDIA_INFO item = calyx_gen::HostileItem(rng);
            std::vector<Calyx::VideoProfileVerdict> verdicts =
                Calyx::ExplainVideoProfiles(&agent, &item);
            ASSERT_EQ(agent.m_profileSettings.size(), verdicts.size());
            size_t index = 0;
            for (const auto& setting : agent.m_profileSettings) {
                const Calyx::VideoProfileVerdict& verdict = verdicts[index++];
                // Under a non-empty name, so that a match never reads as "no name".
                std::map<std::string, std::string> single = {{"x", setting.second}};
                bool expected = !calyx_reference::VideoProfileName(single, &item).empty();
                ASSERT_EQ(setting.first, verdict.profileName);
                ASSERT_EQ(expected, verdict.matched) << "rule " << setting.second;
                if (!verdict.matched && !verdict.failedKey.empty() &&
                    verdict.failedCondition.find('@') == std::string::npos) {
                    // The reported condition alone must also fail the item (a condition
                    // holding no "@" reads back as the same condition).
                    std::map<std::string, std::string> failing = {
                        {"x", verdict.failedKey + verdict.failedCondition}};
                    EXPECT_TRUE(calyx_reference::VideoProfileName(failing, &item).empty())
                        << verdict.failedKey << verdict.failedCondition;
                }
            }
        }
    }
}

}  // namespace
