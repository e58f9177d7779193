// The extensions of calyx/ext.h agree with the library operations they are built on.
#include <gtest/gtest.h>
#include <json/reader.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

Json::Value Entry(const std::string& json) {
    return ParseJson(json);
}

// Number of entries of a client list document ("ClientList" absent or not an array: 0).
size_t ClientCount(const Json::Value& document) {
    if (!document.isObject() || !document.isMember("ClientList") ||
        !document["ClientList"].isArray())
        return 0;
    return document["ClientList"].size();
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

TEST(ExtFiles, UnreadableFileReasonNamesTheKind) {
    TempDir dir;
    WriteFile(dir.file("plain"), "x");
    EXPECT_EQ(Calyx::UnreadableFileReason(dir.file("plain")), "");
    ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);
    EXPECT_EQ(Calyx::UnreadableFileReason(dir.file("fifo")), "is a FIFO");
    EXPECT_EQ(Calyx::UnreadableFileReason(dir.path()), "is a directory");
    EXPECT_EQ(Calyx::UnreadableFileReason("/dev/null"), "is a character device");
    int sock = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(sock, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::string sockPath = dir.file("sock");
    if (sockPath.size() < sizeof addr.sun_path) {
        memcpy(addr.sun_path, sockPath.c_str(), sockPath.size() + 1);
        ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
        EXPECT_EQ(Calyx::UnreadableFileReason(sockPath), "is a socket");
    }
    close(sock);
    EXPECT_EQ(Calyx::UnreadableFileReason(dir.file("missing")).rfind("cannot open: ", 0), 0u);
}

const char kStartUpProfiles[] = R"({"ProfileList": [
    {"profileName": "Player", "profileID": {"open_user-agent": "Player/"}} ]})";

TEST(ExtStartUp, MissingClientListStartsEmptyAndStillMatches) {
    ScopedRoot root;
    const std::string profiles = root.write("/p.json", kStartUpProfiles);
    const std::string clients = root.resolve(kClientListFixedPath);
    const std::map<std::string, std::string> headers = {{"user-agent", "Player/2.0"}};

    // What Load does on a fresh box: no records, so the client gets the default profile.
    Calyx::DMSClientList loaded;
    EXPECT_FALSE(loaded.Load(clients, profiles));
    ASSERT_EQ(loaded.UpdateKeys("WebSerOpen", "m1", "10.0.0.1", headers), 1);
    EXPECT_EQ(loaded.FindKey("m1", "profileName"), "Default Profile");

    Calyx::DMSClientList list;
    EXPECT_TRUE(Calyx::ClientListStartUp(list, clients, profiles));
    EXPECT_EQ(Calyx::ClientListDocument(list).toStyledString(),
              Entry(R"({"ClientList": []})").toStyledString());
    ASSERT_EQ(list.UpdateKeys("WebSerOpen", "m1", "10.0.0.1", headers), 1);
    EXPECT_EQ(list.FindKey("m1", "profileName"), "Player");
    MakeDirs(root.resolve("/var/packages/Calyx/etc"));
    ASSERT_EQ(list.WriteToFile(), 1);
    Calyx::DMSClientList next;
    EXPECT_TRUE(next.Load(clients, profiles));
    EXPECT_EQ(next.FindKey("m1", "profileName"), "Player");
}

TEST(ExtStartUp, UnparsableClientListBehavesAsLoadClientList) {
    TempDir dir;
    WriteFile(dir.file("p.json"), kStartUpProfiles);
    WriteFile(dir.file("c.json"), R"({"ClientList": [{"macAddr": "m1"}] )");
    Calyx::DMSClientList reference;
    EXPECT_EQ(reference.LoadClientList(dir.file("c.json")), 0);
    Calyx::DMSClientList list;
    EXPECT_TRUE(Calyx::ClientListStartUp(list, dir.file("c.json"), dir.file("p.json")));
    EXPECT_EQ(Calyx::ClientListDocument(list).toStyledString(),
              Calyx::ClientListDocument(reference).toStyledString());
    ASSERT_EQ(list.UpdateKeys("WebSerOpen", "m2", "ip", {{"user-agent", "Player/1"}}), 1);
    EXPECT_EQ(list.FindKey("m2", "profileName"), "Player") << "the records are loaded anyway";

    // A client list that exists but cannot be opened (a directory) is not replaced.
    Calyx::DMSClientList fromDirectory;
    EXPECT_TRUE(Calyx::ClientListStartUp(fromDirectory, dir.path(), dir.file("p.json")));
    EXPECT_TRUE(Calyx::ClientListDocument(fromDirectory).isNull());
}

