// calyx lint: the shipped profile list is clean, and every finding on a crafted file.
#include <gtest/gtest.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

// Runs lint --json on `content` and returns the parsed report.
Json::Value LintJson(const std::string& content, int expectedStatus) {
    TempDir dir;
    WriteFile(dir.file("p.json"), content);
    ToolRun run = RunTool({"lint", "--json", dir.file("p.json")});
    EXPECT_EQ(run.status, expectedStatus) << run.out << run.err;
    return ExpectJson(run.out);
}

// The findings of one profile position whose message contains `text`.
int Count(const Json::Value& report, int position, const std::string& severity,
          const std::string& text) {
    int n = 0;
    for (const Json::Value& f : report["findings"])
        if (f["position"].asInt() == position && f["severity"].asString() == severity &&
            f["message"].asString().find(text) != std::string::npos)
            ++n;
    return n;
}

std::string Profiles(const std::string& entries) {
    return "{ \"ProfileList\": [" + entries + "] }";
}

TEST(CliLint, ShippedProfileListHasNoErrorsAndManyFamilies) {
    ToolRun run = RunTool({"lint", DataPath("profiles.json")});
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_NE(run.out.find(" 0 errors"), std::string::npos) << run.out;
    Json::Value report = ExpectJson(RunTool({"lint", "--json", DataPath("profiles.json")}).out);
    EXPECT_EQ(report["errors"].asInt(), 0);
    EXPECT_GE(report["profiles"].asInt(), 25);
}

TEST(CliLint, SyntaxErrorGivesLineAndColumn) {
    TempDir dir;
    WriteFile(dir.file("p.json"),
              "{\n  \"ProfileList\": [\n    { \"profileName\": \"A\" \n  ]\n}\n");
    ToolRun run = RunTool({"lint", dir.file("p.json")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find(dir.file("p.json") + ":4:"), std::string::npos) << run.out;
    Json::Value report = LintJson("{\n\"ProfileList\": [ , ]\n}", 1);
    ASSERT_EQ(report["findings"].size(), 1u);
    EXPECT_EQ(report["findings"][0]["line"].asInt(), 2);
    EXPECT_EQ(report["findings"][0]["column"].asInt(), 18);
}

TEST(CliLint, EntryWithoutNameDuplicateAndDefaultProfile) {
    Json::Value r = LintJson(Profiles(R"({"dlna":"yes"}, {"profileName":"TV"}, {"profileName":"TV"},
                                         {"profileName":"Default Profile"})"),
                             1);
    EXPECT_EQ(Count(r, 1, "error", "no \"profileName\""), 1);
    EXPECT_EQ(Count(r, 2, "error", "duplicate"), 0);
    EXPECT_EQ(Count(r, 3, "error", "duplicate of profile #2"), 1);
    EXPECT_EQ(Count(r, 4, "error", "never matched by name"), 1);
    EXPECT_EQ(r["errors"].asInt(), 3);
}

TEST(CliLint, UnknownKeysAreWarningsOnly) {
    Json::Value r = LintJson(
        Profiles(R"({"profileName":"A","colour":"red","profileX":"1","profile@v":"ext@mkv"})"), 0);
    EXPECT_EQ(Count(r, 1, "warning", "unknown key \"colour\""), 1);
    EXPECT_EQ(Count(r, 1, "warning", "unknown key \"profileX\""), 1);
    EXPECT_EQ(r["errors"].asInt(), 0);
}

TEST(CliLint, AgentTypeValuesAndOptionTokens) {
    Json::Value r =
        LintJson(Profiles(R"({"profileName":"A","dlna":"Yes","xbox":"true","roku":"no","wmp":"yes",
                    "agentopt":"xmres  bogus\tXMRES transwav"})"),
                 1);
    EXPECT_EQ(Count(r, 1, "error", "\"Yes\" is neither"), 1);
    EXPECT_EQ(Count(r, 1, "error", "\"true\" is neither"), 1);
    EXPECT_EQ(Count(r, 1, "error", "unknown option \"bogus\""), 1);
    EXPECT_EQ(Count(r, 1, "error", "unknown option \"XMRES\""), 1);
    EXPECT_EQ(r["errors"].asInt(), 4);
}

