// The discovery update: entry creation and refresh, header keys, matching, names.
#include <gtest/gtest.h>

#include "calyx/client_list.h"
#include "client_list_test_util.h"

using calyx_test::kClientListFixedPath;
using calyx_test::LogWatch;
using calyx_test::ParseJson;
using calyx_test::ReadFile;

namespace {

using Headers = std::map<std::string, std::string>;

class ClientListUpdate : public ::testing::Test {
protected:
    void SetUp() override { calyx_test::MakeDirs(root_.resolve("/var/packages/Calyx/etc")); }
    void UseProfiles(const std::string& json) {
        root_.write("/host/profiles.json", json);
        ASSERT_EQ(list_.LoadProfileIDList(root_.resolve("/host/profiles.json")), 1);
    }
    void UseClients(const std::string& json) {
        root_.write(kClientListFixedPath, json);
        ASSERT_EQ(list_.LoadClientList(root_.resolve(kClientListFixedPath)), 1);
    }
    Json::Value Saved() {
        EXPECT_EQ(list_.WriteToFile(), 1);
        return ParseJson(ReadFile(root_.resolve(kClientListFixedPath)));
    }
    Json::Value Entry(unsigned index) { return Saved()["ClientList"][index]; }

    calyx_test::ScopedRoot root_;
    Calyx::DMSClientList list_;
};

TEST_F(ClientListUpdate, SameMacFromTwoAddressesKeepsOneEntryWithTheLaterAddress) {
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "10.0.0.1", {}), 1);
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "10.0.0.2", {}), 1);
    Json::Value saved = Saved();
    ASSERT_EQ(saved["ClientList"].size(), 1u);
    EXPECT_EQ(saved["ClientList"][0]["ipAddr"], Json::Value("10.0.0.2"));
    EXPECT_EQ(list_.FindMacByIP("10.0.0.2"), "aa:00");
    EXPECT_EQ(list_.FindMacByIP("10.0.0.1"), "");
}

TEST_F(ClientListUpdate, ActionRequestRecordsBrowseKeysAndSkipsHostAndSoapAction) {
    ASSERT_EQ(list_.UpdateKeys("HandleActionRequest", "aa:00", "10.0.0.1",
                               {{"user-agent", "X"}, {"Host", "h"}, {"soapaction", "s"}}),
              1);
    Json::Value entry = Entry(0);
    EXPECT_EQ(entry["browse_user-agent"], Json::Value("X"));
    EXPECT_EQ(entry.getMemberNames(),
              (std::vector<std::string>{"browse_user-agent", "displayName", "ipAddr", "isAccess",
                                        "macAddr", "profileName", "profileName_Orig"}));
}

TEST_F(ClientListUpdate, SkipListIgnoresCaseButKeptKeysKeepTheirCase) {
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1",
                               {{"HOST", "h"},
                                {"Content-Type", "t"},
                                {"CACHE-control", "c"},
                                {"pragma", "p"},
                                {"CONNECTION", "c"},
                                {"date", "d"},
                                {"accept", "a"},
                                {"Content-Length", "1"},
                                {"SOAPAction", "s"},
                                {"User-Agent", "UA"}}),
              1);
    Json::Value entry = Entry(0);
    EXPECT_EQ(entry["open_User-Agent"], Json::Value("UA"));
    EXPECT_FALSE(entry.isMember("open_user-agent"));
    for (const std::string& name : entry.getMemberNames()) {
        EXPECT_TRUE(name == "open_User-Agent" || name.compare(0, 5, "open_") != 0) << name;
    }
}

// Credentials never reach the shared client list file, from any source, in any case.
TEST_F(ClientListUpdate, CredentialsAreNeverRecorded) {
    const Headers headers{{"Authorization", "Basic c2VjcmV0"},
                          {"PROXY-AUTHORIZATION", "Basic cHJveHk="},
                          {"cookie", "session=1"},
                          {"user-agent", "UA"}};
    for (const char* source : {"WebSerOpen", "HandleActionRequest", "HandleDiscovery"}) {
        ASSERT_EQ(list_.UpdateKeys(source, "aa:00", "10.0.0.1", headers), 1);
    }
    Json::Value entry = Entry(0);
    EXPECT_EQ(entry["open_user-agent"], Json::Value("UA"));
    EXPECT_EQ(entry["browse_user-agent"], Json::Value("UA"));
    EXPECT_EQ(entry["user-agent"], Json::Value("UA"));
    std::string saved = ReadFile(root_.resolve(kClientListFixedPath));
    for (const char* secret : {"c2VjcmV0", "cHJveHk=", "session=1"}) {
        EXPECT_EQ(saved.find(secret), std::string::npos) << secret;
    }
}

