// calyx video-profile: items from options and files, --explain.
#include <gtest/gtest.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

const char kRules[] = R"({"ProfileList": [ {"profileName": "TV",
    "profile@b_hd": "ext@mkv#resolutionx@1~1920#resolutiony@1~1080",
    "profile@a_sd": "ext@mkv#resolutionx@1~720",
    "profile@c_ts": "container_type@mpegts#video_codec@h264&mpeg2video#frame_rate_num@30000#frame_rate_den@1001#channel@1~6",
    "profile@d_bad": "ext@MKV"} ]})";

TEST(CliVideoProfile, ItemFromOptionsPicksTheFirstMatchingNameInNameOrder) {
    TempDir dir;
    WriteFile(dir.file("p.json"), kRules);
    ToolRun run = RunTool({"video-profile", "-p", dir.file("p.json"), "-n", "TV", "--path",
                           "/v/Film.MKV", "--width", "640", "--height", "360", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value out = ExpectJson(run.out);
    EXPECT_EQ(out["items"][0]["videoProfile"].asString(),
              "a_sd");  // b_hd matches too; a sorts first

    run = RunTool({"video-profile", "-p", dir.file("p.json"), "-n", "TV", "--path", "/v/Film.mkv",
                   "--width", "1920", "--height", "1080"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("b_hd"), std::string::npos) << run.out;

    out = ExpectJson(RunTool({"video-profile", "-p", dir.file("p.json"), "-n", "TV", "--container",
                              "MPEGTS", "--video-codec", "H264", "--frame-rate", "30000/1001",
                              "--channels", "6", "--json"})
                         .out);
    EXPECT_EQ(out["items"][0]["videoProfile"].asString(), "c_ts");  // item values are lowered
    EXPECT_EQ(out["items"][0]["item"]["frame_rate_den"].asInt(), 1001);

    out = ExpectJson(RunTool({"video-profile", "-p", dir.file("p.json"), "-n", "TV", "--path",
                              "/v/a.avi", "--json"})
                         .out);
    EXPECT_EQ(out["items"][0]["videoProfile"].asString(), "");
}

TEST(CliVideoProfile, ExplainGivesEachProfileAndItsFirstFailingCondition) {
    TempDir dir;
    WriteFile(dir.file("p.json"), kRules);
    ToolRun run =
        RunTool({"video-profile", "-p", dir.file("p.json"), "-n", "TV", "--path", "/v/a.mkv",
                 "--width", "1280", "--height", "720", "--explain", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const Json::Value tried = ExpectJson(run.out)["items"][0]["tried"];
    ASSERT_EQ(tried.size(), 4u);
    EXPECT_EQ(tried[0]["name"].asString(), "a_sd");
    EXPECT_FALSE(tried[0]["matched"].asBool());
    EXPECT_EQ(tried[0]["failedKey"].asString(), "resolutionx@");
    EXPECT_EQ(tried[0]["failedCondition"].asString(), "1~720");
    EXPECT_EQ(tried[0]["itemValue"].asString(), "1280");
    EXPECT_TRUE(tried[1]["matched"].asBool());
    EXPECT_EQ(tried[2]["failedKey"].asString(), "video_codec@");  // tested before the container
    EXPECT_EQ(tried[3]["failedKey"].asString(), "ext@");          // "MKV" never matches

    run = RunTool({"video-profile", "-p", dir.file("p.json"), "-n", "TV", "--path", "/v/a.mkv",
                   "--width", "1280", "--height", "720", "--explain"});
    EXPECT_NE(run.out.find("b_hd: matched (chosen)"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("a_sd: fails resolutionx@\"1~720\" (item has \"1280\")"),
              std::string::npos)
        << run.out;
}

TEST(CliVideoProfile, ItemsFileOfTheSampleData) {
    ToolRun run =
        RunTool({"video-profile", "-p", DataPath("profiles.json"), "-n", "Samsung TV 2014+ (Tizen)",
                 "--items", DataPath("media/items.json"), "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    const Json::Value items = ExpectJson(run.out)["items"];
    ASSERT_GE(items.size(), 5u);
    EXPECT_EQ(items[0]["videoProfile"].asString(), "AVC_MKV_HD");
    EXPECT_EQ(items[1]["videoProfile"].asString(), "HEVC_MKV_UHD");

    ToolRun brief = RunTool({"video-profile", "-p", DataPath("profiles.json"), "-n", "Sonos",
                             "--items", DataPath("media/items.json"), "--brief"});
    EXPECT_EQ(brief.status, 0);
    EXPECT_EQ(LineCount(brief.out), items.size());
    EXPECT_NE(brief.out.find("1\t-\t"), std::string::npos) << brief.out;
}

TEST(CliVideoProfile, UnknownProfileAndBadItemsAreErrors) {
    ToolRun run = RunTool(
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "No Such TV", "--path", "a.mkv"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no profile named \"No Such TV\""), std::string::npos) << run.err;
    run = RunTool({"video-profile", "-p", DataPath("profiles.json"), "-n", "Default Profile",
                   "--path", "a.mkv"});
    EXPECT_EQ(run.status, 1);

    TempDir dir;
    WriteFile(dir.file("items.json"), R"([{"path": "a.mkv", "resolutionx": "wide"}])");
    run = RunTool({"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--items",
                   dir.file("items.json")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("item 1: \"resolutionx\" must be a number"), std::string::npos)
        << run.err;
    WriteFile(dir.file("items.json"), "[\n{ \"path\": }]");
    run = RunTool({"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--items",
                   dir.file("items.json")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(dir.file("items.json") + ":2:"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace calyx_test
