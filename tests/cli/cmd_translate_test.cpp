// calyx translate: the shipped texts under a root prefix.
#include <gtest/gtest.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

const char kTexts[] = "/var/packages/Calyx/target/app/texts/";

TEST(CliTranslate, ShippedTextsTranslateBareAndBracedKeys) {
    TempDir root;
    WriteFile(root.path() + kTexts + "enu/strings", ReadFile(DataPath("texts/enu/strings")));
    ToolRun run = RunTool({"translate", "--root", root.path(), "title", "{music}", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value out = ExpectJson(run.out);
    EXPECT_EQ(out["language"].asString(), "enu");
    EXPECT_EQ(out["texts"][0]["text"].asString(), "Media Server");
    EXPECT_EQ(out["texts"][1]["text"].asString(), "Music");
    EXPECT_TRUE(out["texts"][1]["found"].asBool());

    run = RunTool({"translate", "--root", root.path(), "by_album"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("By Album"), std::string::npos);
}

TEST(CliTranslate, OtherLanguageAndMissingKeys) {
    TempDir root;
    WriteFile(root.path() + kTexts + "ger/strings", ReadFile(DataPath("texts/ger/strings")));
    ToolRun run = RunTool(
        {"translate", "--root", root.path(), "-l", "ger", "cancel", "{}", "no_such_key", "--json"});
    EXPECT_EQ(run.status, 1);  // a key without text is a failed check
    Json::Value out = ExpectJson(run.out);
    EXPECT_EQ(out["texts"][0]["text"].asString(), "Abbrechen");
    EXPECT_EQ(out["texts"][1]["text"].asString(), "{}");
    EXPECT_FALSE(out["texts"][2]["found"].asBool());
    EXPECT_EQ(out["texts"][2]["text"].asString(), "no_such_key");
}

TEST(CliTranslate, MissingLanguageIsOneLineError) {
    TempDir root;
    ToolRun run = RunTool({"translate", "--root", root.path(), "-l", "xxx", "title"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(LineCount(run.err), 1u);
    EXPECT_NE(run.err.find(root.path() + kTexts + "xxx/strings"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace calyx_test
