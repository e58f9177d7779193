// calyx lint: duplicate keys, the media name vocabulary, the plain-JSON print and the
// schema option.
#include <gtest/gtest.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

ToolRun Lint(const std::string& content, const std::vector<std::string>& options = {}) {
    TempDir dir;
    WriteFile(dir.file("p.json"), content);
    std::vector<std::string> args{"lint"};
    args.insert(args.end(), options.begin(), options.end());
    args.push_back(dir.file("p.json"));
    return RunTool(args);
}

TEST(CliLintChecks, DuplicateKeyIsAnErrorWithItsLine) {
    ToolRun run = Lint(
        "// list\n{ \"ProfileList\": [ { \"profileName\": \"A\", \"profileID\": {\"x\": \"y\"},\n"
        "  \"dlna\": \"yes\",\n  \"dlna\": \"no\" } ] }\n",
        {"--json"});
    EXPECT_EQ(run.status, 1) << run.out;
    Json::Value report = ExpectJson(run.out);
    ASSERT_GE(report["findings"].size(), 1u);
    const std::string message = report["findings"][0]["message"].asString();
    EXPECT_NE(message.find("duplicate key: 'dlna'"), std::string::npos) << message;
    EXPECT_NE(message.find("line 4"), std::string::npos) << message;
    // Keys repeated in different objects are not duplicates.
    run = Lint(R"({"ProfileList": [{"profileName": "A", "profileID": {"modelName": "a"}},
                                   {"profileName": "B", "profileID": {"modelName": "b"}}]})");
    EXPECT_EQ(run.status, 0) << run.out;
}

TEST(CliLintChecks, MediaNamesOutsideTheVocabularyAreWarnings) {
    ToolRun run = Lint(R"({"ProfileList": [{"profileName": "A", "profileID": {"m": "a"},
        "profile@V": "container_type@mov&mp4#video_codec@h264&x264#audio_codec@lpcm&pcm_s16le#ext@xyz"}]})",
                       {"--json"});
    EXPECT_EQ(run.status, 0) << run.out;
    Json::Value report = ExpectJson(run.out);
    std::vector<std::string> named;
    for (const Json::Value& f : report["findings"]) {
        EXPECT_EQ(f["severity"].asString(), "warning");
        named.push_back(f["message"].asString().substr(0, f["message"].asString().find(" of ")));
    }
    // In the order selection tests the conditions: video, audio, then container.
    const std::vector<std::string> expected = {"alternative \"x264\"", "alternative \"pcm_s16le\"",
                                               "alternative \"mov\""};
    EXPECT_EQ(named, expected) << run.out;
}

TEST(CliLintChecks, PrintJsonGivesTheDocumentWithoutComments) {
    ToolRun run = Lint("// a comment\n{\"ProfileList\": [ /* inline */ {\"profileName\": \"A\"}]}",
                       {"--print-json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.find("comment"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("inline"), std::string::npos) << run.out;
    EXPECT_EQ(ExpectJson(run.out)["ProfileList"][0]["profileName"].asString(), "A");
}

TEST(CliLintChecks, LargeListsStayQuickEnoughToCheck) {
    // Unreachable records are still found among many records (the search is indexed).
    std::string entries;
    for (int i = 0; i < 2000; ++i)
        entries += "{\"profileName\": \"P" + std::to_string(i) +
                   "\", \"profileID\": {\"open_user-agent\": \"Player" + std::to_string(i) +
                   "/\", \"manufacturer\": \"V" + std::to_string(i % 7) + "\"}},";
    entries +=
        "{\"profileName\": \"Late\", \"profileID\": {\"open_user-agent\": \"xPlayer17/ 2\", "
        "\"manufacturer\": \"V3 Inc\", \"modelName\": \"m\"}}";
    ToolRun run = Lint("{\"ProfileList\": [" + entries + "]}", {"--json"});
    EXPECT_EQ(run.status, 1);
    Json::Value report = ExpectJson(run.out);
    ASSERT_EQ(report["errors"].asInt(), 1) << run.out.substr(0, 2000);
    EXPECT_NE(report["findings"][0]["message"].asString().find("profile #18 \"P17\""),
              std::string::npos);
}

}  // namespace
}  // namespace calyx_test
