// calyx index end to end, and the video profiles real files get from the sample profile
// list: in the library and as `calyx video-profile --from-index` prints them.
#include <gtest/gtest.h>

#include <stdio.h>

#include <map>

#include "calyx/client.h"
#include "calyx/media_db.h"
#include "cli/cli_runner.h"
#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class CliIndex : public IndexerTest {
protected:
    ToolRun RunIndexTool(std::vector<std::string> args, const std::vector<std::string>& env = {}) {
        args.insert(args.begin(), {"index", "--thumbnails", thumbs_.path()});
        return RunTool(args, env);
    }
};

TEST_F(CliIndex, PrintsASummaryAndPlainProgressLinesWhenNotOnATerminal) {
    ToolRun run = RunIndexTool({"--workers", "2", MediaFile("music"), MediaFile("bad")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("added 4, changed 0, removed 0, unchanged 0, failed 3"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("failed: " + MediaFile("bad/empty.mp4") + ": libavformat"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.err.find("indexed "), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(" files/s, in " + MediaFile("music")), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find('\r'), std::string::npos);  // no bar drawn into a pipe
    EXPECT_EQ(Count("music"), 3);

    run = RunIndexTool({"--json", "--quiet", MediaFile("music"), MediaFile("bad")});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value summary = ExpectJson(run.out);
    EXPECT_EQ(summary["unchanged"].asInt(), 4);
    EXPECT_EQ(summary["failed"].asInt(), 3);
    EXPECT_EQ(summary["failures"].size(), 3u);
    EXPECT_EQ(run.err, "");
}

TEST_F(CliIndex, CountsThePlaylistEntries) {
    TempDir lists;
    FILE* f = fopen(lists.file("mix.m3u8").c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs("/nowhere/a.mp3\nhttp://127.0.0.1:9/x\n", f);
    fclose(f);
    ToolRun run = RunIndexTool({"--quiet", lists.path()});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("playlist entries: 2 (missing 1, URLs 1, not UTF-8 0)\n"),
              std::string::npos)
        << run.out;
    f = fopen(lists.file("mix.m3u8").c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs("http://127.0.0.1:9/x\n", f);  // another size: read again
    fclose(f);
    run = RunIndexTool({"--json", "--quiet", lists.path()});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value summary = ExpectJson(run.out);
    EXPECT_EQ(summary["playlistEntries"]["entries"].asInt(), 1) << run.out;
    EXPECT_EQ(summary["playlistEntries"]["missing"].asInt(), 0);
    EXPECT_EQ(summary["playlistEntries"]["urls"].asInt(), 1);
    EXPECT_EQ(summary["playlistEntries"]["notUtf8"].asInt(), 0);
}

TEST_F(CliIndex, DatabaseOptionTakesAConnectionString) {
    ToolRun run = RunIndexTool(
        {"--quiet", "--database",
         "dbname=calyx user=admin options='-c search_path=" + schema() + "'", MediaFile("photo")},
        {"PGOPTIONS="});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Count("photo"), 2);

    TempDir nowhere;
    run = RunIndexTool({"--database", "host=" + nowhere.path() + " port=1", MediaFile("photo")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(LineCount(run.err), 1u) << run.err;
    EXPECT_EQ(run.err.rfind("calyx: cannot connect to the media index: ", 0), 0u) << run.err;
}

TEST_F(CliIndex, BadOptionsAreUsageErrors) {
    EXPECT_EQ(RunIndexTool({"--probe-timeout", "0", MediaFile("photo")}).status, 2);
    EXPECT_EQ(RunIndexTool({"--workers", "-1", MediaFile("photo")}).status, 2);
    EXPECT_EQ(RunTool({"index"}).status, 2);
}

// The video profile each indexed file gets, read from the profile rules of
// data/profiles.json ("" for none). The test files are 320x240 at 25 fps.
struct ExpectedProfiles {
    const char* client;
    std::map<std::string, std::string> byFile;
};

const ExpectedProfiles kExpected[] = {
    {"Samsung TV 2014+ (Tizen)",
     {{"video/h264_aac.mkv", "AVC_MKV_HD"},
      {"video/h264_aac.mp4", "AVC_MP4_HD"},
      {"video/mpeg4_mp3.avi", "MPEG4_P2_AVI_HD"},
      {"video/nested/deeper/mpeg2_mp2.vob", ""},
      {"video/nested/hevc_aac.mkv", "HEVC_MKV_UHD"},
      {"video/nested/mpeg2_mp2.ts", ""},
      {"video/wmv2_wma.wmv", ""}}},
    {"Samsung TV 2012-2013",
     {{"video/h264_aac.mkv", "AVC_MKV_HD"},
      {"video/h264_aac.mp4", "AVC_MP4_HD"},
      {"video/mpeg4_mp3.avi", "MPEG4_P2_AVI_HD"},
      {"video/nested/deeper/mpeg2_mp2.vob", ""},
      {"video/nested/hevc_aac.mkv", ""},
      {"video/nested/mpeg2_mp2.ts", "MPEG_TS_HD"},
      {"video/wmv2_wma.wmv", ""}}},  // WMV_HIGH asks for wmv3 or vc1
    {"LG TV NetCast",
     {{"video/h264_aac.mkv", "AVC_MKV_HD"},
      {"video/h264_aac.mp4", "AVC_MP4_HD"},
      {"video/mpeg4_mp3.avi", "DIVX_AVI_SD"},
      {"video/nested/deeper/mpeg2_mp2.vob", "MPEG_PS_PAL"},
      {"video/nested/hevc_aac.mkv", ""},
      {"video/nested/mpeg2_mp2.ts", ""},
      {"video/wmv2_wma.wmv", ""}}},
    {"Xbox 360",
     {{"video/h264_aac.mkv", ""},
      {"video/h264_aac.mp4", "AVC_MP4_HD"},
      {"video/mpeg4_mp3.avi", "MPEG4_P2_AVI_HD"},
      {"video/nested/deeper/mpeg2_mp2.vob", ""},
      {"video/nested/hevc_aac.mkv", ""},
      {"video/nested/mpeg2_mp2.ts", ""},
      {"video/wmv2_wma.wmv", ""}}},
};

TEST_F(CliIndex, VideoProfilesOfRealFilesAgreeWithTheTool) {
    Index({MediaFile("video")});
    std::vector<ZEVO_MEDIA_INFO> items;
    {
        Calyx::MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn());
        ASSERT_EQ(db.Select("*", "path", 0, 0, ""), 7);
        while (db.NextRow()) {
            items.emplace_back();
            ASSERT_TRUE(db.FetchMediaItem(items.back()));
        }
    }
    ASSERT_TRUE(Calyx::DMSClientChecker::InitProfileList(DataPath("profiles.json")));
    for (const ExpectedProfiles& expected : kExpected) {
        SCOPED_TRACE(expected.client);
        Calyx::DMSClientChecker checker("", expected.client, false);
        ASSERT_NE(checker.m_agent, nullptr);
        std::vector<std::string> chosen;
        for (ZEVO_MEDIA_INFO& item : items) {
            const std::string file = std::string(item.path).substr(MediaDir().size() + 1);
            chosen.push_back(checker.getVideoProfileName(&item));
            EXPECT_EQ(chosen.back(), expected.byFile.at(file)) << file;
        }
        ToolRun run = RunTool({"video-profile", "-p", DataPath("profiles.json"), "-n",
                               expected.client, "--from-index", "--order", "path", "--brief"});
        ASSERT_EQ(run.status, 0) << run.err;
        std::vector<std::string> printed;
        for (const std::string& line : SplitLines(run.out)) {
            const size_t tab = line.find('\t');
            const std::string profile = line.substr(tab + 1, line.find('\t', tab + 1) - tab - 1);
            printed.push_back(profile == "-" ? "" : profile);
        }
        EXPECT_EQ(printed, chosen);
    }
    Calyx::DMSClientChecker::ReleaseClientList();
}

}  // namespace
}  // namespace calyx_test
