// Loading the process-wide profile list, lookups, shadowing and release.
#include <gtest/gtest.h>

#include <string>

#include "calyx/client.h"
#include "calyx/core.h"
#include "client/profile_list.h"
#include "support/test_support.h"

namespace {

using Calyx::Agent;
using Calyx::DMSClientChecker;

class ProfileListTest : public ::testing::Test {
protected:
    void SetUp() override { DMSClientChecker::ReleaseClientList(); }
    void TearDown() override {
        DMSClientChecker::ReleaseClientList();
        Calyx::DMSLogClose();
    }

    // Writes `json` to a file of the temporary directory and loads it.
    bool Load(const std::string& json, const std::string& name = "profiles.json") {
        std::string path = dir_.file(name);
        calyx_test::WriteFile(path, json);
        return DMSClientChecker::InitProfileList(path);
    }

    // Opens the library log in the temporary directory and returns its path.
    std::string OpenLog() {
        std::string path = dir_.file("calyx.log");
        Calyx::DMSLOGInit(path.c_str());
        return path;
    }

    calyx_test::TempDir dir_;
};

TEST_F(ProfileListTest, LoadsEntriesInFileOrderWithTheirMembers) {
    ASSERT_TRUE(Load(R"({
        // comments are allowed
        "ProfileList": [
            {"profileName": "TV", "dlna": "yes", "samsungtv": "yes",
             "agentopt": "xmres videosrt", "offendchars": "<>&",
             "profileID": {"friendlyName": "TV"},
             "profile@AVC_TS": "container_type@mpegts#video_codec@h264"},
            {"profileName": "Console", "xbox": "yes", "msclient": "yes"}
        ]})"));
    ASSERT_EQ(2u, Calyx::gDMSAgentList.size());
    Agent* tv = Calyx::gDMSAgentList[0];
    EXPECT_EQ("TV", tv->m_profileName);
    EXPECT_EQ(1u | 128u, tv->m_agentType);
    EXPECT_EQ(1u | 256u, tv->m_capability);
    EXPECT_EQ("<>&", tv->m_offendChars);
    ASSERT_EQ(1u, tv->m_profileSettings.size());
    EXPECT_EQ("container_type@mpegts#video_codec@h264", tv->m_profileSettings.at("AVC_TS"));
    EXPECT_EQ("Console", Calyx::gDMSAgentList[1]->m_profileName);
    EXPECT_EQ(2u | 4u, Calyx::gDMSAgentList[1]->m_agentType);
    EXPECT_EQ(tv, DMSClientChecker::GetAgent("TV"));
    EXPECT_EQ(nullptr, DMSClientChecker::GetAgent("tv"));
}

TEST_F(ProfileListTest, MembersAreVisitedInByteOrderSoUpperCaseKeysComeFirst) {
    // "profileA@x" < "profileB@x" < "profilea@x" in byte order, whatever the file order.
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "P",
        "profilea@x": "lower", "profileB@x": "upper B", "profileA@x": "upper A"}]})"));
    Agent* agent = DMSClientChecker::GetAgent("P");
    ASSERT_NE(nullptr, agent);
    EXPECT_EQ("upper A", agent->m_profileSettings.at("x"));
}

TEST_F(ProfileListTest, TypeValueVisitedLastDecides) {
    // "dlna" is visited before "xbox"; both are plain keys, so each sets its own bit.
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "P", "xbox": "no", "dlna": "yes"}]})"));
    EXPECT_EQ(1u, DMSClientChecker::GetAgent("P")->m_agentType);
}

TEST_F(ProfileListTest, FirstOfTwoEntriesWithTheSameNameWins) {
    ASSERT_TRUE(Load(R"({"ProfileList": [
        {"profileName": "TV", "dlna": "yes"},
        {"profileName": "TV", "xbox": "yes", "agentopt": "xmres"}]})"));
    EXPECT_EQ(2u, Calyx::gDMSAgentList.size());
    Agent* agent = DMSClientChecker::GetAgent("TV");
    EXPECT_EQ(Calyx::gDMSAgentList[0], agent);
    EXPECT_EQ(1u, agent->m_agentType);
    EXPECT_EQ(0u, agent->m_capability);
}

TEST_F(ProfileListTest, EntryWithEmptyNameIsLoadedAndMatched) {
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "", "wmp": "yes"}]})"));
    ASSERT_EQ(1u, Calyx::gDMSAgentList.size());
    DMSClientChecker checker("", "", false);
    EXPECT_EQ(Calyx::gDMSAgentList[0], checker.m_agent);
    EXPECT_TRUE(checker.m_isWMP);
}

TEST_F(ProfileListTest, EntriesWithoutNameAreSkipped) {
    ASSERT_TRUE(Load(R"({"ProfileList": [
        {"dlna": "yes"}, {"profileName": null, "dlna": "yes"}, {"profileName": []},
        {"profileName": {}}, {"profileName": "kept"}]})"));
    ASSERT_EQ(1u, Calyx::gDMSAgentList.size());
    EXPECT_EQ("kept", Calyx::gDMSAgentList[0]->m_profileName);
}

