// The statements MediaDB builds (as written to the library log) and the rows they return.
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/media_db.h"
#include "db_test_support.h"

using Calyx::MediaDB;
using calyx_test::StatementLog;

namespace {

class MediaDBStatement : public calyx_test::DbTest {};

TEST_F(MediaDBStatement, SelectAllWithoutConditionsSendsThePlainStatement) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("*", "", 0, 0, ""), 20);
    EXPECT_EQ(LoggedStatement(mark), "SELECT * FROM video ");
}

TEST_F(MediaDBStatement, ConditionsOrderLimitAndOffsetInTemplateOrder) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddCondition("duration >= 2");
    db.AddCondition("year = 2000");
    size_t mark = StatementLog::Instance().Mark();
    // Even durations 2..18 by title, the sixth onwards.
    EXPECT_EQ(db.Select("id", "title", 5, 10, ""), 4);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT id FROM video  WHERE duration >= 2 and year = 2000  ORDER BY title  "
              "LIMIT 10  OFFSET 5 ");
    EXPECT_EQ(Column(db, "id"), (std::vector<int>{12, 14, 16, 18}));
}

TEST_F(MediaDBStatement, EveryClauseInItsPlace) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddCondition("duration < 10");
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("year, COUNT(id) AS n", "year DESC", 1, 5, "year"), 1);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT year, COUNT(id) AS n FROM video  WHERE duration < 10  GROUP BY year  "
              "ORDER BY year DESC  LIMIT 5  OFFSET 1 ");
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("year"), 2000);
    EXPECT_EQ(db.FetchFieldAsInt("n"), 5);
    EXPECT_FALSE(db.NextRow());
}

TEST_F(MediaDBStatement, LimitOfZeroOrBelowWritesNoLimit) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("id", "id", 0, -1, ""), 20);
    EXPECT_EQ(LoggedStatement(mark), "SELECT id FROM video  ORDER BY id ");
    mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("id", "id", 18, 0, ""), 2);
    EXPECT_EQ(LoggedStatement(mark), "SELECT id FROM video  ORDER BY id  OFFSET 18 ");
    EXPECT_EQ(Column(db, "id"), (std::vector<int>{18, 19}));
}

TEST_F(MediaDBStatement, NegativeOffsetIsWrittenAndTheServerRejectsIt) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Select("id", "", 0, 0, ""), 20);
    ASSERT_TRUE(db.NextRow());
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("id", "", -1, 0, ""), -1);
    EXPECT_EQ(LoggedStatement(mark), "SELECT id FROM video  OFFSET -1 ");
    // The earlier result set is gone.
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(db.FetchField("id"), "");
    ZEVO_MEDIA_INFO item;
    EXPECT_FALSE(db.FetchMediaItem(item));
}

TEST_F(MediaDBStatement, EmptyConditionAddsNoWhereClause) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddCondition("");
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("id", "", 0, 0, ""), 20);
    EXPECT_EQ(LoggedStatement(mark), "SELECT id FROM video ");
}

TEST_F(MediaDBStatement, ConditionsStayForEveryLaterSelect) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddCondition("duration < 3");
    EXPECT_EQ(db.Select("id", "", 0, 0, ""), 3);
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("title", "title", 0, 0, ""), 3);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT title FROM video  WHERE duration < 3  ORDER BY title ");
}

TEST_F(MediaDBStatement, ExcludeExtAddsItsConditionAndExcludesThoseFiles) {
    for (const char* path : {"/v/a.mkv", "/v/b.MKV", "/v/c.Mkv", "/v/d.mp4", "/v/mkv.avi",
                             "/v/emkv", "/v/f.mkv.mp4"}) {
        InsertItem("video", path, path);
    }
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddExcludeExt("mkv");
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("path", "path", 0, 0, ""), 3);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT path FROM video  WHERE path !~* E'.*\\.mkv$'  ORDER BY path ");
    std::vector<std::string> kept;
    while (db.NextRow()) {
        kept.push_back(db.FetchField("path"));
    }
    // Inside E'...' the backslash before the dot is taken by the literal, so the pattern's
    // dot matches any character: "/v/emkv" goes too.
    EXPECT_EQ(kept, (std::vector<std::string>{"/v/d.mp4", "/v/f.mkv.mp4", "/v/mkv.avi"}));
}

TEST_F(MediaDBStatement, ExcludeExtKeepsRegularExpressionCharacters) {
    for (const char* path : {"/v/a.mkv", "/v/b.m4v", "/v/c.mp4", "/v/d.m2ts"}) {
        InsertItem("video", path, path);
    }
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddExcludeExt("m.v");
    db.AddExcludeExt(nullptr);  // adds nothing
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("path", "path", 0, 0, ""), 2);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT path FROM video  WHERE path !~* E'.*\\.m.v$'  ORDER BY path ");
}

