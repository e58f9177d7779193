// The media index when its PostgreSQL server stops between statements. The test starts a
// server of its own (scripts/pg-cluster.sh, on a private socket directory and port),
// stops it mid-walk and checks: the current result set stays readable, later statements
// give -1 (or 0 for a count), nothing crashes or hangs.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "calyx/media_db.h"
#include "calyx/platform.h"
#include "support/test_support.h"

using calyx_test::ScopedEnv;

namespace {

std::string Quote(const std::string& s) {
    return "'" + s + "'";
}

// One throw-away cluster; stopped (and its directory removed) by Stop or at the end.
class PrivateCluster {
public:
    PrivateCluster() : port_(std::to_string(56000 + getpid() % 1000)) {
        script_ = calyx_test::SourcePath("scripts/pg-cluster.sh");
        dir_ = dir_holder_.file("pg");
        // The server refuses to run as root: there it runs as the test user.
        user_ = calyx_test::RunningAsRoot() ? "calyx-test" : "";
        chmod(dir_holder_.path().c_str(), 0755);
        started_ = Run("start") == 0;
    }
    ~PrivateCluster() { Stop(); }
    bool started() const { return started_; }
    const std::string& dir() const { return dir_; }
    const std::string& port() const { return port_; }
    void Stop() {
        if (started_) {
            Run("stop");
            started_ = false;
        }
    }

private:
    int Run(const std::string& command) {
        std::string line = "CALYX_PG_PORT=" + port_ + " bash " + Quote(script_) + " " + command +
                           " " + Quote(dir_) + " " + user_ + " >/dev/null 2>&1";
        return system(line.c_str());
    }
    calyx_test::TempDir dir_holder_;
    std::string script_, dir_, port_, user_;
    bool started_ = false;
};

class PostgresStopped : public testing::Test {
protected:
    void SetUp() override {
        if (calyx_test::RunningAsRoot() && system("id calyx-test >/dev/null 2>&1") != 0) {
            GTEST_SKIP() << "as root the server needs the user calyx-test";
        }
        ASSERT_TRUE(cluster_.started()) << "scripts/pg-cluster.sh could not start a server";
        host_ = std::make_unique<ScopedEnv>("PGHOST", cluster_.dir().c_str());
        port_ = std::make_unique<ScopedEnv>("PGPORT", cluster_.port().c_str());
    }
    PrivateCluster cluster_;
    std::unique_ptr<ScopedEnv> host_, port_;
};

TEST_F(PostgresStopped, ResultStaysReadableAndLaterStatementsFail) {
    Calyx::MediaDB db(Calyx::MEDIA_TABLE_MUSIC, nullptr);
    ASSERT_EQ(db.Execute("SELECT n AS id, 'title ' || n AS title FROM generate_series(1, 20) n"),
              20);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchField("title"), "title 1");

    cluster_.Stop();

    int seen = 1;
    while (db.NextRow()) {
        ++seen;
        EXPECT_EQ(db.FetchFieldAsInt("id"), seen);
    }
    EXPECT_EQ(seen, 20);
    EXPECT_EQ(db.Execute("SELECT 1"), -1);
    EXPECT_EQ(db.Select("*", "id", 0, 10, ""), -1);
    EXPECT_EQ(db.SelectTotal(), 0);
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(db.FetchField("id"), "");
    ZEVO_MEDIA_INFO item{};
    EXPECT_FALSE(db.FetchMediaItem(item));
}

TEST_F(PostgresStopped, BorrowedConnectionFailsCleanly) {
    DBConnect* conn = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    ASSERT_NE(conn, nullptr);
    {
        Calyx::MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn);
        EXPECT_GE(db.SelectTotal(), 0);
        cluster_.Stop();
        EXPECT_EQ(db.Select("id", "", 0, 0, ""), -1);
        EXPECT_EQ(db.Execute("SELECT 1"), -1);
    }
    DBResult* result = nullptr;
    EXPECT_NE(ZEVODBExecute(conn, "SELECT 1", &result), 0);
    EXPECT_EQ(result, nullptr);
    ZEVODBClose(conn);
}

TEST_F(PostgresStopped, NewObjectsAfterTheStopFail) {
    cluster_.Stop();
    Calyx::MediaDB db(Calyx::MEDIA_TABLE_PHOTO, nullptr);
    EXPECT_EQ(db.Execute("SELECT 1"), -1);
    EXPECT_EQ(db.SelectTotal(), 0);
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(ZEVODBConnect(nullptr, "admin", nullptr, "calyx"), nullptr);
}

}  // namespace
