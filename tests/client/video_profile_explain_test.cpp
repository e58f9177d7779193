// What the linter asks of video-profile rules, against what selection does with them.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/types.h"

namespace {

using Calyx::DMSClientChecker;

TEST(VideoRuleRangeBounds, ReadAsTheMatcherReadsThem) {
    EXPECT_EQ(Calyx::VideoRuleRangeBounds("1~1920"), (std::vector<int32_t>{1, 1920}));
    EXPECT_EQ(Calyx::VideoRuleRangeBounds("~5~"), (std::vector<int32_t>{5}));
    EXPECT_EQ(Calyx::VideoRuleRangeBounds("~"), std::vector<int32_t>{});
    EXPECT_EQ(Calyx::VideoRuleRangeBounds("1080p~ -2x"), (std::vector<int32_t>{1080, -2}));
    EXPECT_EQ(Calyx::VideoRuleRangeBounds("99999999999~-99999999999"),
              (std::vector<int32_t>{std::numeric_limits<int32_t>::max(),
                                    std::numeric_limits<int32_t>::min()}));
    // The matcher agrees: both saturated bounds are the largest value, which then matches.
    DMSClientChecker checker("", "", false);
    const int largest = std::numeric_limits<int32_t>::max();
    EXPECT_TRUE(checker.checkIsSatisfyRange("3000000000~2999999999", largest));
    EXPECT_EQ(Calyx::VideoRuleRangeBounds("3000000000~2999999999"),
              (std::vector<int32_t>{largest, largest}));
}

TEST(VideoRuleIgnoredPieces, ArePiecesNamingNoCondition) {
    EXPECT_EQ(Calyx::VideoRuleIgnoredPieces("ext@mkv#size@3#resolutionx@1~2##junk"),
              (std::vector<std::string>{"size@3", "junk"}));
    EXPECT_EQ(Calyx::VideoRuleIgnoredPieces("xext@mkv"), std::vector<std::string>{});  // anywhere
    EXPECT_EQ(Calyx::VideoRuleIgnoredPieces(""), std::vector<std::string>{});
    // An ignored piece changes nothing: the rule selects as it does without it.
    Calyx::Agent agent("A");
    agent.setPair("profile@with", "ext@mkv#junk@1");
    ZEVO_MEDIA_INFO item{};
    std::string path = "/v/a.mkv";
    path.copy(item.path, path.size());
    const std::vector<Calyx::VideoProfileVerdict> verdicts =
        Calyx::ExplainVideoProfiles(&agent, &item);
    ASSERT_EQ(verdicts.size(), 1u);
    EXPECT_TRUE(verdicts[0].matched);
    EXPECT_EQ(Calyx::VideoRuleIgnoredPieces("ext@mkv#junk@1"), std::vector<std::string>{"junk@1"});
}

}  // namespace
