// Matching a client to a profile, offend chars and the regular-expression escaper.
#include <gtest/gtest.h>

#include <string>

#include "calyx/client.h"
#include "support/test_support.h"

namespace {

using Calyx::DMSClientChecker;

class ClientCheckerTest : public ::testing::Test {
protected:
    void SetUp() override {
        DMSClientChecker::ReleaseClientList();
        std::string path = dir_.file("profiles.json");
        calyx_test::WriteFile(path, R"({"ProfileList": [
            {"profileName": "Default Profile", "xbox": "yes", "dlna": "yes"},
            {"profileName": "Console", "xbox": "yes", "msclient": "yes", "wmp": "yes",
             "agentopt": "xmres transmkv", "offendchars": "?*:"},
            {"profileName": "NoDLNA", "roku": "yes"},
            {"profileName": "Everything", "dlna": "yes", "xbox": "yes", "msclient": "yes",
             "wmp": "yes", "roku": "yes", "musiconly": "yes", "wdtvlive": "yes",
             "samsungtv": "yes"}]})");
        ASSERT_TRUE(DMSClientChecker::InitProfileList(path));
    }
    void TearDown() override { DMSClientChecker::ReleaseClientList(); }

    static int FlagCount(const DMSClientChecker& c) {
        return c.m_isMSClient + c.m_isXbox + c.m_isDLNA + c.m_isWMP + c.m_isMusicOnly + c.m_isRoku +
               c.m_isWDTVLive + c.m_isSamsungTV;
    }

    calyx_test::TempDir dir_;
};

TEST_F(ClientCheckerTest, MatchedProfileGivesItsFlagsCapabilityAndOffendChars) {
    DMSClientChecker checker("Xbox DLNADOC/1.50", "Console", false);
    EXPECT_EQ(DMSClientChecker::GetAgent("Console"), checker.m_agent);
    EXPECT_EQ("Console", checker.m_profileName);
    EXPECT_TRUE(checker.m_isXbox);
    EXPECT_TRUE(checker.m_isMSClient);
    EXPECT_TRUE(checker.m_isWMP);
    EXPECT_FALSE(checker.m_isDLNA);  // the profile lacks "dlna", whatever the user agent says
    EXPECT_EQ(3, FlagCount(checker));
    EXPECT_EQ(1u | 64u, checker.m_capability);
    EXPECT_EQ("?*:", checker.m_offendChars);
    EXPECT_EQ("?*:", checker.GetOffendChar());
    EXPECT_FALSE(checker.m_defaultDLNA);
}

TEST_F(ClientCheckerTest, EachFlagFollowsItsOwnBit) {
    DMSClientChecker all("", "Everything", false);
    EXPECT_EQ(8, FlagCount(all));
    const std::pair<const char*, bool DMSClientChecker::*> flags[] = {
        {"msclient", &DMSClientChecker::m_isMSClient},
        {"xbox", &DMSClientChecker::m_isXbox},
        {"dlna", &DMSClientChecker::m_isDLNA},
        {"wmp", &DMSClientChecker::m_isWMP},
        {"musiconly", &DMSClientChecker::m_isMusicOnly},
        {"roku", &DMSClientChecker::m_isRoku},
        {"wdtvlive", &DMSClientChecker::m_isWDTVLive},
        {"samsungtv", &DMSClientChecker::m_isSamsungTV}};
    for (const auto& flag : flags) {
        DMSClientChecker::ReleaseClientList();
        std::string path = dir_.file("one.json");
        calyx_test::WriteFile(path, std::string(R"({"ProfileList": [{"profileName": "One", ")") +
                                        flag.first + R"(": "yes"}]})");
        ASSERT_TRUE(DMSClientChecker::InitProfileList(path));
        DMSClientChecker checker("", "One", false);
        EXPECT_TRUE(checker.*flag.second) << flag.first;
        EXPECT_EQ(1, FlagCount(checker)) << flag.first;
    }
}

