// The connection a MediaDB opens or borrows, and what happens without a server.
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "calyx/core.h"
#include "calyx/ext.h"
#include "calyx/media_db.h"
#include "db_test_support.h"

using Calyx::MediaDB;
using calyx_test::ScopedEnv;
using calyx_test::StatementLog;
using calyx_test::TempDir;

namespace {

class MediaDBConnection : public calyx_test::DbTest {
protected:
    // Backends connected under `application`, as the server counts them (a closed
    // connection's backend may take a moment to leave).
    int BackendsOf(const std::string& application, int expected) {
        int count = -1;
        for (int attempt = 0; attempt < 100; ++attempt) {
            count = atoi(ExecParams("SELECT count(*) FROM pg_stat_activity "
                                    "WHERE application_name = $1",
                                    {application})
                             .c_str());
            if (count == expected) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return count;
    }
};

TEST(MediaDBWithoutServer, FailedConnectGivesFailureEverywhere) {
    TempDir empty;  // a socket directory where no server listens
    ScopedEnv host("PGHOST", empty.path().c_str());
    ScopedEnv port("PGPORT", "55999");
    calyx_test::StatementLog::Instance();
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    db.AddCondition("duration > 0");
    db.AddExcludeExt("mkv");
    db.AddExcludeVideoCodec("h264");
    EXPECT_EQ(db.Select("*", "title", 0, 10, ""), -1);
    EXPECT_EQ(db.SelectTotal(), 0);
    EXPECT_EQ(db.Execute("SELECT 1"), -1);
    EXPECT_FALSE(db.NextRow());
    EXPECT_EQ(db.FetchField("id"), "");
    EXPECT_EQ(db.FetchFieldAsInt("id"), 0);
    ZEVO_MEDIA_INFO item;
    EXPECT_FALSE(db.FetchMediaItem(item));
}

TEST(MediaDBWithoutServer, FailedConnectLogsOnlyTheStatement) {
    TempDir empty;
    ScopedEnv host("PGHOST", empty.path().c_str());
    ScopedEnv port("PGPORT", "55999");
    StatementLog& log = StatementLog::Instance();
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_DEBUG);
    size_t mark = log.Mark();
    {
        MediaDB db(Calyx::MEDIA_TABLE_PHOTO, nullptr);
        EXPECT_EQ(db.Select("id", "", 0, 0, ""), -1);
    }
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);
    EXPECT_EQ(log.LinesSince(mark), (std::vector<std::string>{"SELECT id FROM photo "}));
}

TEST_F(MediaDBConnection, BorrowedConnectionStaysOpenAfterTheObjectDies) {
    InsertItem("video", "/v/1", "one");
    {
        MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn());
        ASSERT_EQ(db.Select("title", "", 0, 0, ""), 1);
        ASSERT_TRUE(db.NextRow());
        EXPECT_EQ(db.FetchField("title"), "one");
    }
    DBResult* result = nullptr;
    ASSERT_EQ(ZEVODBExecute(conn(), "SELECT title FROM video", &result), 0);
    EXPECT_EQ(ZEVODBNumRows(result), 1);
    ZEVODBFreeResult(result);
    // Two objects may take turns on one borrowed connection.
    MediaDB first(Calyx::MEDIA_TABLE_VIDEO, conn());
    MediaDB second(Calyx::MEDIA_TABLE_VIDEO, conn());
    EXPECT_EQ(first.SelectTotal(), 1);
    EXPECT_EQ(second.SelectTotal(), 1);
}

TEST_F(MediaDBConnection, OwnConnectionIsClosedByTheDestructor) {
    std::string application = "calyx-own-" + std::to_string(getpid());
    ScopedEnv name("PGAPPNAME", application.c_str());
    {
        MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
        EXPECT_EQ(db.SelectTotal(), 0);
        EXPECT_EQ(BackendsOf(application, 1), 1);
    }
    EXPECT_EQ(BackendsOf(application, 0), 0);
}

TEST_F(MediaDBConnection, OwnConnectionReachesTheDatabaseCalyxAsAdmin) {
    ScopedEnv user("PGUSER", "nobody_else");
    ScopedEnv database("PGDATABASE", "postgres");
    MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
    ASSERT_EQ(db.Execute("SELECT current_user AS u, current_database() AS d"), 1);
    ASSERT_TRUE(db.NextRow());
    EXPECT_EQ(db.FetchField("u"), "admin");
    EXPECT_EQ(db.FetchField("d"), "calyx");
}

TEST_F(MediaDBConnection, LastErrorGivesTheServersReason) {
    DBConnect* conn = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    ASSERT_NE(conn, nullptr);
    EXPECT_EQ(Calyx::DBConnectLastError(conn), "");
    {
        MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn);
        EXPECT_LT(db.Select("*", "id", -1, 10, ""), 0);
    }
    const std::string reason = Calyx::DBConnectLastError(conn);
    EXPECT_NE(reason.find("OFFSET must not be negative"), std::string::npos) << reason;
    EXPECT_NE(reason.back(), '\n');
    {
        MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn);
        EXPECT_EQ(db.Execute("SELECT 1 AS one"), 1);
    }
    EXPECT_EQ(Calyx::DBConnectLastError(conn), "") << "a later success clears the reason";
    ZEVODBClose(conn);
    EXPECT_EQ(Calyx::DBConnectLastError(nullptr), "");
}

TEST_F(MediaDBConnection, AFailedConnectionLeavesLibpqsReasonForItsThread) {
    TempDir nowhere;
    {
        ScopedEnv host("PGHOST", nowhere.path().c_str());
        EXPECT_EQ(ZEVODBConnect(nullptr, "admin", nullptr, "calyx"), nullptr);
    }
    const std::string reason = Calyx::DBConnectFailureReason();
    EXPECT_NE(reason.find(nowhere.path()), std::string::npos) << reason;
    EXPECT_NE(reason.find("No such file or directory"), std::string::npos) << reason;
    EXPECT_EQ(reason.find('\n'), std::string::npos) << "one line: " << reason;
    DBConnect* conn = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    ASSERT_NE(conn, nullptr);
    EXPECT_EQ(Calyx::DBConnectFailureReason(), "") << "a later success clears it";
    ZEVODBClose(conn);
}

}  // namespace
