// MediaQuery: the statements it builds (as written to the library log), the values sent
// apart from them, and the statements prepared once per connection.
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/media_db.h"
#include "calyx/platform.h"
#include "db_test_support.h"

using Calyx::MediaDB;
using Calyx::MediaQuery;
using calyx_test::StatementLog;

namespace {

class MediaQueryTest : public calyx_test::DbTest {
protected:
    // The statements prepared on the test's connection, as the server lists them.
    std::string PreparedStatements() {
        MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn());
        std::string all;
        db.Execute("SELECT statement FROM pg_prepared_statements ORDER BY statement");
        while (db.NextRow())
            all += db.FetchField("statement") + "\n";
        return all;
    }
};

TEST_F(MediaQueryTest, ValuesAreNumberedAfterEachOtherInTheStatement) {
    InsertTwentyVideos();
    MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn());
    db.AddCondition("year = 2000");
    db.AddCondition("duration >= $1", {"2"});
    db.AddCondition("(title, id) > ($1, $2)", {"t06", "6"});
    const size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("id", "title", 1, 3, ""), 3);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT id FROM video  WHERE year = 2000 and duration >= $1 and (title, id) > ($2, "
              "$3)  ORDER BY title  LIMIT 3  OFFSET 1 ");
    EXPECT_EQ(Column(db, "id"), (std::vector<int>{10, 12, 14}));
}

TEST_F(MediaQueryTest, PlainConditionsComeFirstWhateverTheOrderAdded) {
    InsertTwentyVideos();
    MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn());
    db.AddCondition("id < $1", {"4"});
    db.AddExcludeExt("mkv");
    db.AddCondition("");
    db.AddCondition("", {"ignored"});
    const size_t mark = StatementLog::Instance().Mark();
    EXPECT_EQ(db.Select("*", "", 0, 0, ""), 4);
    EXPECT_EQ(LoggedStatement(mark),
              "SELECT * FROM video  WHERE path !~* E'.*\\.mkv$' and id < $1 ");
}

TEST_F(MediaQueryTest, ValuesAreNeverReadAsSql) {
    const long long id = InsertItem("video", "/v/quote.mp4", "it's \\ 'odd'; DROP TABLE video --");
    MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn());
    db.AddCondition("title = $1", {"it's \\ 'odd'; DROP TABLE video --"});
    ASSERT_EQ(db.Select("id", "", 0, 0, ""), 1);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("id"), id);
    MediaQuery none(Calyx::MEDIA_TABLE_VIDEO, conn());
    none.AddCondition("title = $1", {"it''s"});
    EXPECT_EQ(none.Select("id", "", 0, 0, ""), 0);
}

TEST_F(MediaQueryTest, RowsAreReadAsMediaDBReadsThem) {
    InsertItem("video", "/v/a.mp4", "alpha");
    MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn());
    db.AddCondition("path = $1", {"/v/a.mp4"});
    ASSERT_EQ(db.Select("*", "", 0, 1, ""), 1);
    ASSERT_TRUE(db.NextRow());
    ZEVO_MEDIA_INFO item{};
    ASSERT_TRUE(db.FetchMediaItem(item));
    EXPECT_STREQ(item.title, "alpha");
    EXPECT_EQ(db.FetchField("title"), "alpha");
    EXPECT_FALSE(db.NextRow());
}

TEST_F(MediaQueryTest, SelectTotalCountsUnderEveryCondition) {
    InsertTwentyVideos();
    MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn());
    db.AddCondition("year = 2001");
    db.AddCondition("duration > $1", {"10"});
    EXPECT_EQ(db.SelectTotal(), 5);  // 11, 13, 15, 17 and 19
}

TEST_F(MediaQueryTest, ABrokenConditionMakesEveryStatementFail) {
    InsertTwentyVideos();
    for (const std::vector<std::string>& values :
         {std::vector<std::string>{}, std::vector<std::string>{"1", "2"}}) {
        MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn());
        db.AddCondition("id = $1", values);
        db.AddCondition("id > $1", {"0"});
        EXPECT_EQ(db.Select("*", "", 0, 0, ""), -1);
        EXPECT_FALSE(db.NextRow());
        EXPECT_EQ(db.SelectTotal(), 0);
    }
}

TEST_F(MediaQueryTest, EachTextIsPreparedOnceAndServesEveryValue) {
    InsertTwentyVideos();
    for (int id = 0; id < 3; ++id) {
        MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn());
        db.AddCondition("id = $1", {std::to_string(id)});
        ASSERT_EQ(db.Select("title", "", 0, 1, ""), 1);
        ASSERT_TRUE(db.NextRow());
        EXPECT_EQ(db.FetchField("title"), "t0" + std::to_string(id));
    }
    EXPECT_EQ(PreparedStatements(), "SELECT title FROM video  WHERE id = $1  LIMIT 1 \n");
}

TEST_F(MediaQueryTest, ExecuteRunsTheCallersStatementWithValues) {
    InsertTwentyVideos();
    MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn());
    EXPECT_EQ(
        db.Execute("SELECT id FROM video WHERE id = ANY($1::bigint[]) ORDER BY id", {"{3,5,7}"}),
        3);
    EXPECT_EQ(Column(db, "id"), (std::vector<int>{3, 5, 7}));
    EXPECT_EQ(db.Execute("SELECT id FROM video WHERE id = $1", {"x"}), -1);  // not a number
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(db.Execute("SELECT count(*) AS n FROM video"), 1);  // MediaDB's, plain
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchFieldAsInt("n"), 20);
}

TEST_F(MediaQueryTest, FailedConnectMakesEveryStatementFail) {
    calyx_test::ScopedEnv host("PGHOST", "/nonexistent-socket-dir");
    MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddCondition("id = $1", {"1"});
    EXPECT_EQ(db.Select("*", "", 0, 0, ""), -1);
    EXPECT_EQ(db.SelectTotal(), 0);
    EXPECT_EQ(db.Execute("SELECT 1", {}), -1);
}

}  // namespace