// Lists written by older versions hold recorded credentials: the save drops them.
TEST_F(ClientListUpdate, SaveDropsCredentialsRecordedByOlderVersions) {
    UseClients(R"({"ClientList": [
      {"macAddr": "aa:00", "open_authorization": "a", "browse_Cookie": "b",
       "OPEN_PROXY-AUTHORIZATION": "c", "open_user-agent": "UA", "authorization": "kept",
       "open_cookies": "kept too"},
      {"macAddr": "aa:01", "browse_authorization": "d"}]})");
    Json::Value first = Entry(0);
    EXPECT_EQ(
        first.getMemberNames(),
        (std::vector<std::string>{"authorization", "macAddr", "open_cookies", "open_user-agent"}));
    EXPECT_EQ(Entry(1).getMemberNames(), std::vector<std::string>{"macAddr"});
    EXPECT_EQ(list_.FindKey("aa:01", "browse_authorization"), "");
}

TEST_F(ClientListUpdate, DiscoveryFieldsKeepTheirNamesAndUnknownSourcesRecordNothing) {
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:00", "1", {{"modelName", "M"}}), 1);
    ASSERT_EQ(list_.UpdateKeys("SomethingElse", "aa:01", "2", {{"modelName", "N"}}), 1);
    ASSERT_EQ(list_.UpdateKeys("handlediscovery", "aa:01", "3", {{"friendlyName", "F"}}), 1);
    Json::Value saved = Saved();
    EXPECT_EQ(saved["ClientList"][0]["modelName"], Json::Value("M"));
    EXPECT_FALSE(saved["ClientList"][1].isMember("modelName"));
    EXPECT_FALSE(saved["ClientList"][1].isMember("friendlyName"));
    EXPECT_EQ(saved["ClientList"][1]["ipAddr"], Json::Value("3"));
    EXPECT_EQ(saved["ClientList"][1]["displayName"], Json::Value("General DMA"));
}

TEST_F(ClientListUpdate, ComposedKeysAreCutAt49CharactersAndTheLaterHeaderWins) {
    std::string longA = "x-very-long-header-name-that-goes-on-and-on-and-A";
    std::string longB = "x-very-long-header-name-that-goes-on-and-on-and-B";
    ASSERT_EQ(list_.UpdateKeys("HandleActionRequest", "aa:00", "1", {{longA, "a"}, {longB, "b"}}),
              1);
    Json::Value entry = Entry(0);
    std::string key = ("browse_" + longA).substr(0, 49);
    ASSERT_TRUE(entry.isMember(key));
    EXPECT_EQ(entry[key], Json::Value("b"));
    for (const std::string& name : entry.getMemberNames()) {
        EXPECT_LE(name.size(), 49u);
    }
    // A name recorded under its own name is not cut.
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:01", "1", {{longA + longB, "v"}}), 1);
    EXPECT_EQ(Entry(1)[longA + longB], Json::Value("v"));
}

TEST_F(ClientListUpdate, KnownClientKeepsOldHeadersAndGetsNewOnes) {
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {{"user-agent", "A"}, {"x", "1"}}), 1);
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {{"user-agent", "B"}}), 1);
    Json::Value entry = Entry(0);
    EXPECT_EQ(entry["open_user-agent"], Json::Value("B"));
    EXPECT_EQ(entry["open_x"], Json::Value("1"));
}

