// calyx media and video-profile --from-index against the PostgreSQL server of the test
// run (PGHOST/PGPORT). Each run works in a schema of its own, reached by the tool through
// PGOPTIONS, and drops it at the end.
#include <gtest/gtest.h>
#include <unistd.h>

#include "calyx/platform.h"
#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

class CliMedia : public ::testing::Test {
protected:
    void SetUp() override {
        conn_ = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
        ASSERT_NE(conn_, nullptr)
            << "no media index server (PGHOST/PGPORT); the test command starts one";
        schema_ = "calyx_cli_" + std::to_string(getpid());
        Exec("DROP SCHEMA IF EXISTS " + schema_ + " CASCADE; CREATE SCHEMA " + schema_ +
             "; SET search_path TO " + schema_);
        Exec(ReadFile(std::string(CALYX_DATA_DIR) + "/../sql/media_index.sql"));
        const char* rows[][6] = {
            {"/v/a.mkv", "A", "matroska", "h264", "1920", "1080"},
            {"/v/b.MKV", "B", "matroska", "hevc", "3840", "2160"},
            {"/v/c.mp4", "C", "mp4", "h264", "1280", "720"},
            {"/v/d.avi", "D", "avi", "mpeg4", "640", "352"},
        };
        for (const auto& r : rows)
            Exec(std::string(
                     "INSERT INTO video (path, title, container_type, video_codec, audio_codec, "
                     "resolutionx, resolutiony, channel, duration) VALUES ('") +
                 r[0] + "', '" + r[1] + "', '" + r[2] + "', '" + r[3] + "', 'aac', " + r[4] + ", " +
                 r[5] + ", 2, 125)");
        env_ = {"PGOPTIONS=-c search_path=" + schema_};
    }
    void TearDown() override {
        if (conn_ != nullptr) {
            Exec("DROP SCHEMA IF EXISTS " + schema_ + " CASCADE");
            ZEVODBClose(conn_);
        }
    }
    void Exec(const std::string& sql) {
        DBResult* result = nullptr;
        ASSERT_EQ(ZEVODBExecute(conn_, sql.c_str(), &result), 0) << sql;
        ZEVODBFreeResult(result);
    }

    DBConnect* conn_ = nullptr;
    std::string schema_;
    std::vector<std::string> env_;
};

TEST_F(CliMedia, CountHonoursTheExclusions) {
    ToolRun run = RunTool({"media", "count", "--json"}, env_);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["count"].asInt(), 4);
    run = RunTool({"media", "count", "--type", "video", "--exclude-codec", "h264", "--json"}, env_);
    EXPECT_EQ(ExpectJson(run.out)["count"].asInt(), 2);
    run = RunTool({"media", "count", "--exclude-ext", "mkv", "--exclude-ext", "avi"}, env_);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "1 video items\n");  // .MKV too: the exclusion ignores case
    run = RunTool({"media", "count", "--type", "music", "--json"}, env_);
    EXPECT_EQ(ExpectJson(run.out)["count"].asInt(), 0);
}

TEST_F(CliMedia, ListWithOrderLimitAndOffset) {
    ToolRun run = RunTool(
        {"media", "list", "--order", "title DESC", "--limit", "2", "--offset", "1", "--json"},
        env_);
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value rows = ExpectJson(run.out);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0]["title"].asString(), "C");
    EXPECT_EQ(rows[1]["title"].asString(), "B");
    EXPECT_EQ(rows[1]["resolutionx"].asInt(), 3840);
    run = RunTool({"media", "list"}, env_);
    EXPECT_NE(run.out.find("0:02:05.000"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("4 rows"), std::string::npos) << run.out;
}

TEST_F(CliMedia, VideoProfilesForRowsOfTheIndex) {
    ToolRun run = RunTool({"video-profile", "-p", DataPath("profiles.json"), "-n",
                           "Samsung TV 2014+ (Tizen)", "--from-index", "--order", "id", "--json"},
                          env_);
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value items = ExpectJson(run.out)["items"];
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(items[0]["videoProfile"].asString(), "AVC_MKV_HD");
    EXPECT_EQ(items[1]["videoProfile"].asString(), "HEVC_MKV_UHD");
}

TEST_F(CliMedia, UserTextNeverChangesTheStatement) {
    // Quotes in a codec or extension are part of the name, not SQL.
    ToolRun run = RunTool({"media", "count", "--exclude-codec", "h264' or '1'='1", "--json"}, env_);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["count"].asInt(), 4);
    run = RunTool({"media", "count", "--exclude-codec", "h264' and '1'='1", "--json"}, env_);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["count"].asInt(), 4);
    run = RunTool({"media", "count", "--exclude-ext", "x' and path ~ 'zzz", "--json"}, env_);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["count"].asInt(), 4);
    // An extension is a word, not a pattern: "m.v" does not exclude ".mkv".
    run = RunTool({"media", "count", "--exclude-ext", "m.v", "--json"}, env_);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["count"].asInt(), 4);
    run = RunTool({"media", "count", "--exclude-ext", "mp4", "--json"}, env_);
    EXPECT_EQ(ExpectJson(run.out)["count"].asInt(), 3);
}

TEST_F(CliMedia, RefusedQueryShowsTheServersReason) {
    ToolRun run = RunTool({"media", "list", "--offset", "-1"}, env_);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(LineCount(run.err), 1u) << run.err;
    EXPECT_NE(run.err.find("OFFSET must not be negative"), std::string::npos) << run.err;
}

TEST(CliMediaServer, UnreachableServerIsOneLineErrorExitOne) {
    TempDir empty;
    ToolRun run =
        RunTool({"media", "count"}, {"PGHOST=" + empty.path(), "PGPORT=1", "PGCONNECT_TIMEOUT=2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(LineCount(run.err), 1u) << run.err;
    EXPECT_NE(run.err.find("cannot connect to the media index"), std::string::npos) << run.err;
    // libpq's own reason: the socket it tried and why that failed.
    EXPECT_NE(run.err.find(empty.path() + "/.s.PGSQL.1"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("No such file or directory"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace calyx_test