TEST(CliLint, VideoProfileRules) {
    Json::Value r = LintJson(Profiles(R"({"profileName":"A",
        "profile@a":"foo@bar",
        "profile@b":"ext@MKV&mp4",
        "profile@c":"resolutionx@1920~1",
        "profile@d":"resolutiony@1~2~3",
        "profile@e":"channel@two",
        "profile@f":"video_bitrate@1080p~2000",
        "profile@g":"ext@mkv#resolutionx@1~1920",
        "profile@h":"channel@~"})"),
                             1);
    EXPECT_EQ(Count(r, 1, "error", "names no known condition"), 1);  // a
    EXPECT_EQ(Count(r, 1, "error", "\"MKV\" of \"ext@MKV&mp4\" holds upper-case"), 1);
    EXPECT_EQ(Count(r, 1, "error", "low bound above its high bound"), 1);
    EXPECT_EQ(Count(r, 1, "error", "three or more \"~\" pieces"), 1);
    EXPECT_EQ(Count(r, 1, "error", "bound \"two\" of \"channel@two\" is not a number (read as 0)"),
              1);
    EXPECT_EQ(
        Count(r, 1, "error",
              "bound \"1080p\" of \"video_bitrate@1080p~2000\" is not a number (read as 1080)"),
        1);
    EXPECT_EQ(Count(r, 1, "error", "\"channel@~\" has no bound"), 1);
    EXPECT_EQ(r["errors"].asInt(), 7);  // g is clean
}

TEST(CliLint, ProfileIDNotAnObjectAndUnreachableRecords) {
    Json::Value r = LintJson(Profiles(R"(
        {"profileName":"TV","profileID":{"modelName":"TV"}},
        {"profileName":"Acme TV","profileID":{"modelName":"Smart TV","manufacturer":"Acme"}},
        {"profileName":"Other","profileID":{"manufacturer":"Acme"}},
        {"profileName":"Any","profileID":"everything"},
        {"profileName":"Late","profileID":{"friendlyName":"x"}})"),
                             1);
    EXPECT_EQ(Count(r, 2, "error", "never reached"), 1);  // "Smart TV" contains "TV"
    EXPECT_EQ(Count(r, 2, "error", "profile #1 \"TV\""), 1);
    EXPECT_EQ(Count(r, 3, "error", "never reached"), 0);  // does not require modelName
    EXPECT_EQ(Count(r, 4, "error", "matches every client"), 1);
    EXPECT_EQ(Count(r, 5, "error",
                    "never reached: every client it matches is matched first by profile #4"),
              1);
}

TEST(CliLint, HumanOutputNamesProfileAndPosition) {
    TempDir dir;
    WriteFile(dir.file("p.json"),
              Profiles(R"({"profileName":"Ok"}, {"profileName":"Bad","dlna":"Yes"})"));
    ToolRun run = RunTool({"lint", dir.file("p.json")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("profile #2 \"Bad\": error: dlna: agent type value"), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("2 profiles, 1 error, 0 warnings"), std::string::npos) << run.out;
}

TEST(CliLint, WrongTopLevelShapes) {
    EXPECT_EQ(LintJson("[1,2]", 1)["errors"].asInt(), 1);
    EXPECT_EQ(LintJson("{}", 1)["errors"].asInt(), 1);
    EXPECT_EQ(LintJson("{\"ProfileList\": {}}", 1)["errors"].asInt(), 1);
    Json::Value r = LintJson(Profiles("42, {\"profileName\":\"A\"}"), 1);
    EXPECT_EQ(Count(r, 1, "error", "not an object"), 1);
}

}  // namespace
}  // namespace calyx_test
