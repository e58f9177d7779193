// calyx clients: MAC arguments in any case, profile choices that must exist, and remove.
#include <gtest/gtest.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

const char kList[] = R"({ "ClientList": [
  { "macAddr": "aa:bb:01", "ipAddr": "10.0.0.1", "isAccess": true, "profileName": "Roku",
    "profileName_Orig": "Roku" },
  { "macAddr": "AA:BB:02", "ipAddr": "10.0.0.2", "isAccess": true,
    "profileName": "Default Profile", "profileName_Orig": "Default Profile" },
  { "macAddr": "cc:dd:03", "ipAddr": "10.0.0.3", "isAccess": true },
  { "macAddr": "CC:DD:03", "ipAddr": "10.0.0.4", "isAccess": true } ] })";

Json::Value Clients(const std::string& file) {
    return ExpectJson(RunTool({"clients", "--file", file, "list", "--json"}).out)["clients"];
}

TEST(CliClientsEdit, MacMatchesWithoutRegardToCase) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    ToolRun run = RunTool({"clients", "--file", dir.file("c.json"), "show", "AA:BB:01", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["entry"]["macAddr"].asString(), "aa:bb:01");
    run = RunTool({"clients", "--file", dir.file("c.json"), "deny", "aa:bb:02", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_FALSE(Clients(dir.file("c.json"))[1]["isAccess"].asBool());
    EXPECT_EQ(Clients(dir.file("c.json"))[1]["macAddr"].asString(), "AA:BB:02");
}

TEST(CliClientsEdit, SeveralMatchesAreListedAndNothingChanges) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    ToolRun run = RunTool({"clients", "--file", dir.file("c.json"), "deny", "Cc:Dd:03"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("\"cc:dd:03\""), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("\"CC:DD:03\""), std::string::npos) << run.err;
    EXPECT_EQ(ReadFile(dir.file("c.json")), kList);
    // The exact spelling still has to be unambiguous: both spellings match case-blind.
    run = RunTool({"clients", "--file", dir.file("c.json"), "show", "cc:dd:03"});
    EXPECT_EQ(run.status, 2);
}

TEST(CliClientsEdit, SetProfileRefusesAProfileOfNoList) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    const std::string file = dir.file("c.json");
    ToolRun run = RunTool({"clients", "--file", file, "set-profile", "aa:bb:01", "No Such TV",
                           "--profiles", DataPath("profiles.json")});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("No Such TV"), std::string::npos) << run.err;
    run = RunTool({"clients", "--file", file, "set-profile", "aa:bb:01", "No Such TV"});
    EXPECT_EQ(run.status, 2) << "without a list to check, --force is needed";
    EXPECT_EQ(ReadFile(file), kList);

    run = RunTool(
        {"clients", "--file", file, "set-profile", "aa:bb:01", "No Such TV", "--force", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["entry"]["profileName"].asString(), "No Such TV");
    run = RunTool({"clients", "--file", file, "set-profile", "aa:bb:01", "Default Profile"});
    EXPECT_EQ(run.status, 0) << run.err;
    run = RunTool({"clients", "--file", file, "set-profile", "aa:bb:01", "Xbox 360", "--profiles",
                   DataPath("profiles.json"), "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["entry"]["profileName"].asString(), "Xbox 360");
}

TEST(CliClientsEdit, ImpossibleCombinationsAreUsageErrors) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    const std::vector<std::vector<std::string>> cases = {
        {"clients", "--file", dir.file("c.json"), "set-profile", "aa:bb:01", "Roku", "--auto"},
        {"clients", "--file", dir.file("c.json"), "set-profile", "aa:bb:01", "--auto", "--force"},
        {"identify", "-p", DataPath("profiles.json"), "--mac", "m", "-H", "a: b", "--brief",
         "--json"},
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--path", "a.mkv",
         "--limit", "3"},
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--path", "a.mkv",
         "--offset", "3"},
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--path", "a.mkv",
         "--brief", "--json"},
    };
    for (const auto& args : cases) {
        ToolRun run = RunTool(args);
        EXPECT_EQ(run.status, 2) << args[0] << " " << args.back() << "\n" << run.out;
        EXPECT_EQ(LineCount(run.err), 1u) << run.err;
    }
    EXPECT_EQ(ReadFile(dir.file("c.json")), kList);
}

TEST(CliClientsEdit, RemoveDropsTheEntryAndSaves) {
    TempDir dir;
    WriteFile(dir.file("c.json"), kList);
    ToolRun run = RunTool({"clients", "--file", dir.file("c.json"), "remove", "AA:BB:01"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("removed aa:bb:01"), std::string::npos) << run.out;
    Json::Value clients = Clients(dir.file("c.json"));
    ASSERT_EQ(clients.size(), 3u);
    EXPECT_EQ(clients[0]["macAddr"].asString(), "AA:BB:02");
    run = RunTool({"clients", "--file", dir.file("c.json"), "remove", "aa:bb:01"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("no client"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace calyx_test
