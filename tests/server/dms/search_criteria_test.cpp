// ContentDirectory search and sort criteria, as the server turns them into SQL.
#include <gtest/gtest.h>

#include "content/search_criteria.h"
#include "content/well_known_ids.h"

namespace calyx_dms {
namespace {

TEST(SearchCriteria, Everything) {
    std::string sql;
    ASSERT_TRUE(CriteriaToSql("*", Calyx::MEDIA_TABLE_VIDEO, sql));
    EXPECT_EQ(sql, "TRUE");
}

TEST(SearchCriteria, ClassDerivedFromIsDecidedPerTable) {
    std::string sql;
    ASSERT_TRUE(CriteriaToSql("upnp:class derivedfrom \"object.item.videoItem\"",
                              Calyx::MEDIA_TABLE_VIDEO, sql));
    EXPECT_EQ(sql, "(TRUE)");
    ASSERT_TRUE(CriteriaToSql("upnp:class derivedfrom \"object.item.videoItem\"",
                              Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_EQ(sql, "(FALSE)");
    ASSERT_TRUE(
        CriteriaToSql("upnp:class derivedfrom \"object.item\"", Calyx::MEDIA_TABLE_PHOTO, sql));
    EXPECT_EQ(sql, "(TRUE)");
    // "object.item.video" is not a class the video items derive from.
    ASSERT_TRUE(CriteriaToSql("upnp:class derivedfrom \"object.item.video\"",
                              Calyx::MEDIA_TABLE_VIDEO, sql));
    EXPECT_EQ(sql, "(FALSE)");
    ASSERT_TRUE(CriteriaToSql("upnp:class = \"object.item.audioItem.musicTrack\"",
                              Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_EQ(sql, "(TRUE)");
}

TEST(SearchCriteria, TextRelationsAndGrouping) {
    std::string sql;
    ASSERT_TRUE(CriteriaToSql(
        "(dc:title contains \"a%_b\" or upnp:artist startsWith \"x\") and upnp:album exists true",
        Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_EQ(sql,
              "((COALESCE(title, '') ILIKE E'%a\\\\%\\\\_b%' OR COALESCE(artist, '') ILIKE "
              "E'x%') AND COALESCE(album, '') <> '')");
    ASSERT_TRUE(CriteriaToSql("dc:title doesNotContain \"it's\"", Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_EQ(sql, "(COALESCE(title, '') NOT ILIKE E'%it''s%')");
    ASSERT_TRUE(CriteriaToSql("upnp:genre != \"Rock\"", Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_EQ(sql, "(COALESCE(genre, '') <> E'Rock')");
    ASSERT_TRUE(CriteriaToSql("dc:creator exists false", Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_EQ(sql, "(COALESCE(artist, '') = '')");
}

TEST(SearchCriteria, RefusesWhatItDoesNotKnow) {
    std::string sql;
    for (const char* criteria :
         {"", "dc:title", "dc:title contains", "dc:title contains \"x", "dc:title like \"x\"",
          "res@size > \"1\"", "upnp:class contains \"object\"", "(dc:title = \"x\"",
          "dc:title = \"x\")", "dc:title = \"x\" and", "dc:title = \"x\" xor dc:title = \"y\"",
          "dc:title exists maybe", "dc:title = x"}) {
        EXPECT_FALSE(CriteriaToSql(criteria, Calyx::MEDIA_TABLE_VIDEO, sql)) << criteria;
    }
}

TEST(SearchCriteria, BoundedInLengthAndRelations) {
    std::string sql;
    auto relations = [](size_t count) {
        std::string text;
        for (size_t i = 0; i < count; ++i)
            text += (i ? " or " : "") + std::string("dc:title = \"t") + std::to_string(i) + "\"";
        return text;
    };
    EXPECT_TRUE(CriteriaToSql(relations(kMaxCriteriaRelations), Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_FALSE(
        CriteriaToSql(relations(kMaxCriteriaRelations + 1), Calyx::MEDIA_TABLE_MUSIC, sql));
    const std::string prefix = "dc:title contains \"";
    const std::string fits(kMaxCriteriaBytes - prefix.size() - 1, 'x');
    EXPECT_TRUE(CriteriaToSql(prefix + fits + "\"", Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_FALSE(CriteriaToSql(prefix + fits + "x\"", Calyx::MEDIA_TABLE_MUSIC, sql));
}

TEST(SortCriteria, TitleAndDate) {
    std::string order;
    ASSERT_TRUE(SortToSql("", order));
    EXPECT_EQ(order, "title COLLATE calyx_title ASC, id ASC");
    ASSERT_TRUE(SortToSql("-dc:date,+dc:title", order));
    EXPECT_EQ(order, "date DESC, title COLLATE calyx_title ASC, id ASC");
    EXPECT_FALSE(SortToSql("+upnp:artist", order));
    EXPECT_FALSE(SortToSql("+dc:title;DROP TABLE video", order));
}

// The Xbox 360 sorts by class first; a listing holds one class, so only the title orders.
TEST(SortCriteria, ClassIsNoOrder) {
    std::string order;
    ASSERT_TRUE(SortToSql("+upnp:class,+dc:title", order));
    EXPECT_EQ(order, "title COLLATE calyx_title ASC, id ASC");
    ASSERT_TRUE(SortToSql("+upnp:class,-dc:date", order));
    EXPECT_EQ(order, "date DESC, id ASC");
}

// Media players search their lists of albums, artists, genres and playlists for containers
// of the list's class, by the class itself or one above it.
TEST(SearchCriteria, AsksForContainerClass) {
    const std::string album = "object.container.album.musicAlbum";
    EXPECT_TRUE(AsksForContainerClass("upnp:class = \"" + album + "\"", album));
    EXPECT_TRUE(AsksForContainerClass(
        "(upnp:class derivedfrom \"object.container.album\") and @refID exists false", album));
    EXPECT_TRUE(AsksForContainerClass("upnp:class derivedfrom \"object.container\"", album));
    EXPECT_FALSE(AsksForContainerClass("upnp:class = \"object.container.album\"", album));
    EXPECT_FALSE(AsksForContainerClass("upnp:class derivedfrom \"object.container.alb\"", album));
    EXPECT_FALSE(AsksForContainerClass("upnp:class derivedfrom \"object.item.audioItem\"", album));
    EXPECT_FALSE(AsksForContainerClass("dc:title contains \"object.container\"", album));
    EXPECT_FALSE(AsksForContainerClass("*", album));
    EXPECT_FALSE(AsksForContainerClass("upnp:class = \"" + album, album));
}

// Windows Media Player and the Xbox ask for objects that refer to no other.
TEST(SearchCriteria, NoObjectRefersToAnother) {
    std::string sql;
    ASSERT_TRUE(
        CriteriaToSql("upnp:class derivedfrom \"object.item.audioItem\" and @refID "
                      "exists false",
                      Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_EQ(sql, "(TRUE AND TRUE)");
    ASSERT_TRUE(CriteriaToSql("@refID exists true", Calyx::MEDIA_TABLE_MUSIC, sql));
    EXPECT_EQ(sql, "(FALSE)");
    EXPECT_FALSE(CriteriaToSql("@refID exists maybe", Calyx::MEDIA_TABLE_MUSIC, sql));
}

// The well-known container ids of those clients name the server's own containers.
TEST(WellKnownIds, NameOwnContainers) {
    EXPECT_EQ(OwnContainerId("4"), "music");
    EXPECT_EQ(OwnContainerId("5"), "genres");
    EXPECT_EQ(OwnContainerId("6"), "artists");
    EXPECT_EQ(OwnContainerId("7"), "albums");
    EXPECT_EQ(OwnContainerId("F"), "playlists");
    EXPECT_EQ(OwnContainerId("15"), "video");
    EXPECT_EQ(OwnContainerId("8"), "video");
    EXPECT_EQ(OwnContainerId("16"), "photo");
    EXPECT_EQ(OwnContainerId("B"), "photo");
    EXPECT_EQ(OwnContainerId("0"), "0");
    EXPECT_EQ(OwnContainerId("d12"), "d12");
    EXPECT_EQ(OwnContainerId("f"), "f");
}

}  // namespace
}  // namespace calyx_dms
