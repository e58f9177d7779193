// Loading, saving and the lookups of the client list store.
#include <gtest/gtest.h>

#include "calyx/client_list.h"
#include "client_list_test_util.h"

using calyx_test::kClientListFixedPath;
using calyx_test::LogWatch;
using calyx_test::ParseJson;
using calyx_test::ReadFile;

namespace {

class ClientListStore : public ::testing::Test {
protected:
    std::string ClientPath() const { return root_.resolve(kClientListFixedPath); }
    std::string ProfilePath() const { return root_.resolve("/host/profiles.json"); }
    void WriteClients(const std::string& json) { root_.write(kClientListFixedPath, json); }
    void WriteProfiles(const std::string& json) { root_.write("/host/profiles.json", json); }
    bool LoadBoth(Calyx::DMSClientList& list) { return list.Load(ClientPath(), ProfilePath()); }
    Json::Value Saved() const { return ParseJson(ReadFile(ClientPath())); }

    calyx_test::ScopedRoot root_;
};

const char* kThreeClients = R"({"ClientList": [
  {"macAddr": "aa:00", "ipAddr": "10.0.0.1", "displayName": "one"},
  {"macAddr": "aa:01", "ipAddr": "10.0.0.2", "displayName": "two"},
  {"macAddr": "aa:02", "ipAddr": "10.0.0.3", "displayName": "three"}]})";

TEST_F(ClientListStore, EmptyRootObjectLoadsAndFirstLookupAddsNullClientList) {
    WriteClients("{}");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    ASSERT_EQ(list.WriteToFile(), 1);
    EXPECT_FALSE(Saved().isMember("ClientList"));
    unsigned int index = 7;
    EXPECT_FALSE(list.VerifyMacIsExist("aa:00", index));
    EXPECT_EQ(index, 7u);
    ASSERT_EQ(list.WriteToFile(), 1);
    Json::Value saved = Saved();
    ASSERT_TRUE(saved.isMember("ClientList"));
    EXPECT_TRUE(saved["ClientList"].isNull());
}

TEST_F(ClientListStore, FindsEntriesByMacAndIp) {
    WriteClients(kThreeClients);
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    unsigned int index = 0;
    ASSERT_TRUE(list.VerifyMacIsExist("aa:02", index));
    EXPECT_EQ(index, 2u);
    EXPECT_EQ(list.FindMacByIP("10.0.0.2"), "aa:01");
    EXPECT_EQ(list.FindMacByIP("10.0.0.9"), "");
    EXPECT_EQ(list.FindKey("aa:00", "displayName"), "one");
    EXPECT_EQ(list.FindKey("bb:00", "displayName"), "");
}

TEST_F(ClientListStore, EntryWithoutMacHidesEveryLaterEntry) {
    WriteClients(R"({"ClientList": [
      {"macAddr": "aa:00", "ipAddr": "10.0.0.1", "displayName": "one"},
      {"ipAddr": "10.0.0.2", "displayName": "no mac"},
      {"macAddr": "aa:02", "ipAddr": "10.0.0.3", "displayName": "three"}]})");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    unsigned int index = 9;
    EXPECT_TRUE(list.VerifyMacIsExist("aa:00", index));
    EXPECT_EQ(index, 0u);
    EXPECT_FALSE(list.VerifyMacIsExist("aa:02", index));
    EXPECT_EQ(index, 0u);
    EXPECT_EQ(list.FindKey("aa:02", "displayName"), "");
    EXPECT_EQ(list.EraseObject("aa:02"), 0);
    // The IP scan is not stopped by a missing MAC: the later entry is found by its IP.
    EXPECT_EQ(list.FindMacByIP("10.0.0.3"), "aa:02");
    // An entry found by IP without a MAC yields the empty text.
    EXPECT_EQ(list.FindMacByIP("10.0.0.2"), "");
}

TEST_F(ClientListStore, EntryWithoutIpHidesLaterEntriesFromFindMacByIP) {
    WriteClients(R"({"ClientList": [
      {"macAddr": "aa:00", "ipAddr": "10.0.0.1"},
      {"macAddr": "aa:01"},
      {"macAddr": "aa:02", "ipAddr": "10.0.0.3"}]})");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    EXPECT_EQ(list.FindMacByIP("10.0.0.1"), "aa:00");
    EXPECT_EQ(list.FindMacByIP("10.0.0.3"), "");
    unsigned int index = 0;
    EXPECT_TRUE(list.VerifyMacIsExist("aa:02", index));
    EXPECT_EQ(index, 2u);
}

TEST_F(ClientListStore, EarlierEntryWinsForSharedIp) {
    WriteClients(R"({"ClientList": [
      {"macAddr": "aa:00", "ipAddr": "10.0.0.5"},
      {"macAddr": "aa:01", "ipAddr": "10.0.0.5"}]})");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    EXPECT_EQ(list.FindMacByIP("10.0.0.5"), "aa:00");
}

