// Prepared statements of the portable database layer: by name, and the bounded cache of
// them by text, against the real server.
#include <string>
#include <vector>

#include "calyx/media_db.h"
#include "calyx/platform.h"
#include "db/db_test_support.h"

namespace {

class PgPrepared : public calyx_test::DbTest {
protected:
    // The first row's `column` of a result (freed here), "<none>" without a result or row
    // and "<null>" for SQL NULL.
    static std::string First(DBResult* result, const char* column) {
        if (result == nullptr)
            return "<none>";
        DBRow row{};
        std::string text = "<none>";
        if (ZEVODBFetchRow(result, &row) == 0) {
            const char* value = ZEVODBFetchField(result, row, column);
            text = value != nullptr ? value : "<null>";
        }
        ZEVODBFreeResult(result);
        return text;
    }
    // `sql` run plainly on `conn`; its first row's column "v".
    static std::string Query(DBConnect* conn, const std::string& sql) {
        DBResult* result = nullptr;
        EXPECT_EQ(ZEVODBExecute(conn, sql.c_str(), &result), 0) << sql;
        return First(result, "v");
    }
    // The prepared statement `name` run on `conn` with `values`; its first row's column.
    static std::string Run(DBConnect* conn, const char* name,
                           const std::vector<const char*>& values, const char* column = "v") {
        DBResult* result = nullptr;
        EXPECT_EQ(ZEVODBExecutePrepared(conn, name, static_cast<int>(values.size()), values.data(),
                                        &result),
                  0)
            << name << ": " << Calyx::DBConnectLastError(conn);
        return First(result, column);
    }
    static std::string Cached(DBConnect* conn, const std::string& sql,
                              const std::vector<const char*>& values) {
        DBResult* result = nullptr;
        EXPECT_EQ(ZEVODBExecuteCached(conn, sql.c_str(), static_cast<int>(values.size()),
                                      values.data(), &result),
                  0)
            << sql << ": " << Calyx::DBConnectLastError(conn);
        return First(result, "v");
    }
    // How many statements the server holds prepared for this session under names with
    // `prefix`.
    static std::string PreparedCount(DBConnect* conn, const std::string& prefix) {
        return Query(conn, "SELECT count(*) AS v FROM pg_prepared_statements WHERE name LIKE '" +
                               prefix + "%'");
    }
};

TEST_F(PgPrepared, RunsWithValuesSentApartFromTheText) {
    ASSERT_EQ(ZEVODBPrepare(conn(), "add_one", "SELECT $1::int + 1 AS v, $2::text AS t"), 0);
    EXPECT_EQ(Run(conn(), "add_one", {"41", "x"}), "42");
    // A value is never read as SQL, whatever it holds.
    EXPECT_EQ(Run(conn(), "add_one", {"1", "o'neil\\'); DROP TABLE video; --"}, "t"),
              "o'neil\\'); DROP TABLE video; --");
    EXPECT_EQ(Run(conn(), "add_one", {nullptr, "x"}), "<null>");
    EXPECT_EQ(Query(conn(), "SELECT count(*) AS v FROM video"), "0");
}

TEST_F(PgPrepared, ResultIsReadLikeAPlainStatementsResult) {
    InsertItem("video", "/v/a.mkv", "alpha");
    InsertItem("video", "/v/b.mkv", "beta");
    ASSERT_EQ(
        ZEVODBPrepare(conn(), "by_title", "SELECT * FROM video WHERE title >= $1 ORDER BY id"), 0);
    DBResult* result = nullptr;
    const char* values[] = {"b"};
    ASSERT_EQ(ZEVODBExecutePrepared(conn(), "by_title", 1, values, &result), 0);
    EXPECT_EQ(ZEVODBNumRows(result), 1);
    DBRow row{};
    ASSERT_EQ(ZEVODBFetchRow(result, &row), 0);
    ZEVO_MEDIA_INFO info{};
    ASSERT_EQ(MediaInfoDBGetRecoredData(result, row, &info), 0);
    EXPECT_STREQ(info.path, "/v/b.mkv");
    EXPECT_NE(ZEVODBFetchRow(result, &row), 0);
    ZEVODBFreeResult(result);
}

TEST_F(PgPrepared, PreparingTheSameTextAgainKeepsOneStatementAndAnotherTextReplacesIt) {
    ASSERT_EQ(ZEVODBPrepare(conn(), "twice", "SELECT 1 AS v"), 0);
    ASSERT_EQ(ZEVODBPrepare(conn(), "twice", "SELECT 1 AS v"), 0);
    EXPECT_EQ(PreparedCount(conn(), "twice"), "1");
    ASSERT_EQ(ZEVODBPrepare(conn(), "twice", "SELECT 2 AS v"), 0);
    EXPECT_EQ(PreparedCount(conn(), "twice"), "1");
    EXPECT_EQ(Run(conn(), "twice", {}), "2");
}

TEST_F(PgPrepared, BadArgumentsFailWithoutAResult) {
    const std::string longName(64, 'n');
    EXPECT_NE(ZEVODBPrepare(nullptr, "n", "SELECT 1"), 0);
    EXPECT_NE(ZEVODBPrepare(conn(), nullptr, "SELECT 1"), 0);
    EXPECT_NE(ZEVODBPrepare(conn(), "", "SELECT 1"), 0);
    EXPECT_NE(ZEVODBPrepare(conn(), longName.c_str(), "SELECT 1"), 0);
    EXPECT_EQ(ZEVODBPrepare(conn(), longName.substr(1).c_str(), "SELECT 1"), 0);
    EXPECT_NE(ZEVODBPrepare(conn(), "calyx_cached_1", "SELECT 1"), 0);
    EXPECT_NE(ZEVODBPrepare(conn(), "n", nullptr), 0);
    ASSERT_EQ(ZEVODBPrepare(conn(), "n", "SELECT $1::int AS v"), 0);

    DBResult* result = reinterpret_cast<DBResult*>(0x1);
    const char* one[] = {"1"};
    EXPECT_NE(ZEVODBExecutePrepared(nullptr, "n", 1, one, &result), 0);
    EXPECT_EQ(result, nullptr);
    result = reinterpret_cast<DBResult*>(0x1);
    EXPECT_NE(ZEVODBExecutePrepared(conn(), "n", -1, one, &result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_NE(ZEVODBExecutePrepared(conn(), "n", 1, nullptr, &result), 0);
    EXPECT_NE(ZEVODBExecutePrepared(conn(), nullptr, 1, one, &result), 0);
    EXPECT_NE(ZEVODBExecutePrepared(conn(), "n", 1, one, nullptr), 0);
    EXPECT_NE(ZEVODBExecuteCached(nullptr, "SELECT 1", 0, nullptr, &result), 0);
    EXPECT_NE(ZEVODBExecuteCached(conn(), nullptr, 0, nullptr, &result), 0);
    EXPECT_NE(ZEVODBExecuteCached(conn(), "SELECT $1::int", 1, nullptr, &result), 0);
    EXPECT_NE(ZEVODBExecuteCached(conn(), "SELECT 1", 0, nullptr, nullptr), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_NE(ZEVODBDeallocate(nullptr, "n"), 0);
    EXPECT_NE(ZEVODBDeallocate(conn(), nullptr), 0);
    EXPECT_EQ(Run(conn(), "n", {"7"}), "7");
}

TEST_F(PgPrepared, ServerErrorsAreReportedAndLeaveTheConnectionUsable) {
    EXPECT_NE(ZEVODBPrepare(conn(), "broken", "SELEC 1"), 0);
    EXPECT_NE(Calyx::DBConnectLastError(conn()).find("syntax"), std::string::npos);
    DBResult* result = nullptr;
    EXPECT_NE(ZEVODBExecutePrepared(conn(), "broken", 0, nullptr, &result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_NE(ZEVODBExecutePrepared(conn(), "never_prepared", 0, nullptr, &result), 0);
    ASSERT_EQ(ZEVODBPrepare(conn(), "two", "SELECT $1::int + $2::int AS v"), 0);
    const char* one[] = {"1"};
    EXPECT_NE(ZEVODBExecutePrepared(conn(), "two", 1, one, &result), 0);  // one value short
    EXPECT_NE(Calyx::DBConnectLastError(conn()).find("parameters"), std::string::npos);
    const char* word[] = {"one", "two"};
    EXPECT_NE(ZEVODBExecutePrepared(conn(), "two", 2, word, &result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(Run(conn(), "two", {"1", "2"}), "3");
}

TEST_F(PgPrepared, StatementsForgottenByTheServerArePreparedAgain) {
    ASSERT_EQ(ZEVODBPrepare(conn(), "kept", "SELECT $1::int * 2 AS v"), 0);
    EXPECT_EQ(Query(conn(), "DEALLOCATE ALL; SELECT 1 AS v"), "1");
    EXPECT_EQ(PreparedCount(conn(), "kept"), "0");
    EXPECT_EQ(Run(conn(), "kept", {"21"}), "42");
    EXPECT_EQ(PreparedCount(conn(), "kept"), "1");
}

TEST_F(PgPrepared, StatementsOfALostConnectionArePreparedAgainInTheNewSession) {
    DBConnect* other = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    ASSERT_NE(other, nullptr);
    ASSERT_EQ(ZEVODBPrepare(other, "pid", "SELECT pg_backend_pid() AS v, $1::text AS t"), 0);
    const std::string pid = Run(other, "pid", {"a"});
    EXPECT_EQ(Cached(other, "SELECT $1::int + 1 AS v", {"1"}), "2");
    EXPECT_EQ(Cached(other, "SELECT $1::int + 1 AS v", {"1"}), "2");  // now prepared
    EXPECT_EQ(ExecParams("SELECT pg_terminate_backend($1::int)", {pid}), "t");
    // The statement that finds the connection gone fails; the next one reconnects and
    // prepares again what it needs.
    DBResult* result = nullptr;
    if (ZEVODBExecutePrepared(other, "pid", 1, std::vector<const char*>{"a"}.data(), &result) == 0)
        ZEVODBFreeResult(result);
    const std::string again = Run(other, "pid", {"b"});
    EXPECT_NE(again, pid);
    EXPECT_NE(again, "<none>");
    EXPECT_EQ(Cached(other, "SELECT $1::int + 1 AS v", {"2"}), "3");
    ZEVODBClose(other);
}

TEST_F(PgPrepared, StatementOverATableWhoseColumnsChangedIsPreparedAgain) {
    Exec("CREATE TABLE shape (a int)");
    Exec("INSERT INTO shape VALUES (5)");
    ASSERT_EQ(ZEVODBPrepare(conn(), "shape", "SELECT * FROM shape WHERE a = $1::int"), 0);
    EXPECT_EQ(Run(conn(), "shape", {"5"}, "a"), "5");
    Exec("ALTER TABLE shape ADD COLUMN b text DEFAULT 'new'");
    EXPECT_EQ(Run(conn(), "shape", {"5"}, "b"), "new");
}

TEST_F(PgPrepared, NameTakenByAnSqlPrepareGivesWay) {
    EXPECT_EQ(Query(conn(), "PREPARE taken AS SELECT 1 AS v; SELECT 1 AS v"), "1");
    ASSERT_EQ(ZEVODBPrepare(conn(), "taken", "SELECT 2 AS v"), 0);
    EXPECT_EQ(Run(conn(), "taken", {}), "2");
}

TEST_F(PgPrepared, DeallocatedStatementIsGone) {
    ASSERT_EQ(ZEVODBPrepare(conn(), "gone", "SELECT 1 AS v"), 0);
    ASSERT_EQ(ZEVODBDeallocate(conn(), "gone"), 0);
    EXPECT_EQ(PreparedCount(conn(), "gone"), "0");
    DBResult* result = nullptr;
    EXPECT_NE(ZEVODBExecutePrepared(conn(), "gone", 0, nullptr, &result), 0);
    EXPECT_EQ(ZEVODBDeallocate(conn(), "gone"), 0);  // already gone is fine
}

TEST_F(PgPrepared, CachePreparesATextWhenItComesAgain) {
    EXPECT_EQ(Cached(conn(), "SELECT $1::int + 1 AS v", {"1"}), "2");
    EXPECT_EQ(PreparedCount(conn(), "calyx_cached_"), "0");  // run once: not prepared
    EXPECT_EQ(Cached(conn(), "SELECT $1::int + 1 AS v", {"10"}), "11");
    EXPECT_EQ(Cached(conn(), "SELECT $1::int + 1 AS v", {"20"}), "21");
    EXPECT_EQ(Cached(conn(), "SELECT 'plain' AS v", {}), "plain");
    EXPECT_EQ(Cached(conn(), "SELECT 'plain' AS v", {}), "plain");
    EXPECT_EQ(PreparedCount(conn(), "calyx_cached_"), "2");
    EXPECT_EQ(Query(conn(),
                    "SELECT string_agg(statement, '|' ORDER BY statement) AS v FROM "
                    "pg_prepared_statements"),
              "SELECT $1::int + 1 AS v|SELECT 'plain' AS v");
    // Another connection has a cache of its own.
    DBConnect* other = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(Cached(other, "SELECT $1::int + 1 AS v", {"3"}), "4");
    EXPECT_EQ(Cached(other, "SELECT $1::int + 1 AS v", {"4"}), "5");
    EXPECT_EQ(PreparedCount(other, "calyx_cached_"), "1");
    ZEVODBClose(other);
}

TEST_F(PgPrepared, CacheKeepsTheMostRecentlyUsedTexts) {
    auto text = [](int i) { return "SELECT " + std::to_string(i) + " + $1::int AS v"; };
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(Cached(conn(), text(i), {"0"}), std::to_string(i));
        EXPECT_EQ(Cached(conn(), text(i), {"1"}), std::to_string(i + 1));
    }
    EXPECT_EQ(Cached(conn(), text(0), {"1"}), "1");  // now the most recent
    EXPECT_EQ(PreparedCount(conn(), "calyx_cached_"), "64");
    EXPECT_EQ(Cached(conn(), text(64), {"0"}), "64");  // forgets text 1
    EXPECT_EQ(Cached(conn(), text(64), {"0"}), "64");
    EXPECT_EQ(PreparedCount(conn(), "calyx_cached_"), "64");
    auto held = [&](int i) {
        return Query(
            conn(),
            "SELECT count(*) AS v FROM pg_prepared_statements WHERE statement = '" + text(i) + "'");
    };
    EXPECT_EQ(held(0), "1");
    EXPECT_EQ(held(1), "0");  // the least recently used went
    EXPECT_EQ(held(64), "1");
    EXPECT_EQ(Cached(conn(), text(1), {"1"}), "2");           // and comes back when asked for
    EXPECT_EQ(PreparedCount(conn(), "calyx_cached_"), "63");  // text 1 run once, text 2 gone
}

TEST_F(PgPrepared, CacheForgetsATextThatFails) {
    DBResult* result = nullptr;
    EXPECT_NE(ZEVODBExecuteCached(conn(), "SELECT * FROM no_such_table", 0, nullptr, &result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_NE(Calyx::DBConnectLastError(conn()).find("no_such_table"), std::string::npos);
    Exec("CREATE TABLE no_such_table (v int)");
    Exec("INSERT INTO no_such_table VALUES (9)");
    EXPECT_EQ(Cached(conn(), "SELECT * FROM no_such_table", {}), "9");
    EXPECT_EQ(PreparedCount(conn(), "calyx_cached_"), "0");  // its first good run
    EXPECT_EQ(Cached(conn(), "SELECT * FROM no_such_table", {}), "9");
    EXPECT_EQ(PreparedCount(conn(), "calyx_cached_"), "1");
}

}  // namespace
