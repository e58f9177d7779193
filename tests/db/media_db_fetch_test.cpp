// Reading rows: cursors, single fields and whole media item records.
#include <cstring>
#include <string>

#include "calyx/media_db.h"
#include "db_test_support.h"

using Calyx::MediaDB;

namespace {

class MediaDBFetch : public calyx_test::DbTest {
protected:
    // Fills the record with a byte pattern, so that zeroing is visible.
    static void Scribble(ZEVO_MEDIA_INFO& item) { memset(&item, 0x5A, sizeof item); }

    void InsertFullVideo() {
        Exec(
            "INSERT INTO video (id, parent_id, path, title, artist, album, genre, mime_type, "
            "filesize, duration, audio_bitrate, frame_bitrate, video_bitrate, frame_rate_num, "
            "frame_rate_den, samplerate, channel, resolutionx, resolutiony, video_codec, "
            "container_type, audio_codec, track, year, rotation, date, mdate, cdate, thumbnail) "
            "VALUES (42, 7, '/share/Video/Holiday é.mkv', 'Holiday é', 'Artist', 'Album', "
            "'Genre', 'video/x-matroska', 8589934592, 5400, 192000, 4294967295, 3500000, "
            "30000, 1001, 48000, 6, 1920, 1080, 'h264', 'matroska', 'aac', 3, 2019, 90, "
            "'2019-07-14 18:30:05', 1563121805, 1563200000, '/thumbs/42.jpg')");
    }
};

TEST_F(MediaDBFetch, NextRowBeforeAnyStatementIsFalse) {
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(db.FetchField("id"), "");
    EXPECT_EQ(db.FetchFieldAsInt("id"), 0);
    ZEVO_MEDIA_INFO item;
    EXPECT_FALSE(db.FetchMediaItem(item));
}

TEST_F(MediaDBFetch, FieldsBeforeTheFirstNextRowAndAfterTheLastAreEmpty) {
    InsertItem("video", "/v/1", "one");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("title", "", 0, 0, ""), 1);
    EXPECT_EQ(db.FetchField("title"), "");
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchField("title"), "one");
    EXPECT_FALSE(db.NextRow());
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(db.FetchField("title"), "");
    ZEVO_MEDIA_INFO item;
    EXPECT_FALSE(db.FetchMediaItem(item));
}

TEST_F(MediaDBFetch, EveryNewStatementStartsAtItsFirstRow) {
    Exec("INSERT INTO video (id, path) SELECT i, '/v/' || i FROM generate_series(1, 5) AS i");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("id", "id", 0, 0, ""), 5);
    ASSERT_TRUE(db.NextRow());
    ASSERT_TRUE(db.NextRow());
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("id"), 3);
    // The same statement again, and then another one, each from its first row.
    ASSERT_EQ(db.Select("id", "id", 0, 0, ""), 5);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("id"), 1);
    ASSERT_EQ(db.Execute("SELECT id FROM video ORDER BY id DESC"), 5);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("id"), 5);
    // After walking a result to its end, a new one starts over as well.
    while (db.NextRow()) {
    }
    ASSERT_EQ(db.Select("id", "id", 0, 2, ""), 2);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("id"), 1);
}

TEST_F(MediaDBFetch, FetchFieldOfMissingColumnsAndNullsIsEmpty) {
    Exec("INSERT INTO video (path, title) VALUES ('/v/1', NULL)");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("path, title, '' AS blank", "", 0, 0, ""), 1);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchField("path"), "/v/1");
    EXPECT_EQ(db.FetchField("title"), "");
    EXPECT_EQ(db.FetchField("blank"), "");
    EXPECT_EQ(db.FetchField("no_such_column"), "");
    EXPECT_EQ(db.FetchField(nullptr), "");
    // Unquoted names match in any case; quoted ones exactly.
    EXPECT_EQ(db.FetchField("PATH"), "/v/1");
    EXPECT_EQ(db.FetchField("\"PATH\""), "");
}

