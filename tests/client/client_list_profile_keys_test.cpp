// ProfileIDKeys: the keys the identification records name, as a host filters by them.
#include <gtest/gtest.h>

#include "calyx/client_list.h"
#include "client_list_test_util.h"

namespace {

class ProfileIDKeysTest : public ::testing::Test {
protected:
    void UseProfiles(const std::string& json) {
        root_.write("/host/profiles.json", json);
        ASSERT_EQ(list_.LoadProfileIDList(root_.resolve("/host/profiles.json")), 1);
    }

    calyx_test::ScopedRoot root_;
    Calyx::DMSClientList list_;
};

TEST_F(ProfileIDKeysTest, NoRecordsNameNoKeys) {
    EXPECT_TRUE(Calyx::ProfileIDKeys(list_).empty());
}

TEST_F(ProfileIDKeysTest, EveryMemberOfEveryRecordSortedAndOnce) {
    UseProfiles(R"({"ProfileList": [
        {"profileName": "A", "profileID": {"open_user-agent": "TV", "modelName": "X"}},
        {"profileName": "B", "profileID": {"browse_x-av-client-info": "av", "modelName": "Y"}},
        {"profileName": "C", "profileID": "matches everyone"},
        {"profileName": "D"}
    ]})");
    EXPECT_EQ(
        Calyx::ProfileIDKeys(list_),
        (std::vector<std::string>{"browse_x-av-client-info", "modelName", "open_user-agent"}));
}

TEST_F(ProfileIDKeysTest, MembersWhoseValueNeverMatchesAreStillNamed) {
    // A rule whose value is an array never holds, but the key is still read by matching.
    UseProfiles(R"({"ProfileList": [
        {"profileName": "A", "profileID": {"open_x-odd": ["a"], "open_user-agent": null}}
    ]})");
    EXPECT_EQ(Calyx::ProfileIDKeys(list_),
              (std::vector<std::string>{"open_user-agent", "open_x-odd"}));
}

}  // namespace
