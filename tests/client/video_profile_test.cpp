// Video profile selection: the three matchers, the rule grammar and getVideoProfileName.
#include <gtest/gtest.h>

#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "calyx/client.h"

namespace {

using Calyx::Agent;
using Calyx::DMSClientChecker;

template <size_t N>
void Set(char (&field)[N], const char* text) {
    snprintf(field, N, "%s", text);
}

// A checker bound to its own agent, outside the process-wide list.
class VideoProfileTest : public ::testing::Test {
protected:
    VideoProfileTest() : agent_("TV"), checker_("", "Default Profile", false) {
        checker_.m_agent = &agent_;
        Set(item_.path, "/volume1/video/movie.ts");
        Set(item_.container_type, "mpegts");
        Set(item_.video_codec, "h264");
        Set(item_.audio_codec, "ac3");
        item_.resolutionx = 1920;
        item_.resolutiony = 1080;
        item_.channel = 6;
        item_.video_bitrate = 8000000;
        item_.audio_bitrate = 448000;
        item_.frame_bitrate = 8448000;
        item_.frame_rate_num = 25;
        item_.frame_rate_den = 1;
    }

    // The name chosen for the item when the agent has exactly this one rule named "p".
    std::string Only(const std::string& rule) {
        Agent agent("one");
        agent.setPair("profile@p", rule);
        checker_.m_agent = &agent;
        std::string name = checker_.getVideoProfileName(&item_);
        checker_.m_agent = &agent_;
        return name;
    }
    bool Matches(const std::string& rule) { return Only(rule) == "p"; }

