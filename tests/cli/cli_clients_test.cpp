// calyx clients: list, show and the edits of the settings screen, saved crash-safe.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

const char kList[] = R"(// clients seen by the server
{ "ClientList": [
  { "macAddr": "aa:01", "ipAddr": "10.0.0.1", "isAccess": true, "displayName": "Den TV",
    "profileName": "Roku", "profileName_Orig": "Roku", "open_user-agent": "Roku/1", "friendlyName": "Den" },
  { "macAddr": "aa:02", "ipAddr": "10.0.0.2", "isAccess": false, "profileName": "Default Profile",
    "profileName_Orig": "Default Profile", "custom": [1, 2] } ] })";

std::vector<std::string> Names(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.')
                names.emplace_back(e->d_name);
        closedir(d);
    }
    return names;
}

TEST(CliClients, ListAndShow) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    ToolRun run = RunTool({"clients", "--file", dir.file("c.json"), "list"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("aa:01"), std::string::npos);
    EXPECT_NE(run.out.find("denied"), std::string::npos);
    EXPECT_NE(run.out.find("2 clients"), std::string::npos);

    Json::Value list =
        ParseJson(RunTool({"clients", "list", "--file", dir.file("c.json"), "--json"}).out);
    ASSERT_EQ(list["clients"].size(), 2u);
    EXPECT_EQ(list["clients"][1]["isAccess"].asBool(), false);

    Json::Value show = ParseJson(
        RunTool({"clients", "--file", dir.file("c.json"), "show", "aa:02", "--json"}).out);
    EXPECT_EQ(show["entry"]["custom"].size(), 2u);
    EXPECT_EQ(ReadFile(dir.file("c.json")), kList);  // reading never rewrites the file
}

TEST(CliClients, EditsSaveTheFileAndKeepEverythingElse) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    ToolRun run = RunTool({"clients", "--file", dir.file("c.json"), "set-profile", "aa:02",
                           "Xbox 360", "--profiles", DataPath("profiles.json")});
    ASSERT_EQ(run.status, 0) << run.err;
    run = RunTool({"clients", "--file", dir.file("c.json"), "allow", "aa:02"});
    ASSERT_EQ(run.status, 0) << run.err;
    run = RunTool({"clients", "--file", dir.file("c.json"), "deny", "aa:01", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_FALSE(ParseJson(run.out)["entry"]["isAccess"].asBool());

    const std::string saved = ReadFile(dir.file("c.json"));
    EXPECT_NE(saved.find("// clients seen by the server"), std::string::npos);  // comment kept
    EXPECT_NE(saved.find("\n\t\t{"), std::string::npos);                        // tab indent
    Json::Value doc = ParseJson(saved);
    const Json::Value& a2 = doc["ClientList"][1];
    EXPECT_EQ(a2["profileName_UserSelected"].asString(), "Xbox 360");
    EXPECT_EQ(a2["profileName"].asString(), "Xbox 360");  // the user's choice wins at once
    EXPECT_EQ(a2["profileName_Orig"].asString(), "Default Profile");
    EXPECT_TRUE(a2["isAccess"].asBool());
    EXPECT_EQ(a2["custom"].size(), 2u);
    EXPECT_FALSE(doc["ClientList"][0]["isAccess"].asBool());
    EXPECT_EQ(Names(dir.path()).size(), 1u);  // no temporary file left behind

    run = RunTool({"clients", "--file", dir.file("c.json"), "set-profile", "aa:02", "--auto"});
    ASSERT_EQ(run.status, 0) << run.err;
    doc = ParseJson(ReadFile(dir.file("c.json")));
    EXPECT_FALSE(doc["ClientList"][1].isMember("profileName_UserSelected"));
    EXPECT_EQ(doc["ClientList"][1]["profileName"].asString(), "Default Profile");
}

TEST(CliClients, EraseKeepsIdentityAccessAndUserAgents) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    ASSERT_EQ(RunTool({"clients", "--file", dir.file("c.json"), "erase", "aa:01"}).status, 0);
    Json::Value entry = ParseJson(ReadFile(dir.file("c.json")))["ClientList"][0];
    EXPECT_EQ(entry.getMemberNames(),
              (std::vector<std::string>{"isAccess", "macAddr", "open_user-agent"}));
}

TEST(CliClients, RootSelectsTheFixedPath) {
    TempDir root;
    WriteFile(root.path() + "/var/packages/Calyx/etc/client_list.json", kList);
    Json::Value list = ParseJson(RunTool({"clients", "--root", root.path(), "list", "--json"}).out);
    EXPECT_EQ(list["clients"].size(), 2u);
    EXPECT_EQ(list["file"].asString(), root.path() + "/var/packages/Calyx/etc/client_list.json");
}

TEST(CliClients, ErrorsNameTheFile) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    ToolRun run = RunTool({"clients", "--file", dir.file("c.json"), "show", "AA:09"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no client with MAC \"AA:09\""), std::string::npos) << run.err;
    run = RunTool({"clients", "--file", dir.file("c.json"), "set-profile", "aa:01", "Nope", "-p",
                   DataPath("profiles.json")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(ReadFile(dir.file("c.json")), kList);  // a refused edit saves nothing

    WriteFile(dir.file("bad.json"), "{\n\n  \"ClientList\": [ { ] }");
    run = RunTool({"clients", "--file", dir.file("bad.json"), "list"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(LineCount(run.err), 1u);
    EXPECT_NE(run.err.find(dir.file("bad.json") + ":3:"), std::string::npos) << run.err;
}

TEST(CliClients, UnwritableDirectoryFailsAndKeepsTheOldFile) {
    if (RunningAsRoot())
        GTEST_SKIP() << "root writes anywhere";
    TempDir dir;
    WriteFile(dir.file("sub/c.json"), kList);
    chmod(dir.file("sub").c_str(), 0555);
    ToolRun run = RunTool({"clients", "--file", dir.file("sub/c.json"), "deny", "aa:01"});
    chmod(dir.file("sub").c_str(), 0755);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("cannot save"), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file("sub/c.json")), kList);
}

}  // namespace
}  // namespace calyx_test