TEST_F(MediaDBStatement, ExcludeVideoCodecAddsItsConditionAndExcludesThoseRows) {
    Exec(
        "INSERT INTO video (path, video_codec) VALUES ('/v/1', 'h264'), ('/v/2', 'hevc'), "
        "('/v/3', 'H264'), ('/v/4', 'mpeg2video'), ('/v/5', 'h264')");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddExcludeVideoCodec("h264");
    db.AddExcludeExt("ts");
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("path", "path", 0, 0, ""), 3);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT path FROM video  WHERE video_codec != 'h264' and path !~* E'.*\\.ts$'  "
              "ORDER BY path ");
    std::vector<std::string> kept;
    while (db.NextRow()) {
        kept.push_back(db.FetchField("path"));
    }
    // A comparison is exact: "H264" stays.
    EXPECT_EQ(kept, (std::vector<std::string>{"/v/2", "/v/3", "/v/4"}));
}

TEST_F(MediaDBStatement, LongCodecGivesTheWholeCondition) {
    std::string codec(100, 'c');
    Exec("INSERT INTO video (path, video_codec) VALUES ('/v/1', '" + codec + "'), ('/v/2', 'x')");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddExcludeVideoCodec(codec);
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("path", "", 0, 0, ""), 1);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT path FROM video  WHERE video_codec != '" + codec + "' ");
}

TEST_F(MediaDBStatement, SelectTotalOnAnEmptyTableIsZero) {
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.SelectTotal(), 0);
    EXPECT_EQ(LoggedStatement(mark), "SELECT COUNT(id) as TOTAL FROM video ");
    // The count came from the single "TOTAL" row, which is still current.
    EXPECT_EQ(db.FetchField("TOTAL"), "0");
    EXPECT_FALSE(db.NextRow());
}

TEST_F(MediaDBStatement, SelectTotalCountsRowsUnderTheConditions) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    EXPECT_EQ(db.SelectTotal(), 20);
    db.AddCondition("year = 2001");
    db.AddCondition("duration > 10");
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.SelectTotal(), 5);  // durations 11, 13, 15, 17, 19
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT COUNT(id) as TOTAL FROM video  WHERE year = 2001 and duration > 10 ");
}

TEST_F(MediaDBStatement, SelectTotalOfAFailedQueryIsZero) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddCondition("no_such_column = 1");
    EXPECT_EQ(db.SelectTotal(), 0);
    EXPECT_FALSE(db.NextRow());
}

TEST_F(MediaDBStatement, EachTypeSelectsItsTableAndUnknownTypesSelectPhoto) {
    const struct {
        int type;
        const char* table;
    } cases[] = {{0, "music"},     {1, "video"}, {2, "photo"}, {3, "playlist"},
                 {4, "directory"}, {7, "photo"}, {-1, "photo"}};
    for (const char* table : {"music", "video", "photo", "playlist", "directory"}) {
        InsertItem(table, std::string("/") + table, table);
    }
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        MediaDB db(static_cast<Calyx::MEDIA_TABLE_TYPE>(c.type), nullptr);
        size_t mark = StatementLog::Instance().Mark();
        EXPECT_EQ(db.Select("title", "", 0, 0, ""), 1);
        EXPECT_EQ(LoggedStatement(mark), std::string("SELECT title FROM ") + c.table + " ");
        ASSERT_TRUE(db.NextRow());
        EXPECT_EQ(db.FetchField("title"), c.table);
    }
}

TEST_F(MediaDBStatement, NothingIsLoggedBelowLevelTwoNorForExecute) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Execute("SELECT id FROM video"), 20);
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_INFO);
    EXPECT_EQ(db.Select("id", "", 0, 0, ""), 20);
    EXPECT_TRUE(StatementLog::Instance().LinesSince(mark).empty());
}

TEST_F(MediaDBStatement, ExecuteRunsTheStatementAsItStands) {
    InsertTwentyVideos();
    MediaDB db(Calyx::MEDIA_TABLE_MUSIC, nullptr);
    EXPECT_EQ(db.Execute("SELECT id FROM video WHERE id < 3 ORDER BY id DESC"), 3);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("id"), 2);
    // A command succeeds with no rows.
    EXPECT_EQ(db.Execute("UPDATE video SET title = 'x' WHERE id = 1"), 0);
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(ExecParams("SELECT title FROM video WHERE id = 1", {}), "x");
    // A failure leaves no result set behind.
    EXPECT_EQ(db.Execute("SELECT id FROM video"), 20);
    EXPECT_EQ(db.Execute("SELEC nonsense"), -1);
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(db.FetchField("id"), "");
    EXPECT_EQ(db.FetchFieldAsInt("id"), 0);
}

}  // namespace
