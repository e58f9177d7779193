// Escaped values inside conditions select exactly the row that holds them, and never
// change what the statement is.
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/media_db.h"
#include "db_test_support.h"
#include "platform/pg_handles.h"

using Calyx::MediaDB;
using calyx_test::StatementLog;

namespace {

std::vector<std::string> HostileValues() {
    std::vector<std::string> values = {
        "O'Brien",
        "'",
        "''",
        "'''",
        "\\",
        "\\\\",
        "\\'",
        "a\\'b",
        "\\x41",
        "\\047",
        "E'\\''",
        "'; DROP TABLE video; --",
        "\\'; DROP TABLE video; --",
        "x' OR '1'='1",
        "$$; DROP TABLE video; $$",
        "Café crème",
        "日本語のタイトル",
        "🎬 ' \\ 😀",
        "Ünïcödé\\'s",
    };
    std::string everyByte;
    for (int c = 0x01; c <= 0x7F; ++c) {
        everyByte += static_cast<char>(c);
        values.push_back(std::string("a") + static_cast<char>(c) + "z");
    }
    values.push_back(everyByte);
    return values;
}

class SqlEscapeRoundTrip : public calyx_test::DbTest {
protected:
    void SetUp() override {
        DbTest::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        values_ = HostileValues();
        for (size_t i = 0; i < values_.size(); ++i) {
            ids_.push_back(InsertItem("video", "/v/" + std::to_string(i), values_[i]));
        }
        // Near misses of every value, which an escaping slip would select instead.
        for (size_t i = 0; i < values_.size(); ++i) {
            InsertItem("video", "/near/" + std::to_string(i), values_[i] + " ");
        }
        total_ = static_cast<int>(2 * values_.size());
    }

    // The statement is one SELECT with two result columns and no parameters, as the
    // server parses it (a prepared statement refuses more than one command).
    void ExpectShape(const std::string& statement) {
        PGresult* prepared = PQprepare(pg(), "", statement.c_str(), 0, nullptr);
        ASSERT_EQ(PQresultStatus(prepared), PGRES_COMMAND_OK) << statement << "\n"
                                                              << PQresultErrorMessage(prepared);
        PQclear(prepared);
        PGresult* described = PQdescribePrepared(pg(), "");
        EXPECT_EQ(PQnparams(described), 0);
        EXPECT_EQ(PQnfields(described), 2);
        PQclear(described);
    }

    // Selects with `condition` and checks that exactly row `index` comes back.
    void ExpectSelectsOnly(size_t index, const std::string& condition) {
        SCOPED_TRACE("value #" + std::to_string(index) + ": " + condition);
        MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn());
        db.AddCondition(condition);
        size_t mark = StatementLog::Instance().Mark();
        ASSERT_EQ(db.Select("id, title", "", 0, 0, ""), 1);
        std::string statement = LoggedStatement(mark);
        EXPECT_EQ(statement, "SELECT id, title FROM video  WHERE " + condition + " ");
        ASSERT_TRUE(db.NextRow());
        EXPECT_EQ(db.FetchFieldAsInt("id"), ids_[index]);
        EXPECT_EQ(db.FetchField("title"), values_[index]);
        EXPECT_FALSE(db.NextRow());
        ExpectShape(statement);
    }

    void ExpectTableIntact() {
        MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn());
        EXPECT_EQ(db.SelectTotal(), total_);
    }

    std::vector<std::string> values_;
    std::vector<long long> ids_;
    int total_ = 0;
};

TEST_F(SqlEscapeRoundTrip, StringLiteralSelectsExactlyTheRowHoldingTheValue) {
    for (size_t i = 0; i < values_.size(); ++i) {
        ExpectSelectsOnly(i, "title = '" + Calyx::SQLEscapeString(values_[i]) + "'");
    }
    ExpectTableIntact();
}

TEST_F(SqlEscapeRoundTrip, EscapeStringLiteralSelectsExactlyTheRowHoldingTheValue) {
    for (size_t i = 0; i < values_.size(); ++i) {
        ExpectSelectsOnly(i, "title = E'" + Calyx::SQLEscapeCondition(values_[i]) + "'");
    }
    ExpectTableIntact();
}

TEST_F(SqlEscapeRoundTrip, EscapedValuesWorkInPatternsToo) {
    // A LIKE pattern without wildcards of its own matches the value itself.
    for (size_t i = 0; i < values_.size(); ++i) {
        const std::string& v = values_[i];
        if (v.find_first_of("%_\\") != std::string::npos) {
            continue;  // LIKE gives these bytes a meaning of their own
        }
        ExpectSelectsOnly(i, "title LIKE E'" + Calyx::SQLEscapeCondition(v) + "'");
    }
    ExpectTableIntact();
}

}  // namespace
