// Client identification with hostile arguments and profile lists of every wrong JSON
// type: nothing may be thrown across the boundary.
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "support/no_throw.h"
#include "support/test_support.h"

using Calyx::DMSClientChecker;
using calyx_sweep::HostileStrings;

namespace {

// Every JSON type in every place the profile list loader reads.
std::vector<std::string> WrongTypedProfileLists() {
    const std::vector<std::string> values = {
        "null", "true", "0", "-1.5e300", "\"text\"", "[]", "[1,\"a\",null]", "{}", "{\"a\":{}}"};
    std::vector<std::string> lists = {"", "not json", "[", "{\"ProfileList\":", "/* only */"};
    for (const std::string& v : values) {
        lists.push_back(v);
        lists.push_back("{\"ProfileList\": " + v + "}");
        lists.push_back("{\"ProfileList\": [" + v + "]}");
        for (const char* member : {"profileName", "offendchars", "dlna", "agentopt", "profile@hd",
                                   "profileID", "xbox"}) {
            lists.push_back(std::string("{\"ProfileList\": [{\"profileName\": \"P\", \"") + member +
                            "\": " + v + "}]}");
        }
    }
    return lists;
}

ZEVO_MEDIA_INFO OddItem() {
    ZEVO_MEDIA_INFO item{};
    snprintf(item.path, sizeof item.path, "%s", "/a.b/no-extension.");
    item.resolutionx = -2147483647 - 1;
    item.resolutiony = 2147483647;
    item.frame_rate_den = 0;
    item.channel = -1;
    item.video_bitrate = 0xffffffffu;
    return item;
}

class ClientSweep : public testing::Test {
protected:
    void SetUp() override {
        calyx_sweep::InstallTerminateReport();
        DMSClientChecker::ReleaseClientList();
    }
    void TearDown() override { DMSClientChecker::ReleaseClientList(); }
    calyx_test::TempDir dir_;
};

TEST_F(ClientSweep, WrongTypedProfileListsLoadWithoutThrowing) {
    std::string path = dir_.file("profiles.json");
    ZEVO_MEDIA_INFO item = OddItem();
    for (const std::string& list : WrongTypedProfileLists()) {
        calyx_test::WriteFile(path, list);
        SCOPED_TRACE(list);
        EXPECT_NO_ESCAPE(DMSClientChecker::InitProfileList(path));
        for (const char* name : {"P", "Default Profile", ""}) {
            EXPECT_NO_ESCAPE(DMSClientChecker(name, name, true).getVideoProfileName(&item));
            EXPECT_NO_ESCAPE(DMSClientChecker::GetAgent(name));
        }
        DMSClientChecker::ReleaseClientList();
    }
}

TEST_F(ClientSweep, MissingUnreadableAndOddProfileListFiles) {
    EXPECT_FALSE(DMSClientChecker::InitProfileList(dir_.file("absent.json")));
    EXPECT_FALSE(DMSClientChecker::InitProfileList(dir_.path()));
    EXPECT_FALSE(DMSClientChecker::InitProfileList(""));
    EXPECT_NO_ESCAPE(DMSClientChecker::InitProfileList(std::string("a\0b", 3)));
    if (!calyx_test::RunningAsRoot()) {
        std::string path = dir_.file("locked.json");
        calyx_test::WriteFile(path, "{\"ProfileList\": []}");
        ASSERT_EQ(chmod(path.c_str(), 0), 0);
        EXPECT_FALSE(DMSClientChecker::InitProfileList(path));
    }
    EXPECT_EQ(DMSClientChecker::GetAgent("anything"), nullptr);
}

TEST_F(ClientSweep, HostileArgumentsToEveryMethod) {
    std::string path = dir_.file("profiles.json");
    calyx_test::WriteFile(path, R"({"ProfileList": [{"profileName": "P", "dlna": "yes",
        "profile@a": "ext@mkv#resolutionx@1~1920", "profile@b": "channel@~#frame_rate_den@0~"}]})");
    ASSERT_TRUE(DMSClientChecker::InitProfileList(path));
    ZEVO_MEDIA_INFO item = OddItem();
    for (const std::string& s : HostileStrings()) {
        EXPECT_NO_ESCAPE(DMSClientChecker::EscapeRegex(s.c_str()));
        EXPECT_NO_ESCAPE(DMSClientChecker::GetAgent(s));
        DMSClientChecker checker(s, "P", false);
        EXPECT_NO_ESCAPE(checker.getVideoProfileName(&item));
        EXPECT_NO_ESCAPE(checker.checkIsSatisfyValue(s, s));
        int value = 5;
        EXPECT_NO_ESCAPE(checker.checkIsSatisfyRange(s, value));
        std::string low, high;
        EXPECT_NO_ESCAPE(checker.getRangeBySetting(s, low, high));
        EXPECT_NO_ESCAPE(checker.GetOffendChar());
        DMSClientChecker other("", s, true);
        EXPECT_NO_ESCAPE(other.getVideoProfileName(&item));
        Calyx::Agent agent(s);
        EXPECT_NO_ESCAPE(agent.setPair(s, s));
        EXPECT_NO_ESCAPE(agent.setPair("profile@" + s, s));
        EXPECT_NO_ESCAPE(agent.setPair("agentopt", s));
        EXPECT_NO_ESCAPE(agent.checkProfileName(s));
        EXPECT_NO_ESCAPE(Calyx::ExplainVideoProfiles(&agent, &item));
    }
    EXPECT_EQ(DMSClientChecker::EscapeRegex(nullptr), "");
    DMSClientChecker checker("", "P", false);
    EXPECT_EQ(checker.getVideoProfileName(nullptr), "");
    EXPECT_TRUE(Calyx::ExplainVideoProfiles(nullptr, &item).empty());
    EXPECT_TRUE(Calyx::ExplainVideoProfiles(checker.m_agent, nullptr).empty());
}

}  // namespace
