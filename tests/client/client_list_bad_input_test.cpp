// Documents with unexpected JSON types, and header values of any size and bytes.
#include <gtest/gtest.h>

#include "calyx/client_list.h"
#include "client_list_test_util.h"

using calyx_test::kClientListFixedPath;
using calyx_test::ParseJson;
using calyx_test::ReadFile;

namespace {

class ClientListBadInput : public ::testing::Test {
protected:
    void SetUp() override { calyx_test::MakeDirs(root_.resolve("/var/packages/Calyx/etc")); }
    int LoadClients(const std::string& json) {
        root_.write(kClientListFixedPath, json);
        return list_.LoadClientList(root_.resolve(kClientListFixedPath));
    }
    int LoadProfiles(const std::string& json) {
        root_.write("/host/profiles.json", json);
        return list_.LoadProfileIDList(root_.resolve("/host/profiles.json"));
    }
    std::string SavedText() {
        EXPECT_EQ(list_.WriteToFile(), 1);
        return ReadFile(root_.resolve(kClientListFixedPath));
    }
    std::string Matched(const std::string& json) {
        std::string out;
        list_.DetermineOrigProfileName(ParseJson(json), out);
        return out;
    }

    calyx_test::ScopedRoot root_;
    Calyx::DMSClientList list_;
};

// A document that cannot hold clients: nothing is found, nothing is added, updates are
// refused and the document is saved back as it was.
void ExpectUnusable(Calyx::DMSClientList& list) {
    unsigned int index = 3;
    EXPECT_FALSE(list.VerifyMacIsExist("aa:00", index));
    EXPECT_EQ(index, 3u);
    EXPECT_EQ(list.FindMacByIP("1"), "");
    EXPECT_EQ(list.FindKey("aa:00", "ipAddr"), "");
    EXPECT_EQ(list.EraseObject("aa:00"), 0);
    EXPECT_EQ(list.UpdateKeys("HandleDiscovery", "aa:00", "1", {{"modelName", "M"}}), 0);
}

TEST_F(ClientListBadInput, RootThatIsNotAnObject) {
    for (const char* doc :
         {"[{\"macAddr\": \"aa:00\", \"ipAddr\": \"1\"}]", "\"text\"", "5", "true"}) {
        ASSERT_EQ(LoadClients(doc), 1) << doc;
        ExpectUnusable(list_);
        EXPECT_EQ(ParseJson(SavedText()), ParseJson(doc)) << doc;
    }
}

TEST_F(ClientListBadInput, ClientListOfTheWrongType) {
    for (const char* list :
         {"{\"macAddr\": \"aa:00\", \"ipAddr\": \"1\"}", "\"aa:00\"", "5", "-1", "true"}) {
        std::string doc = std::string("{\"ClientList\": ") + list + "}";
        ASSERT_EQ(LoadClients(doc), 1) << doc;
        ExpectUnusable(list_);
        EXPECT_EQ(ParseJson(SavedText()), ParseJson(doc)) << doc;
    }
}

TEST_F(ClientListBadInput, EntriesThatAreNotObjectsEndTheScans) {
    ASSERT_EQ(LoadClients(R"({"ClientList": [
      {"macAddr": "aa:00", "ipAddr": "1"}, "aa:01", ["aa:02"], 7, null,
      {"macAddr": "aa:03", "ipAddr": "3"}]})"),
              1);
    unsigned int index = 0;
    EXPECT_TRUE(list_.VerifyMacIsExist("aa:00", index));
    EXPECT_FALSE(list_.VerifyMacIsExist("aa:01", index));
    EXPECT_FALSE(list_.VerifyMacIsExist("aa:03", index));
    EXPECT_EQ(list_.FindMacByIP("3"), "");
    EXPECT_EQ(list_.UpdateKeys("WebSerOpen", "aa:03", "4", {}), 1);  // appended anew
    Json::Value saved = ParseJson(SavedText());
    ASSERT_EQ(saved["ClientList"].size(), 7u);
    EXPECT_EQ(saved["ClientList"][1], Json::Value("aa:01"));
    EXPECT_EQ(saved["ClientList"][6]["ipAddr"], Json::Value("4"));
}

