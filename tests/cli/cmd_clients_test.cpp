// calyx clients: list, show and the edits of the settings screen, saved crash-safe.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "calyx/client_list.h"
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
        ExpectJson(RunTool({"clients", "list", "--file", dir.file("c.json"), "--json"}).out);
    ASSERT_EQ(list["clients"].size(), 2u);
    EXPECT_EQ(list["clients"][1]["isAccess"].asBool(), false);

    Json::Value show = ExpectJson(
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
    EXPECT_FALSE(ExpectJson(run.out)["entry"]["isAccess"].asBool());

    const std::string saved = ReadFile(dir.file("c.json"));
    EXPECT_NE(saved.find("// clients seen by the server"), std::string::npos);  // comment kept
    EXPECT_NE(saved.find("\n\t\t{"), std::string::npos);                        // tab indent
    Json::Value doc = ExpectJson(saved);
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
    doc = ExpectJson(ReadFile(dir.file("c.json")));
    EXPECT_FALSE(doc["ClientList"][1].isMember("profileName_UserSelected"));
    EXPECT_EQ(doc["ClientList"][1]["profileName"].asString(), "Default Profile");
}

TEST(CliClients, EraseKeepsIdentityAccessAndUserAgents) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    ASSERT_EQ(RunTool({"clients", "--file", dir.file("c.json"), "erase", "aa:01"}).status, 0);
    Json::Value entry = ExpectJson(ReadFile(dir.file("c.json")))["ClientList"][0];
    EXPECT_EQ(entry.getMemberNames(),
              (std::vector<std::string>{"isAccess", "macAddr", "open_user-agent"}));
}

TEST(CliClients, RootSelectsTheFixedPath) {
    TempDir root;
    WriteFile(root.path() + calyx_test::kClientListFixedPath, kList);
    Json::Value list =
        ExpectJson(RunTool({"clients", "--root", root.path(), "list", "--json"}).out);
    EXPECT_EQ(list["clients"].size(), 2u);
    EXPECT_EQ(list["file"].asString(), root.path() + calyx_test::kClientListFixedPath);
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

// A server saving its list in a loop and the tool editing the same file: the server's
// saves keep the tool's edits, the tool's saves keep the server's clients.
TEST(CliClients, ToolAndAServerSavingInALoopKeepEachOthersChanges) {
    ScopedRoot root;
    const std::string path = root.write(calyx_test::kClientListFixedPath, kList);
    const std::string stop = root.resolve("/stop");
    pid_t server = fork();
    ASSERT_GE(server, 0);
    if (server == 0) {
        Calyx::DMSClientList list;
        if (list.LoadClientList(path) != 1)
            _exit(2);
        for (int i = 0; !FileExists(stop); ++i) {
            list.UpdateKeys("HandleDiscovery", "bb:" + std::to_string(i), "10.1.0.1", {});
            list.UpdateKeys("WebSerOpen", "aa:01", "10.0.0.1", {{"user-agent", "Roku/2"}});
            if (list.WriteToFile() != 1)
                _exit(3);
            usleep(2000);
        }
        _exit(list.WriteToFile() == 1 ? 0 : 4);
    }
    for (int i = 0; i < 5; ++i) {
        ToolRun run = RunTool({"clients", "--file", path, i % 2 == 0 ? "deny" : "allow", "aa:01"});
        EXPECT_EQ(run.status, 0) << run.err;
        run = RunTool({"clients", "--file", path, "set-profile", "aa:02", "P" + std::to_string(i),
                       "--force"});
        EXPECT_EQ(run.status, 0) << run.err;
    }
    WriteFile(stop, "");
    int status = 0;
    ASSERT_EQ(waitpid(server, &status, 0), server);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);

    Json::Value clients = ExpectJson(ReadFile(path))["ClientList"];
    ASSERT_GE(clients.size(), 3u);
    EXPECT_FALSE(clients[0]["isAccess"].asBool());                    // the tool's last word: deny
    EXPECT_EQ(clients[0]["open_user-agent"], Json::Value("Roku/2"));  // the server's data
    EXPECT_EQ(clients[1]["profileName_UserSelected"], Json::Value("P4"));
    EXPECT_EQ(clients[1]["profileName"], Json::Value("P4"));
    // Every client the server saw is there, in order.
    for (Json::ArrayIndex i = 2; i < clients.size(); ++i)
        EXPECT_EQ(clients[i]["macAddr"], Json::Value("bb:" + std::to_string(i - 2)));
}

// A writable file in a directory the tool may not write is rewritten in place.
TEST(CliClients, WritableFileInAnUnwritableDirectoryIsSaved) {
    if (RunningAsRoot())
        GTEST_SKIP() << "root writes anywhere";
    TempDir dir;
    WriteFile(dir.file("sub/c.json"), kList);
    chmod(dir.file("sub").c_str(), 0555);
    ToolRun run = RunTool({"clients", "--file", dir.file("sub/c.json"), "deny", "aa:01"});
    chmod(dir.file("sub").c_str(), 0755);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_FALSE(
        ExpectJson(ReadFile(dir.file("sub/c.json")))["ClientList"][0]["isAccess"].asBool());
}

TEST(CliClients, ReadOnlyFileFailsAndStaysAsItWas) {
    if (RunningAsRoot())
        GTEST_SKIP() << "root writes a read-only file";
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    chmod(dir.file("c.json").c_str(), 0444);
    ToolRun run = RunTool({"clients", "--file", dir.file("c.json"), "deny", "aa:01"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("cannot save"), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file("c.json")), kList);
}

}  // namespace
}  // namespace calyx_test