TEST_F(ClientCheckerTest, UnknownProfileWithEmptyUserAgentTakesDefaultDLNA) {
    DMSClientChecker on("", "Unknown", true);
    EXPECT_TRUE(on.m_isDLNA);
    EXPECT_EQ(1, FlagCount(on));
    EXPECT_TRUE(on.m_defaultDLNA);
    EXPECT_EQ(nullptr, on.m_agent);
    EXPECT_EQ(0u, on.m_capability);
    EXPECT_EQ("", on.GetOffendChar());
    DMSClientChecker off("", "Unknown", false);
    EXPECT_EQ(0, FlagCount(off));
}

TEST_F(ClientCheckerTest, DefaultProfileIsNeverLookedUp) {
    DMSClientChecker checker("Foo DLNADOC/1.50 Bar", "Default Profile", false);
    EXPECT_EQ(nullptr, checker.m_agent);
    EXPECT_TRUE(checker.m_isDLNA);
    EXPECT_FALSE(checker.m_isXbox);  // the file's "Default Profile" says xbox: not used
    EXPECT_EQ(1, FlagCount(checker));
    DMSClientChecker lower("foo dlnadoc/1.50 bar", "Default Profile", true);
    EXPECT_EQ(0, FlagCount(lower));  // a non-empty user agent ignores defaultDLNA
    // Only the exact name is special.
    DMSClientChecker other("", "default profile", false);
    EXPECT_EQ(0, FlagCount(other));
    EXPECT_NE(nullptr, DMSClientChecker::GetAgent("Default Profile"));
}

TEST_F(ClientCheckerTest, MatchedProfileIgnoresTheUserAgent) {
    DMSClientChecker checker("DLNADOC/1.50", "NoDLNA", true);
    EXPECT_FALSE(checker.m_isDLNA);
    EXPECT_TRUE(checker.m_isRoku);
    EXPECT_EQ(1, FlagCount(checker));
}

TEST_F(ClientCheckerTest, CheckerMadeBeforeAReleaseKeepsItsCopies) {
    DMSClientChecker checker("", "Console", false);
    DMSClientChecker::ReleaseClientList();
    EXPECT_TRUE(checker.m_isXbox);
    EXPECT_EQ("?*:", checker.GetOffendChar());
    EXPECT_EQ(nullptr, DMSClientChecker::GetAgent("Console"));
}

TEST(EscapeRegexTest, DropsLeadingSpacesAndEverythingFromTheNewline) {
    EXPECT_EQ("a\\.b \\(c\\)", DMSClientChecker::EscapeRegex("  a.b (c)\nrest"));
}

TEST(EscapeRegexTest, EmptyAndBlankTextGiveEmpty) {
    EXPECT_EQ("", DMSClientChecker::EscapeRegex(""));
    EXPECT_EQ("", DMSClientChecker::EscapeRegex("   "));
    EXPECT_EQ("", DMSClientChecker::EscapeRegex("\nabc"));
    EXPECT_EQ("", DMSClientChecker::EscapeRegex(nullptr));
}

TEST(EscapeRegexTest, EscapesExactlyTheSixteenCharacters) {
    EXPECT_EQ("\\.\\[\\]\\*\\+\\?\\|\\^\\$\\{\\}\\\\\\<\\>\\(\\)",
              DMSClientChecker::EscapeRegex(".[]*+?|^${}\\<>()"));
    // Hyphen, slash and other punctuation stay as they are.
    EXPECT_EQ("a-b/c,d:e=f!g#h&i'j\"k%l@m~n`",
              DMSClientChecker::EscapeRegex("a-b/c,d:e=f!g#h&i'j\"k%l@m~n`"));
}

TEST(EscapeRegexTest, OnlyLeadingBlanksAreDroppedNotTabs) {
    EXPECT_EQ("\t a ", DMSClientChecker::EscapeRegex(" \t a "));
    EXPECT_EQ("\\. x", DMSClientChecker::EscapeRegex(" . x"));
    EXPECT_EQ("x  ", DMSClientChecker::EscapeRegex("x  \n"));
}

}  // namespace
