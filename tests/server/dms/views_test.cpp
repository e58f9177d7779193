// The ids and SQL of the views: a group's id carries its value and gives it back, ids that
// name no group are refused, values reach SQL quoted.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "content/views.h"

namespace calyx_dms {
namespace {

TEST(Views, GroupIdsGiveTheirValueBack) {
    for (View view : {View::kArtist, View::kAlbum, View::kGenre}) {
        for (const std::string value : {"The Band", "", "Été à Paris", "O'Brien", "a\\b%_"}) {
            const std::string id = GroupId(view, value);
            EXPECT_EQ(id.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789"),
                      std::string::npos)
                << id;
            View parsed = View::kYear;
            std::string back;
            ASSERT_TRUE(ParseGroupId(id, parsed, back)) << id;
            EXPECT_EQ(parsed, view);
            EXPECT_EQ(back, value);
        }
    }
    EXPECT_EQ(GroupId(View::kArtist, "AB"), "ar4142");
    EXPECT_EQ(GroupId(View::kYear, "2018"), "y2018");
    EXPECT_EQ(GroupId(View::kMonth, "2018-05"), "y201805");
    View view = View::kArtist;
    std::string value;
    ASSERT_TRUE(ParseGroupId("y201805", view, value));
    EXPECT_EQ(view, View::kMonth);
    EXPECT_EQ(value, "2018-05");
    ASSERT_TRUE(ParseGroupId("y2018", view, value));
    EXPECT_EQ(view, View::kYear);
    EXPECT_EQ(value, "2018");
}

TEST(Views, IdsThatNameNoGroupAreRefused) {
    View view = View::kArtist;
    std::string value;
    for (const char* id : {"ar414", "arzz", "ar41G2", "arff", "ar00", "ar4100", "xx41", "y", "y201",
                           "y20180", "y2018050", "y20a8", "al4", "ge4142ff"})
        EXPECT_FALSE(ParseGroupId(id, view, value)) << id;
}

TEST(Views, ListsAndTables) {
    View view = View::kArtist;
    for (View v : {View::kArtist, View::kAlbum, View::kGenre, View::kYear}) {
        ASSERT_TRUE(ParseViewListId(ViewListId(v), view));
        EXPECT_EQ(view, v);
    }
    EXPECT_FALSE(ParseViewListId("music", view));
    EXPECT_EQ(ViewTable(View::kGenre), Calyx::MEDIA_TABLE_MUSIC);
    EXPECT_EQ(ViewTable(View::kMonth), Calyx::MEDIA_TABLE_PHOTO);
}

TEST(Views, ValuesAreQuotedInConditions) {
    EXPECT_EQ(GroupCondition(View::kArtist, "O'Brien"), "artist = 'O''Brien'");
    EXPECT_EQ(GroupCondition(View::kAlbum, ""), "COALESCE(album, '') = ''");
    EXPECT_EQ(GroupCondition(View::kMonth, "2018-05"), "taken_month = '2018-05'");
    EXPECT_EQ(GroupCondition(View::kYear, "2018"), "left(taken_month, 4) = '2018'");
    EXPECT_EQ(GroupsWithin(View::kMonth, "2018"), "left(taken_month, 4) = '2018'");
    EXPECT_EQ(GroupsWithin(View::kYear, ""), "taken_month <> ''");
    EXPECT_EQ(GroupsWithin(View::kGenre, ""), "");
}

TEST(Views, ValuesOfConditionsCanBeSentApart) {
    std::vector<std::string> values;
    EXPECT_EQ(GroupValueCondition(View::kArtist, "O'Brien", values), "artist = $1");
    EXPECT_EQ(values, std::vector<std::string>{"O'Brien"});
    values.clear();
    EXPECT_EQ(GroupValueCondition(View::kAlbum, "", values), "COALESCE(album, '') = ''");
    EXPECT_TRUE(values.empty());
    EXPECT_EQ(GroupValueCondition(View::kYear, "2018", values), "left(taken_month, 4) = $1");
    EXPECT_EQ(GroupValueCondition(View::kMonth, "2018-05", values), "taken_month = $1");
    EXPECT_EQ(values, (std::vector<std::string>{"2018", "2018-05"}));
    values.clear();
    EXPECT_EQ(GroupsWithinValue(View::kMonth, "2018", values), "left(taken_month, 4) = $1");
    EXPECT_EQ(values, std::vector<std::string>{"2018"});
    values.clear();
    EXPECT_EQ(GroupsWithinValue(View::kYear, "", values), "taken_month <> ''");
    EXPECT_EQ(GroupsWithinValue(View::kGenre, "", values), "");
    EXPECT_TRUE(values.empty());
}

}  // namespace
}  // namespace calyx_dms
