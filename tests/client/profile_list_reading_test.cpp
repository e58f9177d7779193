// The loader's report of a profile list (what the linter reads) against the loader itself.
#include <gtest/gtest.h>
#include <json/value.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/core.h"
#include "support/test_support.h"

namespace {

using Calyx::DMSClientChecker;
using Calyx::ProfileListShape;
using Calyx::ProfileMemberReading;
using Calyx::ProfileMemberUse;

Json::Value Parse(const std::string& text) {
    Json::Value root;
    Calyx::Error error;
    EXPECT_TRUE(Calyx::ParseJsonText(text, root, &error)) << error.message;
    return root;
}

const ProfileMemberReading* Member(const Calyx::ProfileEntryReading& entry,
                                   const std::string& key) {
    for (const ProfileMemberReading& m : entry.members)
        if (m.key == key)
            return &m;
    return nullptr;
}

TEST(ProfileListReading, TopLevelShapes) {
    EXPECT_EQ(Calyx::ReadProfileListDocument(Parse("[1]")).shape, ProfileListShape::NotAnObject);
    EXPECT_EQ(Calyx::ReadProfileListDocument(Parse("{\"x\":1}")).shape, ProfileListShape::NoList);
    EXPECT_EQ(Calyx::ReadProfileListDocument(Parse("{\"ProfileList\":null}")).shape,
              ProfileListShape::NoList);
    EXPECT_EQ(Calyx::ReadProfileListDocument(Parse("{\"ProfileList\":{\"a\":1}}")).shape,
              ProfileListShape::NotAnArray);
    const Calyx::ProfileListReading list =
        Calyx::ReadProfileListDocument(Parse("{\"ProfileList\":[1, {}, {\"profileName\":[\"a\"]},"
                                             " {\"profileName\":{}}, {\"profileName\":7}]}"));
    ASSERT_EQ(list.shape, ProfileListShape::List);
    ASSERT_EQ(list.entries.size(), 5u);
    EXPECT_FALSE(list.entries[0].isObject);
    EXPECT_FALSE(list.entries[0].loaded);
    EXPECT_TRUE(list.entries[1].isObject);
    EXPECT_FALSE(list.entries[1].loaded);  // no name
    EXPECT_FALSE(list.entries[2].loaded);  // a name without text
    EXPECT_FALSE(list.entries[3].loaded);  // an empty object is not present
    EXPECT_TRUE(list.entries[4].loaded);
    EXPECT_EQ(list.entries[4].profileName, "7");
}

TEST(ProfileListReading, MembersAreClassifiedAsTheLoaderTreatsThem) {
    const Calyx::ProfileListReading list = Calyx::ReadProfileListDocument(Parse(R"({
        "ProfileList": [{
            "profileName": "TV", "profileID": {"a": "b"}, "offendchars": [":"],
            "profile1@hd": "ext@mkv", "profile2@hd": "ext@mp4", "profile0@sd": ["x"],
            "profile3@sd": 5, "profileX": "ext@avi", "dlna": "yes", "xbox": 1,
            "agentopt": "xmres bogus\ttranswav bogus", "colour": "red"}]})"));
    ASSERT_EQ(list.entries.size(), 1u);
    const Calyx::ProfileEntryReading& e = list.entries[0];
    ASSERT_TRUE(e.loaded);
    EXPECT_EQ(e.members.size(), 12u);
    for (size_t i = 1; i < e.members.size(); ++i)
        EXPECT_LT(e.members[i - 1].key, e.members[i].key);  // load order: ascending keys

    EXPECT_EQ(Member(e, "profileName")->use, ProfileMemberUse::Name);
    EXPECT_EQ(Member(e, "profileID")->use, ProfileMemberUse::Identification);
    EXPECT_EQ(Member(e, "offendchars")->use, ProfileMemberUse::OffendChars);
    EXPECT_FALSE(Member(e, "offendchars")->hasText);
    EXPECT_EQ(Member(e, "profileX")->use, ProfileMemberUse::SettingWithoutAt);
    EXPECT_EQ(Member(e, "dlna")->use, ProfileMemberUse::AgentType);
    EXPECT_EQ(Member(e, "xbox")->text, "1");
    EXPECT_EQ(Member(e, "colour")->use, ProfileMemberUse::Unknown);

    // The first member of a setting with text keeps it; one without text never does.
    EXPECT_EQ(Member(e, "profile1@hd")->setting, "hd");
    EXPECT_EQ(Member(e, "profile1@hd")->settingFrom, "profile1@hd");
    EXPECT_EQ(Member(e, "profile2@hd")->settingFrom, "profile1@hd");
    EXPECT_FALSE(Member(e, "profile0@sd")->hasText);
    EXPECT_EQ(Member(e, "profile0@sd")->settingFrom, "");
    EXPECT_EQ(Member(e, "profile3@sd")->settingFrom, "profile3@sd");

    EXPECT_EQ(Member(e, "agentopt")->use, ProfileMemberUse::AgentOptions);
    EXPECT_EQ(Member(e, "agentopt")->unknownOptions, (std::vector<std::string>{"bogus", "bogus"}));
}

// What the report says each entry becomes, rebuilt from it, equals what the loader made.
TEST(ProfileListReading, AgreesWithTheLoadedAgents) {
    const std::string text = R"({"ProfileList": [
        {"profileName": "A", "profile1@hd": "ext@mkv", "profile2@hd": "ext@mp4",
         "profile@sd": 5, "profile0@x": [], "dlna": "yes", "xbox": "no", "roku": true,
         "agentopt": "xmres nothing origcover", "offendchars": "<>"},
        {"profileName": "B", "samsungtv": "yes", "profileY": "z", "agentopt": 3},
        "skipped", {"profileName": null, "dlna": "yes"}]})";
    calyx_test::TempDir dir;
    const std::string path = dir.file("profiles.json");
    calyx_test::WriteFile(path, text);
    DMSClientChecker::ReleaseClientList();
    ASSERT_TRUE(DMSClientChecker::InitProfileList(path));

    const Calyx::ProfileListReading list = Calyx::ReadProfileListDocument(Parse(text));
    int loaded = 0;
    for (const Calyx::ProfileEntryReading& e : list.entries) {
        if (!e.loaded)
            continue;
        ++loaded;
        const Calyx::Agent* agent = DMSClientChecker::GetAgent(e.profileName);
        ASSERT_NE(agent, nullptr) << e.profileName;
        std::map<std::string, std::string> settings;
        std::vector<std::string> types;
        std::vector<std::string> options;
        std::string offend;
        for (const ProfileMemberReading& m : e.members) {
            if (!m.hasText)
                continue;
            if (m.use == ProfileMemberUse::Setting && m.settingFrom == m.key)
                settings[m.setting] = m.text;
            if (m.use == ProfileMemberUse::AgentType && m.text == "yes")
                types.push_back(m.key);
            if (m.use == ProfileMemberUse::OffendChars)
                offend = m.text;
            if (m.use == ProfileMemberUse::AgentOptions)
                for (const std::string& word : Calyx::StringExplode(m.text, " \t"))
                    if (std::find(m.unknownOptions.begin(), m.unknownOptions.end(), word) ==
                        m.unknownOptions.end())
                        options.push_back(word);
        }
        EXPECT_EQ(agent->m_profileSettings, settings) << e.profileName;
        std::vector<std::string> loadedTypes = Calyx::AgentTypeNamesOf(agent->m_agentType);
        std::sort(loadedTypes.begin(), loadedTypes.end());
        std::sort(types.begin(), types.end());
        EXPECT_EQ(loadedTypes, types) << e.profileName;
        std::vector<std::string> loadedOptions = Calyx::AgentCapabilityNamesOf(agent->m_capability);
        std::sort(loadedOptions.begin(), loadedOptions.end());
        std::sort(options.begin(), options.end());
        EXPECT_EQ(loadedOptions, options) << e.profileName;
        EXPECT_EQ(agent->m_offendChars, offend) << e.profileName;
    }
    EXPECT_EQ(loaded, 2);
    DMSClientChecker::ReleaseClientList();
}

}  // namespace