TEST_F(ClientListBadInput, AddressesOfOtherTypes) {
    ASSERT_EQ(LoadClients(R"({"ClientList": [
      {"macAddr": ["aa:00"], "ipAddr": {"v": "1"}},
      {"macAddr": 42, "ipAddr": 17},
      {"macAddr": {"x": 1}, "ipAddr": "5"},
      {"macAddr": "aa:03", "ipAddr": [1]}]})"),
              1);
    unsigned int index = 0;
    // Numbers read as their decimal text; arrays and objects equal nothing but do not
    // stop the scan.
    EXPECT_TRUE(list_.VerifyMacIsExist("42", index));
    EXPECT_EQ(index, 1u);
    EXPECT_TRUE(list_.VerifyMacIsExist("aa:03", index));
    EXPECT_EQ(index, 3u);
    EXPECT_EQ(list_.FindMacByIP("17"), "42");
    EXPECT_EQ(list_.FindMacByIP("5"), "");  // its MAC has no text
    EXPECT_EQ(list_.FindKey("42", "ipAddr"), "17");
    EXPECT_EQ(list_.FindKey("aa:03", "ipAddr"), "");
    EXPECT_EQ(list_.UpdateKeys("WebSerOpen", "42", "9", {}), 1);
    EXPECT_EQ(list_.FindMacByIP("9"), "42");
}

TEST_F(ClientListBadInput, UserSelectionOfOtherTypes) {
    ASSERT_EQ(LoadClients(R"({"ClientList": [
      {"macAddr": "aa:00", "profileName_UserSelected": 12},
      {"macAddr": "aa:01", "profileName_UserSelected": ["TV"]},
      {"macAddr": "aa:02", "profileName_UserSelected": {"n": "TV"}},
      {"macAddr": "aa:03", "profileName_UserSelected": true}]})"),
              1);
    for (const char* mac : {"aa:00", "aa:01", "aa:02", "aa:03"}) {
        ASSERT_EQ(list_.UpdateKeys("WebSerOpen", mac, "1", {}), 1) << mac;
    }
    EXPECT_EQ(list_.FindKey("aa:00", "profileName"), "12");
    EXPECT_EQ(list_.FindKey("aa:01", "profileName"), "Default Profile");
    EXPECT_EQ(list_.FindKey("aa:02", "profileName"), "Default Profile");
    EXPECT_EQ(list_.FindKey("aa:03", "profileName"), "true");
    EXPECT_EQ(list_.FindKey("aa:01", "profileName_UserSelected"), "");
}

TEST_F(ClientListBadInput, DescriptionFieldsOfOtherTypes) {
    Json::Value entry = ParseJson(R"({"manufacturer": ["Acme"], "friendlyName": {"a": 1},
                                      "modelDescription": 3, "profileName_Orig": "Default Profile"})");
    std::string out;
    list_.DetermineDisplayName(entry, out);
    EXPECT_EQ(out, " 3");
    list_.DetermineDisplayName(ParseJson("[1, 2]"), out);
    EXPECT_EQ(out, "");
    list_.DetermineProfileName(ParseJson("\"text\""), out);
    EXPECT_EQ(out, "");
}