TEST(ExtStartUp, FalseOnlyWhenTheProfileListFails) {
    TempDir dir;
    WriteFile(dir.file("c.json"), R"({"ClientList": [{"macAddr": "m1"}]})");
    WriteFile(dir.file("bad.json"), "{");
    Calyx::DMSClientList missing;
    EXPECT_FALSE(Calyx::ClientListStartUp(missing, dir.file("c.json"), dir.file("none.json")));
    EXPECT_EQ(ClientCount(Calyx::ClientListDocument(missing)), 1u);
    Calyx::DMSClientList unparsable;
    EXPECT_FALSE(Calyx::ClientListStartUp(unparsable, dir.file("none"), dir.file("bad.json")));
    EXPECT_EQ(ClientCount(Calyx::ClientListDocument(unparsable)), 0u);
}

TEST(ExtHeaderKeys, NamesLoweredAndTheFirstValueKept) {
    const std::map<std::string, std::string> keys = Calyx::ClientHeaderKeys(
        {{"User-Agent", "first"}, {"HOST", "h"}, {"user-agent", "second"}, {"X-Empty", ""}});
    const std::map<std::string, std::string> expected = {
        {"host", "h"}, {"user-agent", "first"}, {"x-empty", ""}};
    EXPECT_EQ(keys, expected);
    EXPECT_TRUE(Calyx::ClientHeaderKeys({}).empty());

    // The helper's map is what profiles written with "open_user-agent" match.
    TempDir dir;
    WriteFile(dir.file("p.json"), kStartUpProfiles);
    Calyx::DMSClientList list;
    ASSERT_TRUE(Calyx::ClientListStartUp(list, dir.file("none.json"), dir.file("p.json")));
    list.UpdateKeys("WebSerOpen", "raw", "ip1", {{"User-Agent", "Player/1"}});
    list.UpdateKeys("WebSerOpen", "helped", "ip2",
                    Calyx::ClientHeaderKeys({{"User-Agent", "Player/1"}}));
    EXPECT_EQ(list.FindKey("raw", "profileName"), "Default Profile");
    EXPECT_EQ(list.FindKey("helped", "profileName"), "Player");
}

TEST(ExtClientList, RemoveDropsTheEntryAndKeepsLookupsRight) {
    TempDir dir;
    WriteFile(dir.file("c.json"), R"({"ClientList": [
        {"macAddr": "m1", "ipAddr": "i1"}, {"macAddr": "m2", "ipAddr": "i2"},
        {"macAddr": "m3", "ipAddr": "i3"}]})");
    Calyx::DMSClientList list;
    ASSERT_EQ(list.LoadClientList(dir.file("c.json")), 1);
    EXPECT_EQ(Calyx::ClientListRemove(list, "M2"), 0) << "MACs are compared exactly";
    EXPECT_EQ(Calyx::ClientListRemove(list, "m2"), 1);
    EXPECT_EQ(Calyx::ClientListRemove(list, "m2"), 0);
    unsigned int index = 99;
    EXPECT_FALSE(list.VerifyMacIsExist("m2", index));
    ASSERT_TRUE(list.VerifyMacIsExist("m3", index));
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(list.FindMacByIP("i3"), "m3");
    EXPECT_EQ(list.FindMacByIP("i2"), "");
    EXPECT_EQ(ClientCount(Calyx::ClientListDocument(list)), 2u);
    ASSERT_EQ(list.UpdateKeys("WebSerOpen", "m2", "i9", {}), 1);
    ASSERT_TRUE(list.VerifyMacIsExist("m2", index));
    EXPECT_EQ(index, 2u) << "a removed client comes back as a new entry at the end";

    Calyx::DMSClientList empty;
    EXPECT_EQ(Calyx::ClientListRemove(empty, "m1"), 0);

    // The same removal on a document, as an edit of ClientListApply makes it; an entry
    // without "macAddr" hides the ones behind it, as in VerifyMacIsExist.
    Json::Value document =
        Entry(R"({"ClientList": [{"macAddr": "a"}, {"ipAddr": "x"}, {"macAddr": "b"}]})");
    EXPECT_FALSE(Calyx::RemoveClientEntry(document, "b"));
    EXPECT_TRUE(Calyx::RemoveClientEntry(document, "a"));
    EXPECT_EQ(document["ClientList"].size(), 2u);
    EXPECT_EQ(document["ClientList"][0]["ipAddr"].asString(), "x");
    Json::Value notAList = Entry(R"({"ClientList": {"macAddr": "a"}})");
    EXPECT_FALSE(Calyx::RemoveClientEntry(notAList, "a"));
}

}  // namespace
}  // namespace calyx_test