TEST_F(ClientListStore, MacComparisonIsExact) {
    WriteClients(R"({"ClientList": [{"macAddr": "aa:bb:cc:dd:ee:ff", "ipAddr": "10.0.0.1"}]})");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    unsigned int index = 0;
    EXPECT_TRUE(list.VerifyMacIsExist("aa:bb:cc:dd:ee:ff", index));
    EXPECT_FALSE(list.VerifyMacIsExist("AA:BB:CC:DD:EE:FF", index));
    EXPECT_FALSE(list.VerifyMacIsExist("aa:bb:cc:dd:ee:ff ", index));
    // An update with the upper-case form creates a second client.
    ASSERT_EQ(list.UpdateKeys("WebSerOpen", "AA:BB:CC:DD:EE:FF", "10.0.0.1", {}), 1);
    ASSERT_TRUE(list.VerifyMacIsExist("AA:BB:CC:DD:EE:FF", index));
    EXPECT_EQ(index, 1u);
}

TEST_F(ClientListStore, EraseObjectKeepsIdentityAccessAndUserAgents) {
    WriteClients(R"({"ClientList": [{"macAddr": "aa:00", "isAccess": false,
      "ipAddr": "10.0.0.1", "displayName": "TV", "open_user-agent": "ua1",
      "browse_user-agent": "ua2", "open_x-extra": "x"}]})");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    ASSERT_EQ(list.EraseObject("aa:00"), 1);
    ASSERT_EQ(list.WriteToFile(), 1);
    Json::Value entry = Saved()["ClientList"][0];
    EXPECT_EQ(entry.getMemberNames(), (std::vector<std::string>{"browse_user-agent", "isAccess",
                                                                "macAddr", "open_user-agent"}));
    EXPECT_EQ(entry["isAccess"], Json::Value(false));
    EXPECT_EQ(entry["open_user-agent"], Json::Value("ua1"));
    // The stripped entry has no IP any more, so it now ends the IP scan.
    EXPECT_EQ(list.FindMacByIP("10.0.0.1"), "");
    EXPECT_EQ(list.EraseObject("zz"), 0);
}

TEST_F(ClientListStore, FindKeyOfEmptyStringOrMissingMemberIsEmptyAndMissingOneIsSavedAsNull) {
    WriteClients(R"({"ClientList": [{"macAddr": "aa:00", "ipAddr": "1", "friendlyName": ""}]})");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    EXPECT_EQ(list.FindKey("aa:00", "friendlyName"), "");
    EXPECT_EQ(list.FindKey("aa:00", "modelName"), "");
    ASSERT_EQ(list.WriteToFile(), 1);
    Json::Value entry = Saved()["ClientList"][0];
    ASSERT_TRUE(entry.isMember("modelName"));
    EXPECT_TRUE(entry["modelName"].isNull());
    EXPECT_EQ(entry["friendlyName"], Json::Value(""));
}

TEST_F(ClientListStore, FindKeyAddingNullIpLetsTheIpScanPass) {
    WriteClients(R"({"ClientList": [{"macAddr": "aa:00"}, {"macAddr": "aa:01", "ipAddr": "2"}]})");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    EXPECT_EQ(list.FindMacByIP("2"), "");
    EXPECT_EQ(list.FindKey("aa:00", "ipAddr"), "");
    // "ipAddr" now exists (as null, whose text is empty): the scan goes on past it.
    EXPECT_EQ(list.FindMacByIP("2"), "aa:01");
    EXPECT_EQ(list.FindMacByIP(""), "aa:00");
}

TEST_F(ClientListStore, ProfileRecordsNeedBothNameAndIdAndEmptyNameCounts) {
    WriteClients(R"({"ClientList": []})");
    WriteProfiles(R"({"ProfileList": [
      {"profileName": "NoId", "dlna": "yes"},
      {"profileID": {"modelName": "TV"}},
      {"profileName": "EmptyId", "profileID": {}},
      {"profileName": "", "profileID": {"modelName": "TV"}},
      {"profileName": "Later", "profileID": {"modelName": "TV"}}]})");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    Json::Value entry;
    entry["modelName"] = "Smart TV";
    std::string out = "x";
    list.DetermineOrigProfileName(entry, out);
    EXPECT_EQ(out, "");  // the record named "" is the first that was loaded
    entry["modelName"] = "Radio";
    list.DetermineOrigProfileName(entry, out);
    EXPECT_EQ(out, "Default Profile");
}

TEST_F(ClientListStore, SecondProfileLoadAppendsBehindTheFirst) {
    WriteProfiles(R"({"ProfileList": [{"profileName": "A", "profileID": {"modelName": "TV"}}]})");
    Calyx::DMSClientList list;
    ASSERT_EQ(list.LoadProfileIDList(ProfilePath()), 1);
    WriteProfiles(R"({"ProfileList": [{"profileName": "B", "profileID": {"modelName": "T"}}]})");
    ASSERT_EQ(list.LoadProfileIDList(ProfilePath()), 1);
    Json::Value entry;
    entry["modelName"] = "TV";
    std::string out;
    list.DetermineOrigProfileName(entry, out);
    EXPECT_EQ(out, "A");
    entry["modelName"] = "Tuner";
    list.DetermineOrigProfileName(entry, out);
    EXPECT_EQ(out, "B");
}