TEST_F(MediaDBFetch, FetchFieldAsIntReadsLikeStrtol) {
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Execute("SELECT '42' AS a, '-17' AS b, '12abc' AS c, 'abc' AS d, NULL AS e, "
                         "'  8' AS f, '99999999999' AS g, '-99999999999' AS h"),
              1);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("a"), 42);
    EXPECT_EQ(db.FetchFieldAsInt("b"), -17);
    EXPECT_EQ(db.FetchFieldAsInt("c"), 12);
    EXPECT_EQ(db.FetchFieldAsInt("d"), 0);
    EXPECT_EQ(db.FetchFieldAsInt("e"), 0);
    EXPECT_EQ(db.FetchFieldAsInt("f"), 8);
    EXPECT_EQ(db.FetchFieldAsInt("g"), 2147483647);
    EXPECT_EQ(db.FetchFieldAsInt("h"), -2147483647 - 1);
    EXPECT_EQ(db.FetchFieldAsInt("missing"), 0);
}

TEST_F(MediaDBFetch, FetchMediaItemFillsEveryField) {
    InsertFullVideo();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("*", "", 0, 0, ""), 1);
    ASSERT_TRUE(db.NextRow());
    ZEVO_MEDIA_INFO item;
    Scribble(item);
    ASSERT_TRUE(db.FetchMediaItem(item));
    EXPECT_EQ(item.id, 42);
    EXPECT_EQ(item.parent_id, 7);
    EXPECT_STREQ(item.path, "/share/Video/Holiday é.mkv");
    EXPECT_STREQ(item.title, "Holiday é");
    EXPECT_STREQ(item.artist, "Artist");
    EXPECT_STREQ(item.album, "Album");
    EXPECT_STREQ(item.genre, "Genre");
    EXPECT_STREQ(item.mime_type, "video/x-matroska");
    EXPECT_EQ(item.filesize, 8589934592LL);
    EXPECT_EQ(item.duration, 5400);
    EXPECT_EQ(item.audio_bitrate, 192000u);
    EXPECT_EQ(item.frame_bitrate, 4294967295u);
    EXPECT_EQ(item.video_bitrate, 3500000u);
    EXPECT_EQ(item.frame_rate_num, 30000);
    EXPECT_EQ(item.frame_rate_den, 1001);
    EXPECT_EQ(item.samplerate, 48000);
    EXPECT_EQ(item.channel, 6);
    EXPECT_EQ(item.resolutionx, 1920);
    EXPECT_EQ(item.resolutiony, 1080);
    EXPECT_STREQ(item.video_codec, "h264");
    EXPECT_STREQ(item.container_type, "matroska");
    EXPECT_STREQ(item.audio_codec, "aac");
    EXPECT_EQ(item.track, 3);
    EXPECT_EQ(item.year, 2019);
    EXPECT_EQ(item.rotation, 90);
    EXPECT_STREQ(item.date, "2019-07-14 18:30:05");
    EXPECT_EQ(item.mdate, 1563121805);
    EXPECT_EQ(item.cdate, 1563200000);
    EXPECT_STREQ(item.thumbnail, "/thumbs/42.jpg");
}

TEST_F(MediaDBFetch, SqlNullsGiveZeroAndEmpty) {
    Exec("INSERT INTO video (id, path) VALUES (5, '/v/5')");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("*", "", 0, 0, ""), 1);
    ASSERT_TRUE(db.NextRow());
    ZEVO_MEDIA_INFO item;
    Scribble(item);
    ASSERT_TRUE(db.FetchMediaItem(item));
    EXPECT_EQ(item.id, 5);
    EXPECT_EQ(item.parent_id, 0);
    EXPECT_STREQ(item.path, "/v/5");
    for (const char* text :
         {item.title, item.artist, item.album, item.genre, item.mime_type, item.video_codec,
          item.container_type, item.audio_codec, item.date, item.thumbnail}) {
        EXPECT_STREQ(text, "");
    }
    EXPECT_EQ(item.filesize, 0);
    EXPECT_EQ(item.duration, 0);
    EXPECT_EQ(item.audio_bitrate, 0u);
    EXPECT_EQ(item.frame_bitrate, 0u);
    EXPECT_EQ(item.video_bitrate, 0u);
    for (int value : {item.frame_rate_num, item.frame_rate_den, item.samplerate, item.channel,
                      item.resolutionx, item.resolutiony, item.track, item.year, item.rotation}) {
        EXPECT_EQ(value, 0);
    }
    EXPECT_EQ(item.mdate, 0);
    EXPECT_EQ(item.cdate, 0);
}

