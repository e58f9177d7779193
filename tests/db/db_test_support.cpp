#include "db_test_support.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "calyx/core.h"
#include "platform/pg_handles.h"

namespace calyx_test {

std::string ServerProblem() {
    const char* host = getenv("PGHOST");
    if (host == nullptr || *host == '\0') {
        return "PGHOST is not set. The db tests need a PostgreSQL server: run them through "
               "scripts/run-tests.sh (make test), or start one with scripts/pg-cluster.sh and "
               "export PGHOST and PGPORT.";
    }
    const char* keys[] = {"user", "dbname", nullptr};
    const char* values[] = {"admin", "calyx", nullptr};
    PGconn* pg = PQconnectdbParams(keys, values, 0);
    std::string problem;
    if (PQstatus(pg) != CONNECTION_OK) {
        const char* port = getenv("PGPORT");
        problem = std::string("cannot reach the PostgreSQL server at PGHOST=") + host +
                  " PGPORT=" + (port != nullptr ? port : "(unset)") + ": " + PQerrorMessage(pg);
    }
    PQfinish(pg);
    return problem;
}

StatementLog& StatementLog::Instance() {
    static StatementLog log;
    return log;
}

StatementLog::StatementLog() : path_(dir_.file("calyx.log")) {
    if (Calyx::DMSLOGInit(path_.c_str()) != 1) {
        ADD_FAILURE() << "cannot open the library log " << path_;
    }
}

StatementLog::~StatementLog() {
    Calyx::DMSLogClose();
}

size_t StatementLog::Mark() const {
    return ReadFile(path_).size();
}

std::string StatementLog::TextSince(size_t mark) const {
    std::string text = ReadFile(path_);
    return mark < text.size() ? text.substr(mark) : std::string();
}

std::vector<std::string> StatementLog::LinesSince(size_t mark) const {
    std::vector<std::string> lines = SplitLines(TextSince(mark));
    // Each line is "<timestamp "%b%e %T", 14 characters> <text>".
    for (std::string& line : lines) {
        line = line.size() >= 15 ? line.substr(15) : std::string("<short line: ") + line + ">";
    }
    return lines;
}

namespace {
std::atomic<int> gSchemaCounter{0};
}

void DbTest::SetUp() {
    std::string problem = ServerProblem();
    ASSERT_TRUE(problem.empty()) << problem;
    StatementLog::Instance();
    schema_ = "calyx_test_" + std::to_string(getpid()) + "_" + std::to_string(++gSchemaCounter);
    conn_ = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    ASSERT_NE(conn_, nullptr);
    Exec("CREATE SCHEMA " + schema_);
    Exec("SET search_path = " + schema_);
    std::string schemaSql = ReadFile(calyx_test::SourcePath("sql/media_index.sql"));
    ASSERT_FALSE(schemaSql.empty()) << "cannot read sql/media_index.sql";
    Exec(schemaSql);
    options_.reset(new ScopedEnv("PGOPTIONS", ("-c search_path=" + schema_).c_str()));
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_DEBUG);
}

void DbTest::TearDown() {
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);
    options_.reset();
    if (conn_ != nullptr) {
        DBResult* result = nullptr;
        ZEVODBExecute(conn_, ("DROP SCHEMA " + schema_ + " CASCADE").c_str(), &result);
        ZEVODBFreeResult(result);
        ZEVODBClose(conn_);
        conn_ = nullptr;
    }
}

PGconn* DbTest::pg() const {
    return conn_->pg;
}

void DbTest::Exec(const std::string& sql) {
    PGresult* r = PQexec(pg(), sql.c_str());
    ExecStatusType status = PQresultStatus(r);
    EXPECT_TRUE(status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) << sql << "\n"
                                                                         << PQresultErrorMessage(r);
    PQclear(r);
}

std::string DbTest::ExecParams(const std::string& sql, const std::vector<std::string>& params) {
    std::vector<const char*> values;
    for (const std::string& p : params) {
        values.push_back(p.c_str());
    }
    PGresult* r = PQexecParams(pg(), sql.c_str(), static_cast<int>(values.size()), nullptr,
                               values.data(), nullptr, nullptr, 0);
    ExecStatusType status = PQresultStatus(r);
    EXPECT_TRUE(status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) << sql << "\n"
                                                                         << PQresultErrorMessage(r);
    std::string first;
    if (status == PGRES_TUPLES_OK && PQntuples(r) > 0 && PQnfields(r) > 0) {
        first = PQgetvalue(r, 0, 0);
    }
    PQclear(r);
    return first;
}

long long DbTest::InsertItem(const std::string& table, const std::string& path,
                             const std::string& title) {
    std::string id = ExecParams(
        "INSERT INTO " + table + " (path, title) VALUES ($1, $2) RETURNING id", {path, title});
    return atoll(id.c_str());
}

void DbTest::InsertTwentyVideos() {
    Exec(
        "INSERT INTO video (id, path, title, duration, year) "
        "SELECT i, '/v/' || i || '.mp4', 't' || lpad(i::text, 2, '0'), i, 2000 + i % 2 "
        "FROM generate_series(0, 19) AS i");
}

std::vector<int> DbTest::Column(Calyx::MediaDB& db, const char* name) {
    std::vector<int> values;
    while (db.NextRow())
        values.push_back(db.FetchFieldAsInt(name));
    return values;
}

std::string DbTest::LoggedStatement(size_t mark) {
    // "<timestamp "%b%e %T", 14 characters> <statement>\n"; the statement itself may hold
    // line breaks, so the whole new text is one entry.
    std::string text = StatementLog::Instance().TextSince(mark);
    EXPECT_TRUE(text.size() > 15 && text.back() == '\n' && text[14] == ' ')
        << "expected one logged statement, got: " << text;
    if (text.size() <= 15) {
        return std::string();
    }
    std::string statement = text.substr(15, text.size() - 16);
    EXPECT_TRUE(StatementLog::Instance().LinesSince(mark).size() == 1 ||
                statement.find('\n') != std::string::npos)
        << "expected exactly one logged statement, got: " << text;
    return statement;
}

}  // namespace calyx_test