TEST_F(ProfileListTest, MissingProfileListLoadsNothingButSucceeds) {
    EXPECT_TRUE(Load(R"({"Other": []})"));
    EXPECT_TRUE(Load(R"({})"));
    EXPECT_TRUE(Calyx::gDMSAgentList.empty());
}

TEST_F(ProfileListTest, UnopenableFileFailsWithAMessageAndKeepsTheList) {
    std::string log = OpenLog();
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "A"}]})"));
    std::string missing = dir_.file("missing.json");
    EXPECT_FALSE(DMSClientChecker::InitProfileList(missing));
    EXPECT_EQ(1u, Calyx::gDMSAgentList.size());
    std::string text = calyx_test::ReadFile(log);
    EXPECT_NE(std::string::npos, text.find(" Error: DMSClientChecker::InitProfileList - " +
                                           missing + " could not open\n"))
        << text;
}

TEST_F(ProfileListTest, InvalidJsonFailsWithAMessageAndKeepsTheList) {
    std::string log = OpenLog();
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "A"}]})"));
    for (const char* bad : {"{\"ProfileList\": [", "", "not json", "{'a': 1}",
                            "{\"ProfileList\": [{\"profileName\": \"B\",}]}"}) {
        EXPECT_FALSE(Load(bad, "bad.json")) << bad;
    }
    EXPECT_EQ(1u, Calyx::gDMSAgentList.size());
    std::string text = calyx_test::ReadFile(log);
    EXPECT_NE(
        std::string::npos,
        text.find(" Error: DMSClientChecker::InitProfileList - Json::Reader::parse failed\n"));
}

TEST_F(ProfileListTest, NoMessageWhenTheLogLevelIsNegative) {
    std::string log = OpenLog();
    Calyx::DMSLOGSetLevel(static_cast<Calyx::DMSLOG_LEVEL>(-1));
    EXPECT_FALSE(DMSClientChecker::InitProfileList(dir_.file("missing.json")));
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);
    EXPECT_EQ("", calyx_test::ReadFile(log));
}

TEST_F(ProfileListTest, DeeplyNestedDocumentFailsToParseInsteadOfCrashing) {
    std::string deep =
        "{\"ProfileList\": " + std::string(100000, '[') + std::string(100000, ']') + "}";
    EXPECT_FALSE(Load(deep));
    EXPECT_TRUE(Calyx::gDMSAgentList.empty());
}

TEST_F(ProfileListTest, SecondLoadAppendsAndFirstAgentsKeepShadowing) {
    std::string json = R"({"ProfileList": [{"profileName": "TV", "dlna": "yes"}]})";
    ASSERT_TRUE(Load(json));
    Agent* first = DMSClientChecker::GetAgent("TV");
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "TV", "xbox": "yes"}]})", "other.json"));
    ASSERT_TRUE(Load(json));
    EXPECT_EQ(3u, Calyx::gDMSAgentList.size());
    EXPECT_EQ(first, DMSClientChecker::GetAgent("TV"));
    EXPECT_EQ(1u, DMSClientChecker::GetAgent("TV")->m_agentType);
}

TEST_F(ProfileListTest, LoadingTheSameFileTwiceDoublesTheList) {
    std::string path = dir_.file("same.json");
    calyx_test::WriteFile(path, R"({"ProfileList": [{"profileName": "A"}, {"profileName": "B"}]})");
    ASSERT_TRUE(DMSClientChecker::InitProfileList(path));
    Agent* a = DMSClientChecker::GetAgent("A");
    Agent* b = DMSClientChecker::GetAgent("B");
    ASSERT_TRUE(DMSClientChecker::InitProfileList(path));
    ASSERT_EQ(4u, Calyx::gDMSAgentList.size());
    EXPECT_EQ("A", Calyx::gDMSAgentList[2]->m_profileName);
    EXPECT_NE(a, Calyx::gDMSAgentList[2]);
    EXPECT_EQ(a, DMSClientChecker::GetAgent("A"));
    EXPECT_EQ(b, DMSClientChecker::GetAgent("B"));
}

TEST_F(ProfileListTest, ReleaseEmptiesTheListUntilTheNextLoad) {
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "TV"}, {"profileName": "PC"}]})"));
    DMSClientChecker::ReleaseClientList();
    EXPECT_TRUE(Calyx::gDMSAgentList.empty());
    EXPECT_EQ(nullptr, DMSClientChecker::GetAgent("TV"));
    EXPECT_EQ(nullptr, DMSClientChecker::GetAgent("PC"));
    DMSClientChecker::ReleaseClientList();  // releasing an empty list is harmless
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "PC", "wmp": "yes"}]})"));
    ASSERT_NE(nullptr, DMSClientChecker::GetAgent("PC"));
    EXPECT_EQ(8u, DMSClientChecker::GetAgent("PC")->m_agentType);
    EXPECT_EQ(nullptr, DMSClientChecker::GetAgent("TV"));
}