TEST_F(MediaDBFetch, MissingColumnsGiveZeroAndEmpty) {
    InsertFullVideo();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("title, duration", "", 0, 0, ""), 1);
    ASSERT_TRUE(db.NextRow());
    ZEVO_MEDIA_INFO item;
    Scribble(item);
    ASSERT_TRUE(db.FetchMediaItem(item));
    EXPECT_STREQ(item.title, "Holiday é");
    EXPECT_EQ(item.duration, 5400);
    EXPECT_EQ(item.id, 0);
    EXPECT_STREQ(item.path, "");
    EXPECT_STREQ(item.video_codec, "");
    EXPECT_EQ(item.frame_bitrate, 0u);
    EXPECT_EQ(item.resolutionx, 0);
    EXPECT_EQ(item.mdate, 0);
}

TEST_F(MediaDBFetch, LongTextsAreCutAndTerminated) {
    std::string title(600, 't');
    std::string codec(300, 'c');
    std::string path(5000, 'p');
    Exec("INSERT INTO video (path, title, video_codec) VALUES ('" + path + "', '" + title + "', '" +
         codec + "')");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("*", "", 0, 0, ""), 1);
    ASSERT_TRUE(db.NextRow());
    ZEVO_MEDIA_INFO item;
    Scribble(item);
    ASSERT_TRUE(db.FetchMediaItem(item));
    EXPECT_EQ(std::string(item.title), title.substr(0, sizeof item.title - 1));
    EXPECT_EQ(std::string(item.video_codec), codec.substr(0, sizeof item.video_codec - 1));
    EXPECT_EQ(std::string(item.path), path.substr(0, sizeof item.path - 1));
}

TEST_F(MediaDBFetch, NumbersBeyondAFieldAreClampedToItsRange) {
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Execute("SELECT 5000000000 AS audio_bitrate, -3 AS video_bitrate, "
                         "3000000000 AS duration, -3000000000 AS year, "
                         "'99999999999999999999' AS filesize, '12abc' AS track, "
                         "'x' AS channel"),
              1);
    ASSERT_TRUE(db.NextRow());
    ZEVO_MEDIA_INFO item;
    Scribble(item);
    ASSERT_TRUE(db.FetchMediaItem(item));
    EXPECT_EQ(item.audio_bitrate, 4294967295u);
    EXPECT_EQ(item.video_bitrate, 0u);
    EXPECT_EQ(item.duration, 2147483647);
    EXPECT_EQ(item.year, -2147483647 - 1);
    EXPECT_EQ(item.filesize, INT64_MAX);
    EXPECT_EQ(item.track, 12);
    EXPECT_EQ(item.channel, 0);
}

TEST_F(MediaDBFetch, EveryRowOfAPageIsReadInOrder) {
    Exec(
        "INSERT INTO video (id, path, title, duration) "
        "SELECT i, '/v/' || i, 'title ' || i, i * 10 FROM generate_series(1, 250) AS i");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("*", "id", 100, 100, ""), 100);
    int expected = 101;
    ZEVO_MEDIA_INFO item;
    while (db.NextRow()) {
        ASSERT_TRUE(db.FetchMediaItem(item));
        ASSERT_EQ(item.id, expected);
        ASSERT_EQ(std::string(item.title), "title " + std::to_string(expected));
        ASSERT_EQ(item.duration, expected * 10);
        ++expected;
    }
    EXPECT_EQ(expected, 201);
}

}  // namespace