TEST_F(ClientListBadInput, ProfileIdMembersOfOtherTypes) {
    ASSERT_EQ(LoadProfiles(R"({"ProfileList": [
      {"profileName": "Arr", "profileID": {"modelName": ["TV"]}},
      {"profileName": "Obj", "profileID": {"modelName": {"v": "TV"}}},
      {"profileName": "Num", "profileID": {"modelNumber": 42}},
      {"profileName": "Null", "profileID": {"serial": null}},
      {"profileName": "ArrId", "profileID": ["modelName"]}]})"),
              1);
    EXPECT_EQ(Matched(R"({"modelName": "TV", "modelNumber": "X-420"})"), "Num");
    EXPECT_EQ(Matched(R"({"modelName": "TV", "modelNumber": 142})"), "Num");
    EXPECT_EQ(Matched(R"({"modelName": "TV", "serial": ""})"), "Null");
    // A profileID array has no members, so its record matches anything left.
    EXPECT_EQ(Matched(R"({"modelName": "TV"})"), "ArrId");
    // Entry values without text never satisfy a rule.
    EXPECT_EQ(Matched(R"({"modelNumber": ["42"], "serial": {"a": 1}})"), "ArrId");
}

TEST_F(ClientListBadInput, ProfileListsOfOtherShapes) {
    for (const char* doc :
         {"[1, 2]", "{\"ProfileList\": {\"profileName\": \"A\"}}", "{\"ProfileList\": \"A\"}",
          "{\"ProfileList\": [\"A\", 3, null, []]}",
          "{\"ProfileList\": [{\"profileName\": [\"A\"], \"profileID\": \"x\"}]}",
          "{\"ProfileList\": [{\"profileName\": {\"a\": 1}, \"profileID\": \"x\"}]}"}) {
        EXPECT_EQ(LoadProfiles(doc), 1) << doc;
    }
    EXPECT_EQ(Matched("{}"), "Default Profile");
    // A numeric name reads as its text.
    ASSERT_EQ(LoadProfiles("{\"ProfileList\": [{\"profileName\": 7, \"profileID\": \"x\"}]}"), 1);
    EXPECT_EQ(Matched("{}"), "7");
}

TEST_F(ClientListBadInput, DeeplyNestedFileIsAParseFailure) {
    std::string deep = "{\"ClientList\": " + std::string(5000, '[') + std::string(5000, ']') + "}";
    EXPECT_EQ(LoadClients(deep), 0);
    EXPECT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {}), 1);
}

TEST_F(ClientListBadInput, HeaderValuesAreKeptAsTheyCame) {
    std::string huge(10 * 1024 * 1024, 'h');
    huge[12345] = 'x';
    std::string binary = std::string("\xff\xfe\x80 bad \xc3", 9) + std::string(1, '\0') + "tail";
    ASSERT_EQ(list_.UpdateKeys("HandleActionRequest", "aa:00", "1",
                               {{"x-empty", ""}, {"x-huge", huge}, {"x-binary", binary}}),
              1);
    EXPECT_EQ(list_.FindKey("aa:00", "browse_x-huge"), huge);
    EXPECT_EQ(list_.FindKey("aa:00", "browse_x-binary"), binary);
    EXPECT_EQ(list_.FindKey("aa:00", "browse_x-empty"), "");
    ASSERT_EQ(list_.WriteToFile(), 1);
    Json::Value saved = ParseJson(ReadFile(root_.resolve(kClientListFixedPath)));
    EXPECT_EQ(saved["ClientList"][0]["browse_x-huge"].asString(), huge);
    EXPECT_TRUE(saved["ClientList"][0]["browse_x-empty"].isString());
}

TEST_F(ClientListBadInput, NonUtf8HeaderTakesPartInMatching) {
    ASSERT_EQ(LoadProfiles("{\"ProfileList\": [{\"profileName\": \"Odd\", "
                           "\"profileID\": {\"open_user-agent\": \"Pl\\u00e4yer\"}}]}"),
              1);
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:00", "1", {{"user-agent", "My Pl\xc3\xa4yer"}}),
              1);
    EXPECT_EQ(list_.FindKey("aa:00", "profileName"), "Odd");
    ASSERT_EQ(list_.UpdateKeys("WebSerOpen", "aa:01", "1", {{"user-agent", "My Pl\xe4yer"}}), 1);
    EXPECT_EQ(list_.FindKey("aa:01", "profileName"), "Default Profile");
}

}  // namespace