TEST_F(ProfileListTest, ScalarValuesReadAsText) {
    ASSERT_TRUE(Load(R"({"ProfileList": [
        {"profileName": 42, "dlna": true, "profile@n": 1080, "profile@b": false,
         "profile@z": null, "offendchars": 7}]})"));
    Agent* agent = DMSClientChecker::GetAgent("42");
    ASSERT_NE(nullptr, agent);
    EXPECT_EQ(0u, agent->m_agentType);  // true reads as "true", not "yes"
    EXPECT_EQ("1080", agent->m_profileSettings.at("n"));
    EXPECT_EQ("false", agent->m_profileSettings.at("b"));
    EXPECT_EQ("", agent->m_profileSettings.at("z"));
    EXPECT_EQ("7", agent->m_offendChars);
}

TEST_F(ProfileListTest, WrongTypedMembersAreIgnoredAndTheRestLoads) {
    ASSERT_TRUE(Load(R"({"ProfileList": [
        {"profileName": "P", "dlna": ["yes"], "xbox": "yes", "agentopt": {"a": "xmres"},
         "offendchars": ["<"], "profile@a": {"x": 1}, "profile@b": "ext@mkv",
         "profileID": "not an object"}]})"));
    Agent* agent = DMSClientChecker::GetAgent("P");
    ASSERT_NE(nullptr, agent);
    EXPECT_EQ(2u, agent->m_agentType);
    EXPECT_EQ(0u, agent->m_capability);
    EXPECT_EQ("", agent->m_offendChars);
    ASSERT_EQ(1u, agent->m_profileSettings.size());
    EXPECT_EQ("ext@mkv", agent->m_profileSettings.at("b"));
}

TEST_F(ProfileListTest, WrongTypedProfileListOrEntriesLoadWhatTheyCan) {
    EXPECT_TRUE(Load(R"({"ProfileList": {"profileName": "A"}})"));
    EXPECT_TRUE(Load(R"({"ProfileList": "A"})"));
    EXPECT_TRUE(Load(R"({"ProfileList": 3})"));
    EXPECT_TRUE(Load(R"([{"ProfileList": [{"profileName": "A"}]}])"));
    EXPECT_TRUE(Load(R"("ProfileList")"));
    EXPECT_TRUE(Load(R"(17)"));
    EXPECT_TRUE(Calyx::gDMSAgentList.empty());
    EXPECT_TRUE(Load(R"({"ProfileList": [1, "two", null, [3], true,
        {"profileName": ["x", "y"]}, {"profileName": "ok", "dlna": "yes"}]})"));
    ASSERT_EQ(1u, Calyx::gDMSAgentList.size());
    EXPECT_EQ("ok", Calyx::gDMSAgentList[0]->m_profileName);
}

TEST_F(ProfileListTest, LoadedRulesAreUsedForVideoProfiles) {
    ASSERT_TRUE(Load(R"({"ProfileList": [{"profileName": "TV",
        "profile@MKV": "ext@mkv", "profile@TS": "container_type@mpegts"}]})"));
    DMSClientChecker checker("", "TV", false);
    ZEVO_MEDIA_INFO item{};
    snprintf(item.path, sizeof item.path, "%s", "/v/a.ts");
    snprintf(item.container_type, sizeof item.container_type, "%s", "MPEGTS");
    EXPECT_EQ("TS", checker.getVideoProfileName(&item));
}

}  // namespace

namespace {

// The names a host may offer for a client: exactly the agents the load made, in order,
// each once, including names that are not JSON strings and none of the skipped entries.
TEST_F(ProfileListTest, LoadedProfileNamesAreTheAgentsMade) {
    EXPECT_TRUE(Calyx::LoadedProfileNames().empty());
    ASSERT_TRUE(Load(R"({"ProfileList": [
        {"profileName": "TV A", "dlna": "yes"},
        {"profileName": 42},
        {"profileName": true},
        {"profileName": ["not", "text"]},
        {"offendchars": "no name"},
        "not an object",
        {"profileName": "TV A", "xbox": "yes"},
        {"profileName": "Player B"}
    ]})"));
    EXPECT_EQ(Calyx::LoadedProfileNames(),
              (std::vector<std::string>{"TV A", "42", "true", "Player B"}));
    for (const std::string& name : Calyx::LoadedProfileNames())
        EXPECT_NE(DMSClientChecker::GetAgent(name), nullptr) << name;
    DMSClientChecker::ReleaseClientList();
    EXPECT_TRUE(Calyx::LoadedProfileNames().empty());
}

}  // namespace
