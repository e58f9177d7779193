// The extensions of calyx/ext.h agree with the library operations they are built on.
#include <gtest/gtest.h>
#include <json/reader.h>

#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

Json::Value Entry(const std::string& json) {
    Json::Value v;
    Json::Reader().parse(json, v);
    return v;
}

const char kProfiles[] = R"({"ProfileList": [
    {"profileName": "A", "profileID": {"modelName": "TV", "manufacturer": "Acme"}},
    {"profileName": "B", "profileID": {"modelName": "TV"}},
    {"profileName": "Any", "profileID": "not an object"},
    {"profileName": "C", "profileID": {"friendlyName": "Den"}} ]})";

TEST(ExtMatchReport, FirstMatchedStepIsWhatTheMatchChooses) {
    TempDir dir;
    WriteFile(dir.file("p.json"), kProfiles);
    Calyx::DMSClientList list;
    ASSERT_EQ(list.LoadProfileIDList(dir.file("p.json")), 1);
    const char* entries[] = {
        R"({"modelName": "Smart TV", "manufacturer": "Acme"})",
        R"({"modelName": "Smart TV", "manufacturer": "Other"})",
        R"({"friendlyName": "Den"})",
        R"({})",
        R"({"modelName": ["TV"]})",
    };
    for (const char* json : entries) {
        const Json::Value entry = Entry(json);
        std::string chosen;
        list.DetermineOrigProfileName(entry, chosen);
        std::vector<Calyx::ProfileIDStep> steps = Calyx::ExplainOrigProfileName(list, entry);
        ASSERT_EQ(steps.size(), 4u) << json;
        std::string first = "Default Profile";
        for (const auto& s : steps)
            if (s.matched) {
                first = s.profileName;
                break;
            }
        EXPECT_EQ(first, chosen) << json;
        EXPECT_TRUE(steps[2].matched) << "a profileID that is not an object matches every client";
    }
    std::vector<Calyx::ProfileIDStep> steps = Calyx::ExplainOrigProfileName(
        list, Entry(R"({"modelName": "Smart TV", "manufacturer": "Other"})"));
    EXPECT_EQ(steps[0].failedKey, "manufacturer");
    EXPECT_EQ(steps[0].required, "Acme");
    EXPECT_TRUE(steps[0].clientHasKey);
    EXPECT_EQ(steps[0].clientValue, "Other");
    EXPECT_TRUE(steps[1].matched);
}

TEST(ExtNames, TablesAreTheOnesSetPairReads) {
    std::vector<std::string> types = Calyx::AgentTypeNames();
    std::vector<std::string> options = Calyx::AgentCapabilityNames();
    ASSERT_EQ(types.size(), 8u);
    ASSERT_EQ(options.size(), 18u);
    for (size_t i = 0; i < types.size(); ++i) {
        Calyx::Agent agent("x");
        agent.setPair(types[i], "yes");
        EXPECT_EQ(agent.m_agentType, 1u << i) << types[i];
        EXPECT_EQ(Calyx::AgentTypeNamesOf(agent.m_agentType), std::vector<std::string>{types[i]});
    }
    for (size_t i = 0; i < options.size(); ++i) {
        Calyx::Agent agent("x");
        agent.setPair("agentopt", options[i]);
        EXPECT_EQ(agent.m_capability, 1u << i) << options[i];
    }
    EXPECT_EQ(Calyx::AgentCapabilityNamesOf(3u), (std::vector<std::string>{"xmres", "transwav"}));
}

TEST(ExtRules, SplitReadsRulesAsSelectionDoes) {
    std::vector<std::string> keys = Calyx::VideoProfileConditionKeys();
    ASSERT_EQ(keys.size(), 12u);
    EXPECT_EQ(keys.front(), "ext@");
    EXPECT_EQ(keys.back(), "channel@");
    auto conditions =
        Calyx::SplitVideoProfileRule("channel@2#xxvideo_codec@h264#ext@mkv#channel@1~6#foo@bar");
    ASSERT_EQ(conditions.size(), 3u);
    EXPECT_EQ(conditions[0].key, "ext@");  // evaluation order, not rule order
    EXPECT_TRUE(conditions[0].isList);
    EXPECT_EQ(conditions[1].key, "video_codec@");
    EXPECT_EQ(conditions[1].value, "h264");
    EXPECT_EQ(conditions[2].value, "1~6");  // the later piece wins
    EXPECT_FALSE(conditions[2].isList);
    EXPECT_TRUE(Calyx::SplitVideoProfileRule("#").empty());
}

TEST(ExtJsonFile, ErrorsCarryLineAndColumn) {
    TempDir dir;
    WriteFile(dir.file("ok.json"), "// comment\n{\"a\": 1}\n");
    Json::Value root;
    Calyx::JsonFileError error;
    EXPECT_TRUE(Calyx::ReadJsonFile(dir.file("ok.json"), root, &error));
    EXPECT_EQ(root["a"].asInt(), 1);
    WriteFile(dir.file("bad.json"), "{\n  \"a\": 1,\n  \"b\" 2\n}\n");
    EXPECT_FALSE(Calyx::ReadJsonFile(dir.file("bad.json"), root, &error));
    EXPECT_EQ(error.line, 3);
    EXPECT_EQ(error.column, 7);
    EXPECT_FALSE(Calyx::ReadJsonFile(dir.file("missing.json"), root, &error));
    EXPECT_EQ(error.line, 0);
    EXPECT_NE(error.message.find("cannot open"), std::string::npos);
    EXPECT_FALSE(Calyx::ReadJsonFile(dir.file("bad.json"), root, nullptr));
}

TEST(ExtClientList, SetMemberWriteToAndEntry) {
    TempDir dir;
    WriteFile(
        dir.file("c.json"),
        R"({"ClientList": [{"macAddr": "m1", "profileName_Orig": "B", "profileName": "B"}]})");
    Calyx::DMSClientList list;
    ASSERT_EQ(list.LoadClientList(dir.file("c.json")), 1);
    EXPECT_EQ(Calyx::ClientListSetMember(list, "m1", "profileName_UserSelected", Json::Value("A")),
              1);
    EXPECT_EQ(list.FindKey("m1", "profileName"), "A");
    EXPECT_EQ(Calyx::ClientListSetMember(list, "m2", "isAccess", Json::Value(true)), 0);
    EXPECT_EQ(Calyx::ClientListSetMember(list, "m1", "macAddr", Json::Value("x")), 0);
    EXPECT_EQ(Calyx::ClientListSetMember(list, "m1", "profileName_UserSelected", Json::Value()), 1);
    Json::Value entry;
    ASSERT_TRUE(Calyx::ClientListEntry(list, "m1", entry));
    EXPECT_EQ(entry["profileName"].asString(), "B");
    EXPECT_FALSE(Calyx::ClientListEntry(list, "m2", entry));

    std::string error;
    ASSERT_EQ(Calyx::ClientListWriteTo(list, dir.file("out.json"), &error), 1) << error;
    EXPECT_NE(ReadFile(dir.file("out.json")).find("\n\t\"ClientList\""), std::string::npos);
    EXPECT_EQ(Calyx::ClientListWriteTo(list, dir.file("no/such/dir/out.json"), &error), 0);
    EXPECT_FALSE(error.empty());
}

}  // namespace
}  // namespace calyx_test