TEST_F(ClientListUpdate, NewClientsFollowTheAccessPolicyKnownOnesKeepTheirs) {
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 1);
    list_.m_denyNewClients = true;
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:01", "2", {}), 1);
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 1);
    list_.m_denyNewClients = false;
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:01", "2", {}), 1);
    Json::Value saved = Saved();
    EXPECT_EQ(saved["ClientList"][0]["isAccess"], Json::Value(true));
    EXPECT_EQ(saved["ClientList"][1]["isAccess"], Json::Value(false));
}

TEST_F(ClientListUpdate, UserAccessDecisionInTheFileSurvivesUpdates) {
    UseClients(R"({"ClientList": [{"macAddr": "aa:00", "isAccess": false}]})");
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 1);
    EXPECT_EQ(Entry(0)["isAccess"], Json::Value(false));
}

TEST_F(ClientListUpdate, FirstMatchingRecordWinsEvenWhenALaterOneIsNarrower) {
    UseProfiles(R"({"ProfileList": [
      {"profileName": "A", "profileID": {"modelName": "TV"}},
      {"profileName": "B", "profileID": {"modelName": "TV", "manufacturer": "Acme"}}]})");
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:00", "1",
                               {{"modelName", "Smart TV"}, {"manufacturer", "Acme"}}),
              1);
    EXPECT_EQ(list_.FindKey("aa:00", "profileName_Orig"), "A");
    EXPECT_EQ(list_.FindKey("aa:00", "profileName"), "A");
}

TEST_F(ClientListUpdate, EveryRuleMustHoldCaseSensitively) {
    UseProfiles(R"({"ProfileList": [
      {"profileName": "B", "profileID": {"modelName": "TV", "manufacturer": "Acme"}},
      {"profileName": "Agent", "profileID": {"open_user-agent": "Player/2"}}]})");
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:00", "1",
                               {{"modelName", "Smart TV"}, {"manufacturer", "ACME"}}),
              1);
    EXPECT_EQ(list_.FindKey("aa:00", "profileName_Orig"), "Default Profile");
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {{"user-agent", "My Player/2.1"}}), 1);
    EXPECT_EQ(list_.FindKey("aa:00", "profileName_Orig"), "Agent");
}

TEST_F(ClientListUpdate, PlainStringProfileIdMatchesEveryClient) {
    UseProfiles(R"({"ProfileList": [{"profileName": "All", "profileID": "anything"}]})");
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 1);
    EXPECT_EQ(list_.FindKey("aa:00", "profileName"), "All");
}

TEST_F(ClientListUpdate, UserSelectedProfileWinsWhileOrigFollowsTheMatch) {
    UseProfiles(R"({"ProfileList": [{"profileName": "TVs", "profileID": {"modelName": "TV"}}]})");
    UseClients(R"({"ClientList": [{"macAddr": "aa:00", "profileName_UserSelected": "Mine"}]})");
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:00", "1", {{"modelName", "TV"}}), 1);
    Json::Value entry = Entry(0);
    EXPECT_EQ(entry["profileName"], Json::Value("Mine"));
    EXPECT_EQ(entry["profileName_Orig"], Json::Value("TVs"));
    EXPECT_EQ(entry["profileName_UserSelected"], Json::Value("Mine"));
}

TEST_F(ClientListUpdate, EmptyUserSelectionGivesAnEmptyProfileName) {
    UseClients(R"({"ClientList": [{"macAddr": "aa:00", "profileName_UserSelected": ""}]})");
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 1);
    Json::Value entry = Entry(0);
    EXPECT_EQ(entry["profileName"], Json::Value(""));
    EXPECT_EQ(entry["profileName_Orig"], Json::Value("Default Profile"));
}

TEST_F(ClientListUpdate, NoDescriptionAndNoMatchGivesGeneralDma) {
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {{"user-agent", "x"}}), 1);
    EXPECT_EQ(list_.FindKey("aa:00", "displayName"), "General DMA");
}

