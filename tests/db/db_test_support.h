// Shared pieces of the media index tests: a private schema per test on the real server,
// direct SQL for setting up rows, and the statements MediaDB writes to the library log.
#ifndef CALYX_TESTS_DB_DB_TEST_SUPPORT_H
#define CALYX_TESTS_DB_DB_TEST_SUPPORT_H

#include <libpq-fe.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "calyx/media_db.h"
#include "calyx/platform.h"
#include "support/test_support.h"

namespace calyx_test {

// Empty when the server of PGHOST/PGPORT accepts the user "admin" on the database
// "calyx"; otherwise the reason, with what to do about it.
std::string ServerProblem();

// The library log, opened once per test program in a private temporary file.
class StatementLog {
public:
    static StatementLog& Instance();
    // Position after everything logged so far.
    size_t Mark() const;
    // Everything written since `mark`.
    std::string TextSince(size_t mark) const;
    // Texts of the lines logged since `mark`, without their timestamps and newlines.
    std::vector<std::string> LinesSince(size_t mark) const;

private:
    StatementLog();
    ~StatementLog();
    TempDir dir_;
    std::string path_;
};

// A test on the real server. Each test gets a schema of its own holding the media index
// tables (so tests in parallel processes never see each other's rows), reached by every
// connection the test opens through PGOPTIONS' search_path, and dropped at the end.
class DbTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Runs SQL on the test's own connection; fails the test when it does not succeed.
    void Exec(const std::string& sql);
    // Runs a parameterised statement (values sent apart from the text); returns the
    // first column of the first row, or "".
    std::string ExecParams(const std::string& sql, const std::vector<std::string>& params);
    // Inserts a row into `table` with the given path and title; returns its id.
    long long InsertItem(const std::string& table, const std::string& path,
                         const std::string& title);
    // Twenty videos "t00".."t19": duration i, year 2000 + i % 2, path "/v/<i>.mp4".
    void InsertTwentyVideos();
    // The integer column `name` of every row left in `db`'s result, in order.
    static std::vector<int> Column(Calyx::MediaDB& db, const char* name);

    // The one statement logged since `mark`, without timestamp and final newline (fails
    // the test when there is not exactly one).
    std::string LoggedStatement(size_t mark);

    DBConnect* conn() const { return conn_; }
    PGconn* pg() const;
    const std::string& schema() const { return schema_; }

private:
    std::string schema_;
    DBConnect* conn_ = nullptr;
    std::unique_ptr<ScopedEnv> options_;
};

}  // namespace calyx_test

#endif  // CALYX_TESTS_DB_DB_TEST_SUPPORT_H