TEST_F(ClientListStore, MissingProfileListFailsLoadButKeepsTheClientDocument) {
    WriteClients(kThreeClients);
    Calyx::DMSClientList list;
    LogWatch log;
    EXPECT_FALSE(LoadBoth(list));
    EXPECT_TRUE(log.Contains("Error: DMSClientList::LoadProfileIDList - " + ProfilePath() +
                             " could not open\n"));
    EXPECT_EQ(list.FindKey("aa:01", "displayName"), "two");
    ASSERT_EQ(list.UpdateKeys("HandleDiscovery", "aa:01", "10.0.0.7", {}), 1);
    EXPECT_EQ(list.FindMacByIP("10.0.0.7"), "aa:01");
}

TEST_F(ClientListStore, MissingClientListFailsWithoutReadingTheProfileList) {
    WriteProfiles(R"({"ProfileList": [{"profileName": "A", "profileID": "any"}]})");
    Calyx::DMSClientList list;
    LogWatch log;
    EXPECT_FALSE(LoadBoth(list));
    EXPECT_TRUE(log.Contains("Error: DMSClientList::LoadClientList - " + ClientPath() +
                             " could not open\n"));
    Json::Value entry(Json::objectValue);
    std::string out;
    list.DetermineOrigProfileName(entry, out);
    EXPECT_EQ(out, "Default Profile");
}

TEST_F(ClientListStore, InvalidJsonIsReportedForBothFiles) {
    WriteClients("{\"ClientList\": [");
    WriteProfiles("not json");
    Calyx::DMSClientList list;
    LogWatch log;
    EXPECT_EQ(list.LoadClientList(ClientPath()), 0);
    EXPECT_EQ(list.LoadProfileIDList(ProfilePath()), 0);
    EXPECT_TRUE(
        log.Contains("Error: DMSClientList::LoadClientList - Json::Reader::parse failed\n"));
    EXPECT_TRUE(
        log.Contains("Error: DMSClientList::LoadProfileIDList - Json::Reader::parse failed\n"));
}

TEST_F(ClientListStore, SaveIsTabIndentedAndKeepsComments) {
    WriteClients(
        "// clients seen by the server\n{\n  \"ClientList\": [\n    {\"macAddr\": \"aa:00\", "
        "/* kept */ \"ipAddr\": \"1\"}\n  ],\n  \"unknown\": {\"x\": 1}\n}\n");
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    ASSERT_EQ(list.WriteToFile(), 1);
    std::string text = ReadFile(ClientPath());
    EXPECT_NE(text.find("// clients seen by the server"), std::string::npos);
    EXPECT_NE(text.find("/* kept */"), std::string::npos);
    EXPECT_NE(text.find("\n\t\"ClientList\""), std::string::npos);
    EXPECT_NE(text.find("\n\t\t{"), std::string::npos);
    EXPECT_EQ(text.find("\n "), std::string::npos);  // no space indentation
    EXPECT_EQ(Saved()["unknown"]["x"], Json::Value(1));
    // A second round trip gives the same bytes.
    Calyx::DMSClientList again;
    ASSERT_TRUE(LoadBoth(again));
    ASSERT_EQ(again.WriteToFile(), 1);
    EXPECT_EQ(ReadFile(ClientPath()), text);
}

TEST_F(ClientListStore, SaveAlwaysWritesTheFixedPath) {
    root_.write("/elsewhere/list.json", kThreeClients);
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(list.Load(root_.resolve("/elsewhere/list.json"), ProfilePath()));
    calyx_test::MakeDirs(root_.resolve("/var/packages/Calyx/etc"));
    ASSERT_EQ(list.WriteToFile(), 1);
    EXPECT_EQ(Saved()["ClientList"].size(), 3u);
    EXPECT_EQ(ReadFile(root_.resolve("/elsewhere/list.json")), kThreeClients);
}

TEST_F(ClientListStore, NothingLoadedSavesNull) {
    calyx_test::MakeDirs(root_.resolve("/var/packages/Calyx/etc"));
    Calyx::DMSClientList list;
    ASSERT_EQ(list.WriteToFile(), 1);
    EXPECT_EQ(ReadFile(ClientPath()), "null\n");
}

TEST_F(ClientListStore, LoadingAgainReplacesTheDocument) {
    WriteClients(kThreeClients);
    WriteProfiles("{}");
    Calyx::DMSClientList list;
    ASSERT_TRUE(LoadBoth(list));
    WriteClients(R"({"ClientList": [{"macAddr": "cc:00", "ipAddr": "10.0.0.1"}]})");
    ASSERT_TRUE(LoadBoth(list));
    unsigned int index = 5;
    EXPECT_FALSE(list.VerifyMacIsExist("aa:00", index));
    EXPECT_TRUE(list.VerifyMacIsExist("cc:00", index));
    EXPECT_EQ(index, 0u);
    EXPECT_EQ(list.FindMacByIP("10.0.0.1"), "cc:00");
}

}  // namespace