    Agent agent_;
    DMSClientChecker checker_;
    ZEVO_MEDIA_INFO item_{};
};

const char kExampleRule[] =
    "container_type@mpegts#video_codec@mpeg2video&h264#resolutionx@1~1920#resolutiony@1~1080#"
    "audio_codec@ac3&mp2#channel@1~6";

TEST_F(VideoProfileTest, ExampleRulePassesAndFailsOnEachCondition) {
    EXPECT_TRUE(Matches(kExampleRule));
    ZEVO_MEDIA_INFO good = item_;
    Set(item_.container_type, "matroska");
    EXPECT_FALSE(Matches(kExampleRule));
    item_ = good;
    Set(item_.video_codec, "hevc");
    EXPECT_FALSE(Matches(kExampleRule));
    Set(item_.video_codec, "MPEG2VIDEO");  // the item side is lowered
    EXPECT_TRUE(Matches(kExampleRule));
    item_ = good;
    item_.resolutionx = 1921;
    EXPECT_FALSE(Matches(kExampleRule));
    item_.resolutionx = 0;
    EXPECT_FALSE(Matches(kExampleRule));
    item_.resolutionx = 1;
    EXPECT_TRUE(Matches(kExampleRule));
    item_ = good;
    item_.resolutiony = 1088;
    EXPECT_FALSE(Matches(kExampleRule));
    item_ = good;
    Set(item_.audio_codec, "aac");
    EXPECT_FALSE(Matches(kExampleRule));
    Set(item_.audio_codec, "mp2");
    EXPECT_TRUE(Matches(kExampleRule));
    item_ = good;
    item_.channel = 8;
    EXPECT_FALSE(Matches(kExampleRule));
    item_.channel = 0;
    EXPECT_FALSE(Matches(kExampleRule));
}

TEST_F(VideoProfileTest, ExtensionIsLoweredButTheRuleIsNot) {
    Set(item_.path, "/v/movie.MKV");
    EXPECT_FALSE(Matches("ext@MKV"));
    EXPECT_TRUE(Matches("ext@mkv"));
    Set(item_.path, "/v/movie.mkv");
    EXPECT_FALSE(Matches("ext@MKV"));
    EXPECT_TRUE(Matches("ext@mkv"));
    EXPECT_TRUE(Matches("ext@avi&mkv"));
}

TEST_F(VideoProfileTest, ExtensionIsTheTextAfterTheLastDotOfThePath) {
    Set(item_.path, "/v/a.b/movie");
    EXPECT_TRUE(Matches("ext@b/movie"));
    Set(item_.path, "/v/movie");
    EXPECT_FALSE(Matches("ext@movie"));
    EXPECT_FALSE(
        Matches("ext@"
                "&"));
    Set(item_.path, "/v/movie.");
    EXPECT_FALSE(Matches("ext@movie."));
}

TEST_F(VideoProfileTest, RangesAreInclusiveOrExact) {
    EXPECT_TRUE(Matches("resolutionx@1~1920"));
    EXPECT_TRUE(Matches("resolutionx@1920"));
    EXPECT_FALSE(Matches("resolutionx@1921~4096"));
    EXPECT_TRUE(Matches("resolutionx@~1920"));  // read as exactly 1920
    EXPECT_TRUE(Matches("resolutionx@1920~"));
    EXPECT_FALSE(Matches("resolutionx@1~2~3"));
    EXPECT_FALSE(Matches("resolutionx@~"));       // no bound: the condition fails
    EXPECT_FALSE(Matches("resolutionx@1920~1"));  // low above high matches nothing
    EXPECT_TRUE(Matches("resolutionx@1920p"));    // trailing text ends the number
    EXPECT_TRUE(Matches("resolutionx@ +1920"));
}

TEST_F(VideoProfileTest, ChannelConditions) {
    EXPECT_FALSE(Matches("channel@2"));
    EXPECT_TRUE(Matches("channel@1~8"));
}

TEST_F(VideoProfileTest, NonNumericBoundsCountAsZero) {
    item_.channel = 0;
    EXPECT_TRUE(Matches("channel@abc"));
    EXPECT_TRUE(Matches("channel@x~y"));
    item_.channel = 100;
    EXPECT_TRUE(Matches("channel@100&200"));
}

TEST_F(VideoProfileTest, BoundsSaturateAtThe32BitLimits) {
    item_.resolutionx = 2147483647;
    EXPECT_TRUE(Matches("resolutionx@99999999999"));
    EXPECT_TRUE(Matches("resolutionx@1~99999999999999999999999"));
    item_.resolutionx = -2147483647 - 1;
    EXPECT_TRUE(Matches("resolutionx@-99999999999"));
}

TEST_F(VideoProfileTest, BitRatesAreComparedAsInt) {
    item_.video_bitrate = 4294967295u;  // -1 as int
    EXPECT_TRUE(Matches("video_bitrate@-1"));
    EXPECT_FALSE(Matches("video_bitrate@0~4294967295"));
    item_.audio_bitrate = 448000;
    EXPECT_TRUE(Matches("audio_bitrate@448000"));
    item_.frame_bitrate = 8448000;
    EXPECT_TRUE(Matches("frame_bitrate@1~9000000"));
    EXPECT_FALSE(Matches("frame_bitrate@1~8000000"));
}

TEST_F(VideoProfileTest, FrameRateConditions) {
    EXPECT_TRUE(Matches("frame_rate_num@25#frame_rate_den@1"));
    EXPECT_FALSE(Matches("frame_rate_num@25#frame_rate_den@1001"));
    EXPECT_FALSE(Matches("frame_rate_num@30000~60000"));
}

TEST_F(VideoProfileTest, RuleWithoutKnownKeyNeverMatches) {
    ZEVO_MEDIA_INFO empty{};
    item_ = empty;
    EXPECT_FALSE(Matches("#"));
    EXPECT_FALSE(Matches("foo@bar"));
    EXPECT_FALSE(Matches(""));
    EXPECT_FALSE(Matches("ext@#channel@"));  // keys named, but without values
}

TEST_F(VideoProfileTest, KeyAnywhereInAPieceClaimsIt) {
    EXPECT_TRUE(Matches("xxvideo_codec@h264"));
    EXPECT_FALSE(Matches("xxvideo_codec@hevc"));
    // "ext@" is tried first and occurs inside "next@": the piece is an extension condition.
    Set(item_.path, "/v/m.ts");
    EXPECT_TRUE(Matches("video_codec@next@ts"));
}

TEST_F(VideoProfileTest, LaterPieceOfTheSameKeyWins) {
    EXPECT_TRUE(Matches("channel@2#channel@6"));
    EXPECT_FALSE(Matches("channel@6#channel@2"));
    // A later empty value removes the condition.
    EXPECT_TRUE(Matches("channel@2#channel@#video_codec@h264"));
}

TEST_F(VideoProfileTest, EmptyPiecesAndAlternativesAreDropped) {
    EXPECT_TRUE(Matches("##video_codec@&&h264&##"));
    EXPECT_FALSE(Matches("video_codec@H264"));
}

TEST_F(VideoProfileTest, EmptyItemTextFailsItsCondition) {
    Set(item_.audio_codec, "");
    EXPECT_FALSE(Matches("audio_codec@ac3"));
    EXPECT_FALSE(Matches("audio_codec@&"));
    EXPECT_TRUE(Matches("video_codec@h264"));
}

TEST_F(VideoProfileTest, ProfilesAreTriedInNameOrder) {
    agent_.setPair("profile@b", "video_codec@h264");
    agent_.setPair("profile@a", "container_type@mpegts");
    agent_.setPair("profile@B", "channel@2");
    EXPECT_EQ("a", checker_.getVideoProfileName(&item_));
    agent_.setPair("profile@A", "channel@6");  // upper case sorts first
    EXPECT_EQ("A", checker_.getVideoProfileName(&item_));
}

TEST_F(VideoProfileTest, NoAgentNoProfilesOrNoMatchGiveEmpty) {
    EXPECT_EQ("", checker_.getVideoProfileName(&item_));  // no video profiles
    agent_.setPair("profile@x", "channel@2");
    EXPECT_EQ("", checker_.getVideoProfileName(&item_));
    EXPECT_EQ("", checker_.getVideoProfileName(nullptr));
    DMSClientChecker unmatched("", "Unknown", true);
    EXPECT_EQ("", unmatched.getVideoProfileName(&item_));
}

TEST_F(VideoProfileTest, SettingsAddedAfterTheFirstLookupAreHonoured) {
    agent_.setPair("profile@z", "channel@6");
    EXPECT_EQ("z", checker_.getVideoProfileName(&item_));
    agent_.setPair("profile@y", "channel@6");
    EXPECT_EQ("y", checker_.getVideoProfileName(&item_));
    agent_.setPair("profile@y", "channel@2");  // ignored: the first value stays
    EXPECT_EQ("y", checker_.getVideoProfileName(&item_));
}

// m_profileSettings is public: every direct change of its content is seen by the next
// selection, also one that keeps the size and one that is undone again.
TEST_F(VideoProfileTest, DirectEditsOfTheSettingsAreSeen) {
    agent_.setPair("profile@a", "channel@6");
    agent_.setPair("profile@b", "channel@2");
    EXPECT_EQ("a", checker_.getVideoProfileName(&item_));

    agent_.m_profileSettings["a"] = "channel@2";  // same size, other value
    EXPECT_EQ("", checker_.getVideoProfileName(&item_));
    agent_.m_profileSettings["b"] = "channel@6";
    EXPECT_EQ("b", checker_.getVideoProfileName(&item_));

    agent_.m_profileSettings.erase("b");  // same size, other key
    agent_.m_profileSettings["c"] = "channel@6";
    EXPECT_EQ("c", checker_.getVideoProfileName(&item_));

    agent_.m_profileSettings["a"] = "channel@6";  // undone again
    EXPECT_EQ("a", checker_.getVideoProfileName(&item_));
    agent_.m_profileSettings["a"] = "channel@2";
    EXPECT_EQ("c", checker_.getVideoProfileName(&item_));

    agent_.m_profileSettings.clear();
    EXPECT_EQ("", checker_.getVideoProfileName(&item_));
    agent_.m_profileSettings["z"] = "channel@6";
    EXPECT_EQ("z", checker_.getVideoProfileName(&item_));
}

// The explanation reads the same compiled rules, so it follows direct edits too.
TEST_F(VideoProfileTest, ExplanationFollowsDirectEdits) {
    agent_.setPair("profile@a", "channel@6");
    ASSERT_EQ(Calyx::ExplainVideoProfiles(&agent_, &item_).size(), 1u);
    agent_.m_profileSettings["a"] = "channel@2";
    std::vector<Calyx::VideoProfileVerdict> verdicts = Calyx::ExplainVideoProfiles(&agent_, &item_);
    ASSERT_EQ(verdicts.size(), 1u);
    EXPECT_FALSE(verdicts[0].matched);
    EXPECT_EQ(verdicts[0].rule, "channel@2");
}

TEST_F(VideoProfileTest, UnterminatedTextFieldsAreReadWithinTheirArrays) {
    memset(item_.video_codec, 'a', sizeof item_.video_codec);
    EXPECT_FALSE(Matches("video_codec@aaa"));
    EXPECT_TRUE(Matches("video_codec@" + std::string(sizeof item_.video_codec, 'a')));
}

TEST(MediaInfoRecordTest, ComparedFieldsStandInTheirOrder) {
    static_assert(offsetof(ZEVO_MEDIA_INFO, path) < offsetof(ZEVO_MEDIA_INFO, audio_bitrate), "");
    static_assert(
        offsetof(ZEVO_MEDIA_INFO, audio_bitrate) < offsetof(ZEVO_MEDIA_INFO, frame_bitrate), "");
    static_assert(
        offsetof(ZEVO_MEDIA_INFO, frame_bitrate) < offsetof(ZEVO_MEDIA_INFO, video_bitrate), "");
    static_assert(
        offsetof(ZEVO_MEDIA_INFO, video_bitrate) < offsetof(ZEVO_MEDIA_INFO, frame_rate_num), "");
    static_assert(
        offsetof(ZEVO_MEDIA_INFO, frame_rate_num) < offsetof(ZEVO_MEDIA_INFO, frame_rate_den), "");
    static_assert(offsetof(ZEVO_MEDIA_INFO, frame_rate_den) < offsetof(ZEVO_MEDIA_INFO, channel),
                  "");
    static_assert(offsetof(ZEVO_MEDIA_INFO, channel) < offsetof(ZEVO_MEDIA_INFO, resolutionx), "");
    static_assert(offsetof(ZEVO_MEDIA_INFO, resolutionx) < offsetof(ZEVO_MEDIA_INFO, resolutiony),
                  "");
    static_assert(offsetof(ZEVO_MEDIA_INFO, resolutiony) < offsetof(ZEVO_MEDIA_INFO, video_codec),
                  "");
    static_assert(
        offsetof(ZEVO_MEDIA_INFO, video_codec) < offsetof(ZEVO_MEDIA_INFO, container_type), "");
    static_assert(
        offsetof(ZEVO_MEDIA_INFO, container_type) < offsetof(ZEVO_MEDIA_INFO, audio_codec), "");
    static_assert(sizeof(ZEVO_MEDIA_INFO::video_codec) == 255, "");
    static_assert(sizeof(ZEVO_MEDIA_INFO::audio_bitrate) == 4 &&
                      sizeof(ZEVO_MEDIA_INFO::frame_bitrate) == 4 &&
                      sizeof(ZEVO_MEDIA_INFO::video_bitrate) == 4,
                  "");
    // A field between the frame rate and the channel count is there and never read.
    EXPECT_LT(offsetof(ZEVO_MEDIA_INFO, frame_rate_den), offsetof(ZEVO_MEDIA_INFO, samplerate));
    EXPECT_LT(offsetof(ZEVO_MEDIA_INFO, samplerate), offsetof(ZEVO_MEDIA_INFO, channel));
}

TEST_F(VideoProfileTest, FieldsOutsideTheRulesAreNotRead) {
    item_.samplerate = 12345;
    item_.duration = 7;
    EXPECT_TRUE(Matches("channel@6"));
    EXPECT_FALSE(Matches("samplerate@12345"));  // not a known key
}

TEST(VideoProfileMatchersTest, SatisfyValue) {
    DMSClientChecker c("", "Default Profile", false);
    EXPECT_TRUE(c.checkIsSatisfyValue("h264&mpeg4", "mpeg4"));
    EXPECT_TRUE(c.checkIsSatisfyValue("h264", "H264"));
    EXPECT_FALSE(c.checkIsSatisfyValue("H264", "H264"));
    EXPECT_FALSE(c.checkIsSatisfyValue("", ""));
    EXPECT_FALSE(c.checkIsSatisfyValue("&&", ""));
    EXPECT_FALSE(c.checkIsSatisfyValue("h264", ""));
    EXPECT_FALSE(c.checkIsSatisfyValue("h26", "h264"));
}

TEST(VideoProfileMatchersTest, RangeBySetting) {
    DMSClientChecker c("", "Default Profile", false);
    std::string low = "L";
    std::string high = "H";
    c.getRangeBySetting("1~2", low, high);
    EXPECT_EQ("1", low);
    EXPECT_EQ("2", high);
    low = "L", high = "H";
    c.getRangeBySetting("720~", low, high);
    EXPECT_EQ("720", low);
    EXPECT_EQ("H", high);
    low = "L";
    c.getRangeBySetting("~720", low, high);
    EXPECT_EQ("720", low);
    low = "L";
    c.getRangeBySetting("~", low, high);
    c.getRangeBySetting("", low, high);
    c.getRangeBySetting("1~2~3", low, high);
    EXPECT_EQ("L", low);
    EXPECT_EQ("H", high);
}

TEST(VideoProfileMatchersTest, SatisfyRange) {
    DMSClientChecker c("", "Default Profile", false);
    EXPECT_TRUE(c.checkIsSatisfyRange("1~1920", 1920));
    EXPECT_TRUE(c.checkIsSatisfyRange("1~1920", 1));
    EXPECT_FALSE(c.checkIsSatisfyRange("1~1920", 0));
    EXPECT_TRUE(c.checkIsSatisfyRange("1080p", 1080));
    EXPECT_TRUE(c.checkIsSatisfyRange("abc", 0));
    EXPECT_TRUE(c.checkIsSatisfyRange("-5~-1", -3));
    EXPECT_FALSE(c.checkIsSatisfyRange("~", 0));
    EXPECT_FALSE(c.checkIsSatisfyRange("", 0));
    EXPECT_FALSE(c.checkIsSatisfyRange("0~0~0", 0));
    EXPECT_TRUE(c.checkIsSatisfyRange("99999999999", 2147483647));
    EXPECT_TRUE(c.checkIsSatisfyRange("-99999999999~0", -2147483647 - 1));
}

TEST_F(VideoProfileTest, ExplanationNamesTheFirstFailingCondition) {
    agent_.setPair("profile@a", kExampleRule);
    agent_.setPair("profile@b", "foo@bar");
    agent_.setPair("profile@c", "video_codec@h264#channel@2#resolutionx@1~720");
    item_.channel = 8;
    std::vector<Calyx::VideoProfileVerdict> verdicts = Calyx::ExplainVideoProfiles(&agent_, &item_);
    ASSERT_EQ(3u, verdicts.size());
    EXPECT_EQ("a", verdicts[0].profileName);
    EXPECT_FALSE(verdicts[0].matched);
    EXPECT_EQ("channel@", verdicts[0].failedKey);
    EXPECT_EQ("1~6", verdicts[0].failedCondition);
    EXPECT_EQ("8", verdicts[0].itemValue);
    EXPECT_FALSE(verdicts[1].matched);
    EXPECT_EQ("", verdicts[1].failedKey);  // no known condition
    // Conditions are evaluated in field order, not rule order: resolutionx comes first.
    EXPECT_EQ("resolutionx@", verdicts[2].failedKey);
    EXPECT_EQ("1920", verdicts[2].itemValue);
    item_.channel = 6;
    verdicts = Calyx::ExplainVideoProfiles(&agent_, &item_);
    EXPECT_TRUE(verdicts[0].matched);
    EXPECT_EQ("", verdicts[0].failedKey);
    Set(item_.audio_codec, "AAC");
    verdicts = Calyx::ExplainVideoProfiles(&agent_, &item_);
    EXPECT_EQ("audio_codec@", verdicts[0].failedKey);
    EXPECT_EQ("AAC", verdicts[0].itemValue);
    EXPECT_TRUE(Calyx::ExplainVideoProfiles(nullptr, &item_).empty());
    EXPECT_TRUE(Calyx::ExplainVideoProfiles(&agent_, nullptr).empty());
}

}  // namespace