TEST_F(ClientListUpdate, DisplayNameRules) {
    UseProfiles(R"({"ProfileList": [{"profileName": "Radio", "profileID": {"open_x": "r"}}]})");
    ASSERT_EQ(list_.UpdateKeys(
                  "HandleDiscovery", "aa:00", "1",
                  {{"manufacturer", "Acme"}, {"friendlyName", "Living Room"}, {"modelName", "M"}}),
              1);
    EXPECT_EQ(list_.FindKey("aa:00", "displayName"), "Acme Living Room");
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:01", "1", {{"modelName", "M"}}), 1);
    EXPECT_EQ(list_.FindKey("aa:01", "displayName"), " M");  // the leading blank is kept
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:02", "1",
                               {{"modelDescription", "D"}, {"modelName", "M"}}),
              1);
    EXPECT_EQ(list_.FindKey("aa:02", "displayName"), " D");
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:03", "1",
                               {{"manufacturer", "Acme"}, {"friendlyName", ""}}),
              1);
    EXPECT_EQ(list_.FindKey("aa:03", "displayName"), "Acme ");  // empty name is present
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:04", "1", {{"x", "radio"}}), 1);
    EXPECT_EQ(list_.FindKey("aa:04", "displayName"), "Radio");  // matched profile's name
    std::string longName(300, 'n');
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:05", "1",
                               {{"manufacturer", "Acme"}, {"friendlyName", longName}}),
              1);
    EXPECT_EQ(list_.FindKey("aa:05", "displayName"), ("Acme " + longName).substr(0, 199));
}

TEST_F(ClientListUpdate, PlaceholderDocumentIsRebuiltWithOneEntry) {
    UseClients("// placeholder\n{\"ClientList\": 0, \"other\": 1}");
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 1);
    Json::Value saved = Saved();
    ASSERT_TRUE(saved["ClientList"].isArray());
    EXPECT_EQ(saved["ClientList"].size(), 1u);
    EXPECT_FALSE(saved.isMember("other"));
}

TEST_F(ClientListUpdate, OnlyTheInteger0IsAPlaceholder) {
    for (const char* value : {"0.0", "false", "\"0\""}) {
        UseClients(std::string("{\"ClientList\": ") + value + "}");
        EXPECT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 0) << value;
        EXPECT_EQ(Saved()["ClientList"], ParseJson(value)) << value;
    }
}

TEST_F(ClientListUpdate, NothingLoadedStartsAFreshDocument) {
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 1);
    Json::Value saved = Saved();
    EXPECT_EQ(saved.getMemberNames(), std::vector<std::string>{"ClientList"});
    EXPECT_EQ(saved["ClientList"][0]["macAddr"], Json::Value("aa:00"));
}

TEST_F(ClientListUpdate, EmptyMacIsRefusedAndLoggedAtDebugLevel) {
    {
        calyx_test::ScopedLogLevel level(Calyx::DMSLOG_INFO);
        LogWatch log;
        EXPECT_EQ(list_.UpdateKeys("WebSerOpen", "", "10.1.2.3", {}), 0);
        EXPECT_EQ(log.Text(), "");
    }
    calyx_test::ScopedLogLevel level(Calyx::DMSLOG_DEBUG);
    LogWatch log;
    EXPECT_EQ(list_.UpdateKeys("WebSerOpen", "", "10.1.2.3", {}), 0);
    EXPECT_TRUE(log.Contains(
        " Error: DMSClientList::UpdateKeys - MAC address is empty by 10.1.2.3 from ARP talble\n"));
    EXPECT_TRUE(Saved().isNull());
}

TEST_F(ClientListUpdate, EraseThenUpdateRebuildsTheEntry) {
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:00", "1",
                               {{"friendlyName", "F"}, {"user-agent", "u"}}),
              1);
    ASSERT_EQ(list_.EraseObject("aa:00"), 1);
    EXPECT_EQ(list_.FindKey("aa:00", "friendlyName"), "");
    ASSERT_EQ(list_.UpdateKeys("HandleDiscovery", "aa:00", "2", {{"modelName", "M"}}), 1);
    Json::Value saved = Saved();
    ASSERT_EQ(saved["ClientList"].size(), 1u);
    EXPECT_EQ(saved["ClientList"][0]["displayName"], Json::Value(" M"));
    EXPECT_EQ(saved["ClientList"][0]["friendlyName"], Json::Value());  // FindKey left a null
    EXPECT_EQ(list_.FindMacByIP("2"), "aa:00");
}

}  // namespace
