// The portable database layer: connections, statements, result sets and row cursors.
#include <cstdlib>
#include <string>

#include "calyx/platform.h"
#include "db/db_test_support.h"

using calyx_test::ScopedEnv;

namespace {

class PgDatabase : public calyx_test::DbTest {
protected:
    DBResult* Run(const char* sql) {
        DBResult* result = nullptr;
        EXPECT_EQ(ZEVODBExecute(conn(), sql, &result), 0) << sql;
        return result;
    }
    static std::string Field(DBResult* result, DBRow row, const char* name) {
        const char* text = ZEVODBFetchField(result, row, name);
        return text != nullptr ? text : "<null>";
    }
};

TEST(PgDatabaseArguments, NullHandlesFailQuietly) {
    DBResult* result = reinterpret_cast<DBResult*>(0x1);
    EXPECT_NE(ZEVODBExecute(nullptr, "SELECT 1", &result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_NE(ZEVODBExecute(nullptr, "SELECT 1", nullptr), 0);
    EXPECT_EQ(ZEVODBNumRows(nullptr), 0);
    DBRow row{};
    EXPECT_NE(ZEVODBFetchRow(nullptr, &row), 0);
    EXPECT_EQ(ZEVODBFetchField(nullptr, row, "id"), nullptr);
    ZEVO_MEDIA_INFO info;
    EXPECT_NE(MediaInfoDBGetRecoredData(nullptr, row, &info), 0);
    ZEVODBFreeResult(nullptr);
    ZEVODBClose(nullptr);
}

TEST_F(PgDatabase, FieldsAreFoundByTheirNamesAsPostgresFoldsThem) {
    DBResult* result = Run("SELECT 1 AS id, 2 AS \"Title\", 3 AS a_2, NULL AS none, 5 AS id");
    ASSERT_NE(result, nullptr);
    DBRow row{};
    ASSERT_EQ(ZEVODBFetchRow(result, &row), 0);
    EXPECT_EQ(Field(result, row, "id"), "1");  // the first of two of that name
    EXPECT_EQ(Field(result, row, "ID"), "1");  // unquoted: folded to lower case
    EXPECT_EQ(Field(result, row, "\"Title\""), "2");
    EXPECT_EQ(Field(result, row, "title"), "<null>");  // no such column: it is "Title"
    EXPECT_EQ(Field(result, row, "a_2"), "3");
    EXPECT_EQ(Field(result, row, "none"), "<null>");
    EXPECT_EQ(Field(result, row, ""), "<null>");
    EXPECT_EQ(Field(result, row, "missing"), "<null>");
    ZEVODBFreeResult(result);
}

TEST_F(PgDatabase, FailedStatementStoresNoResult) {
    DBResult* result = Run("SELECT 1");
    ASSERT_NE(result, nullptr);
    DBResult* kept = result;
    EXPECT_NE(ZEVODBExecute(conn(), "SELECT * FROM no_such_table", &result), 0);
    EXPECT_EQ(result, nullptr);
    ZEVODBFreeResult(kept);
    EXPECT_NE(ZEVODBExecute(conn(), "", &result), 0);
    EXPECT_NE(ZEVODBExecute(conn(), nullptr, &result), 0);
    DBResult* one = Run("SELECT 1");
    EXPECT_NE(ZEVODBFetchRow(one, nullptr), 0);
    ZEVODBFreeResult(one);
}

TEST_F(PgDatabase, CursorWalksEachResultFromItsFirstRow) {
    DBResult* first = Run("SELECT i FROM generate_series(1, 3) AS i");
    DBResult* second = Run("SELECT i * 10 AS i FROM generate_series(1, 2) AS i");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(ZEVODBNumRows(first), 3);
    DBRow row{};
    EXPECT_EQ(Field(first, row, "i"), "<null>");  // not on a row yet
    ASSERT_EQ(ZEVODBFetchRow(first, &row), 0);
    ASSERT_EQ(ZEVODBFetchRow(first, &row), 0);
    EXPECT_EQ(Field(first, row, "i"), "2");
    // The cursor belongs to `first`: it reads nothing from `second` ...
    EXPECT_EQ(Field(second, row, "i"), "<null>");
    // ... and handed to `second` it starts there at the first row.
    ASSERT_EQ(ZEVODBFetchRow(second, &row), 0);
    EXPECT_EQ(Field(second, row, "i"), "10");
    ASSERT_EQ(ZEVODBFetchRow(second, &row), 0);
    EXPECT_EQ(Field(second, row, "i"), "20");
    EXPECT_NE(ZEVODBFetchRow(second, &row), 0);
    EXPECT_NE(ZEVODBFetchRow(second, &row), 0);  // stays at the end
    EXPECT_EQ(Field(second, row, "i"), "<null>");
    ZEVODBFreeResult(first);
    ZEVODBFreeResult(second);
}

TEST_F(PgDatabase, EmptyResultAndCommandHaveNoRows) {
    DBResult* empty = Run("SELECT 1 WHERE false");
    DBRow row{};
    EXPECT_EQ(ZEVODBNumRows(empty), 0);
    EXPECT_NE(ZEVODBFetchRow(empty, &row), 0);
    ZEVODBFreeResult(empty);
    DBResult* command = Run("CREATE TEMPORARY TABLE scratch (a int)");
    ASSERT_NE(command, nullptr);
    EXPECT_EQ(ZEVODBNumRows(command), 0);
    EXPECT_NE(ZEVODBFetchRow(command, &row), 0);
    ZEVODBFreeResult(command);
}

TEST_F(PgDatabase, MediaRecordNeedsACursorOnARow) {
    InsertItem("video", "/v/1", "one");
    DBResult* result = Run("SELECT * FROM video");
    DBRow row{};
    ZEVO_MEDIA_INFO info;
    EXPECT_NE(MediaInfoDBGetRecoredData(result, row, &info), 0);
    ASSERT_EQ(ZEVODBFetchRow(result, &row), 0);
    EXPECT_NE(MediaInfoDBGetRecoredData(result, row, nullptr), 0);
    ASSERT_EQ(MediaInfoDBGetRecoredData(result, row, &info), 0);
    EXPECT_STREQ(info.title, "one");
    EXPECT_NE(ZEVODBFetchRow(result, &row), 0);
    EXPECT_NE(MediaInfoDBGetRecoredData(result, row, &info), 0);
    ZEVODBFreeResult(result);
}

TEST_F(PgDatabase, SessionIsUtf8WithStandardConformingStrings) {
    ScopedEnv encoding("PGCLIENTENCODING", "LATIN1");
    ScopedEnv options("PGOPTIONS", "-c standard_conforming_strings=off");
    DBConnect* other = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    ASSERT_NE(other, nullptr);
    DBResult* result = nullptr;
    ASSERT_EQ(ZEVODBExecute(other,
                            "SELECT current_setting('client_encoding') AS e, "
                            "current_setting('standard_conforming_strings') AS s",
                            &result),
              0);
    DBRow row{};
    ASSERT_EQ(ZEVODBFetchRow(result, &row), 0);
    EXPECT_EQ(Field(result, row, "e"), "UTF8");
    EXPECT_EQ(Field(result, row, "s"), "on");
    ZEVODBFreeResult(result);
    ZEVODBClose(other);
}

TEST_F(PgDatabase, ConnectHonoursExplicitHostAndRejectsUnknownDatabases) {
    DBConnect* explicitHost = ZEVODBConnect(getenv("PGHOST"), "admin", nullptr, "calyx");
    EXPECT_NE(explicitHost, nullptr);
    ZEVODBClose(explicitHost);
    EXPECT_EQ(ZEVODBConnect(nullptr, "admin", nullptr, "no_such_database"), nullptr);
    // A name is never read as a connection string.
    EXPECT_EQ(ZEVODBConnect(nullptr, "admin", nullptr, "dbname=calyx"), nullptr);
}

TEST_F(PgDatabase, CopyDoesNotWedgeTheConnection) {
    InsertItem("video", "/v/1", "one");
    DBResult* result = nullptr;
    EXPECT_NE(ZEVODBExecute(conn(), "COPY video TO STDOUT", &result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_NE(ZEVODBExecute(conn(), "COPY video (path) FROM STDIN", &result), 0);
    EXPECT_EQ(result, nullptr);
    result = Run("SELECT count(*) AS n FROM video");
    DBRow row{};
    ASSERT_EQ(ZEVODBFetchRow(result, &row), 0);
    EXPECT_EQ(Field(result, row, "n"), "1");
    ZEVODBFreeResult(result);
}

TEST_F(PgDatabase, LostConnectionIsReestablishedForTheNextStatement) {
    DBConnect* other = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    ASSERT_NE(other, nullptr);
    DBResult* result = nullptr;
    ASSERT_EQ(ZEVODBExecute(other, "SELECT pg_backend_pid() AS pid", &result), 0);
    DBRow row{};
    ASSERT_EQ(ZEVODBFetchRow(result, &row), 0);
    std::string pid = Field(result, row, "pid");
    ZEVODBFreeResult(result);
    EXPECT_EQ(ExecParams("SELECT pg_terminate_backend($1::int)", {pid}), "t");
    // The statement that finds the connection gone fails; the next one reconnects.
    if (ZEVODBExecute(other, "SELECT 1", &result) == 0) {
        ZEVODBFreeResult(result);
    }
    ASSERT_EQ(ZEVODBExecute(other, "SELECT pg_backend_pid() AS pid", &result), 0);
    ASSERT_EQ(ZEVODBFetchRow(result, &row), 0);
    EXPECT_NE(Field(result, row, "pid"), pid);
    ZEVODBFreeResult(result);
    ZEVODBClose(other);
}

}  // namespace
