// calyx identify: the sample clients, ARP lookup, saving, --explain and --suggest.
#include <gtest/gtest.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

using calyx_test::kClientListFixedPath;

std::vector<std::string> SampleArgs(const SampleClient& c, const std::string& root) {
    std::vector<std::string> args{
        "identify", "--root", root,   "--profiles", DataPath("profiles.json"),
        "--mac",    c.mac,    "--ip", c.ip,         "--json"};
    const std::string dir = DataPath("clients/" + c.name);
    if (FileExists(dir + "/description.xml")) {
        args.push_back("--description");
        args.push_back(dir + "/description.xml");
    }
    args.push_back("--requests");
    args.push_back(dir + "/headers.txt");
    return args;
}

TEST(CliIdentify, EverySampleClientGetsItsIntendedProfile) {
    TempDir root;
    std::vector<SampleClient> clients = SampleClients();
    ASSERT_GE(clients.size(), 25u);
    for (const SampleClient& c : clients) {
        ToolRun run = RunTool(SampleArgs(c, root.path()));
        ASSERT_EQ(run.status, 0) << c.name << "\n" << run.err;
        Json::Value out = ExpectJson(run.out);
        EXPECT_EQ(out["profileName"].asString(), c.profile) << c.name;
        EXPECT_EQ(out["profileNameOrig"].asString(), c.profile) << c.name;
        EXPECT_TRUE(out["checker"]["profileFound"].asBool()) << c.name;
        EXPECT_TRUE(out["checker"]["flags"]["dlna"].asBool()) << c.name;
    }
}

TEST(CliIdentify, CheckerShowsFlagsOptionsAndOffendChars) {
    TempDir root;
    for (const SampleClient& c : SampleClients()) {
        if (c.name != "xbox-360" && c.name != "sony-bravia-2012")
            continue;
        Json::Value out = ExpectJson(RunTool(SampleArgs(c, root.path())).out);
        const Json::Value& checker = out["checker"];
        if (c.name == "xbox-360") {
            EXPECT_TRUE(checker["flags"]["xbox"].asBool());
            EXPECT_TRUE(checker["flags"]["msclient"].asBool());
            EXPECT_FALSE(checker["flags"]["samsungtv"].asBool());
            ASSERT_EQ(checker["types"].size(), 3u);
            EXPECT_EQ(checker["types"][0].asString(), "msclient");  // the checker's field order
            EXPECT_EQ(checker["options"][0].asString(), "transwav");
            EXPECT_EQ(checker["options"][1].asString(), "xalbart");
            EXPECT_EQ(checker["capability"].asUInt(), 2u + 8u);
        } else {
            EXPECT_EQ(checker["offendChars"].asString(), "\xE2\x99\xAA");
            EXPECT_EQ(out["displayName"].asString(), "Sony Corporation KDL-40HX750");
        }
    }
}

TEST(CliIdentify, MacComesFromTheArpTableUnderTheRootAndSaveWritesTheFixedPath) {
    TempDir root;
    WriteFile(root.path() + "/proc/net/arp",
              "IP address       HW type     Flags       HW address            Mask     Device\n"
              "10.0.0.7         0x1         0x2         02:00:00:00:00:07     *        eth0\n");
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                           "--ip", "10.0.0.7", "-H", "User-Agent: Roku/DVP-9.10 (519.10E04111A)",
                           "--save", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value out = ExpectJson(run.out);
    EXPECT_EQ(out["mac"].asString(), "02:00:00:00:00:07");
    EXPECT_TRUE(out["macFromARP"].asBool());
    EXPECT_EQ(out["profileName"].asString(), "Roku");
    EXPECT_EQ(out["entry"]["open_user-agent"].asString(), "Roku/DVP-9.10 (519.10E04111A)");
    const std::string saved = root.path() + kClientListFixedPath;
    ASSERT_TRUE(FileExists(saved));
    EXPECT_NE(ReadFile(saved).find("\t\t\t\"macAddr\" : \"02:00:00:00:00:07\""), std::string::npos);

    // A second request from another address refreshes the same saved entry.
    run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"), "--mac",
                   "02:00:00:00:00:07", "--ip", "10.0.0.8", "--handler", "HandleActionRequest",
                   "-H", "User-Agent: other", "--save", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    ToolRun list = RunTool({"clients", "--root", root.path(), "list", "--json"});
    Json::Value clients = ExpectJson(list.out)["clients"];
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0]["ipAddr"].asString(), "10.0.0.8");
    EXPECT_EQ(clients[0]["profileName"].asString(), "Roku");
}

TEST(CliIdentify, UnknownIpInTheArpTableIsAnError) {
    TempDir root;
    WriteFile(root.path() + "/proc/net/arp", "IP address HW type Flags HW address Mask Device\n");
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                           "--ip", "10.0.0.9", "-H", "User-Agent: x"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(LineCount(run.err), 1u);
    EXPECT_NE(run.err.find(root.path() + "/proc/net/arp"), std::string::npos) << run.err;
    EXPECT_FALSE(FileExists(root.path() + kClientListFixedPath));  // nothing saved without --save
}

TEST(CliIdentify, ExplainWalksEveryRecordAndNamesTheFirstFailingMember) {
    TempDir root;
    WriteFile(root.file("p.json"), R"({"ProfileList": [
        {"profileName": "A", "profileID": {"modelName": "TV", "manufacturer": "Acme"}},
        {"profileName": "B", "profileID": {"modelName": "TV"}},
        {"profileName": "C", "profileID": {"friendlyName": "Den"}},
        {"profileName": "D"} ]})");
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", root.file("p.json"), "--mac",
                           "m1", "--handler", "HandleDiscovery", "-H", "modelName: Smart TV", "-H",
                           "manufacturer: Other", "--explain", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value out = ExpectJson(run.out);
    EXPECT_EQ(out["profileName"].asString(), "B");
    const Json::Value& steps = out["explain"];
    ASSERT_EQ(steps.size(), 3u);  // D has no "profileID": not a record
    EXPECT_FALSE(steps[0]["matched"].asBool());
    EXPECT_EQ(steps[0]["failedKey"].asString(), "manufacturer");  // members are tried by name
    EXPECT_EQ(steps[0]["required"].asString(), "Acme");
    EXPECT_EQ(steps[0]["clientValue"].asString(), "Other");
    EXPECT_TRUE(steps[1]["matched"].asBool());
    EXPECT_FALSE(steps[2]["clientHasKey"].asBool());
    EXPECT_EQ(steps[2]["failedKey"].asString(), "friendlyName");

    ToolRun text =
        RunTool({"identify", "--root", root.path(), "-p", root.file("p.json"), "--mac", "m1",
                 "--handler", "HandleDiscovery", "-H", "modelName: Smart TV", "--explain"});
    EXPECT_NE(text.out.find("MATCHED"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("\"friendlyName\" absent (needs \"Den\")"), std::string::npos)
        << text.out;
}

TEST(CliIdentify, SuggestGivesAnEntryThatMatchesTheClientAndLintsClean) {
    TempDir root;
    ToolRun run =
        RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"), "--mac", "m2",
                 "-H", "User-Agent: FooStream/2.4 (Linux) DLNADOC/1.50", "--suggest", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value out = ExpectJson(run.out);
    EXPECT_EQ(out["profileName"].asString(), "Default Profile");
    EXPECT_EQ(out["displayName"].asString(), "General DMA");
    const Json::Value suggestion = out["suggestion"];  // a copy: `out` is reused below
    EXPECT_EQ(suggestion["profileID"]["open_user-agent"].asString(), "FooStream/");
    EXPECT_EQ(suggestion["dlna"].asString(), "yes");
    EXPECT_EQ(out["suggestionLint"]["errors"].asInt(), 0);

    // Adding the suggested entry makes the same client match it.
    Json::Value document = ExpectJson(
        ReadFile(DataPath("profiles.json")).substr(ReadFile(DataPath("profiles.json")).find('{')));
    document["ProfileList"].append(suggestion);
    WriteFile(root.file("extended.json"), document.toStyledString());
    out = ExpectJson(
        RunTool({"identify", "--root", root.path(), "-p", root.file("extended.json"), "--mac", "m2",
                 "-H", "User-Agent: FooStream/2.4 (Linux) DLNADOC/1.50", "--json"})
            .out);
    EXPECT_EQ(out["profileName"].asString(), suggestion["profileName"].asString());

    // A device description gives the model name as the most specific field.
    WriteFile(root.file("d.xml"),
              "<root><device><manufacturer>Acme</manufacturer><modelName>Box "
              "9</modelName></device></root>");
    out = ExpectJson(
        RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"), "--mac", "m3",
                 "--description", root.file("d.xml"), "--suggest", "--json"})
            .out);
    EXPECT_EQ(out["suggestion"]["profileID"]["modelName"].asString(), "Box 9");
    EXPECT_EQ(out["suggestion"]["profileName"].asString(), "Acme Box 9");
}

TEST(CliIdentify, MalformedInputsAreOneLineErrors) {
    TempDir root;
    WriteFile(root.file("bad.json"), "{\n \"ProfileList\": [ }\n");
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", root.file("bad.json"), "--mac",
                           "m", "-H", "a: b"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(root.file("bad.json") + ":2:"), std::string::npos) << run.err;
    EXPECT_EQ(LineCount(run.err), 1u);

    WriteFile(root.file("x.xml"), "<root><device>");
    run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"), "--mac", "m",
                   "--description", root.file("x.xml")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(root.file("x.xml")), std::string::npos) << run.err;

    WriteFile(root.file("h.txt"), "GET / HTTP/1.1\nUser-Agent: x\nthis is not a header\n");
    run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"), "--mac", "m",
                   "--requests", root.file("h.txt")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(root.file("h.txt") + ":3:"), std::string::npos) << run.err;

    WriteFile(root.path() + kClientListFixedPath, "{ \"ClientList\": [ \n");
    run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"), "--mac", "m",
                   "-H", "a: b"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(root.path() + kClientListFixedPath + ":2:"), std::string::npos)
        << run.err;
}

TEST(CliIdentify, RecordedRequestsChooseTheirHandlerByMethod) {
    TempDir root;
    WriteFile(root.file("h.txt"),
              "# recorded\nPOST /ctl HTTP/1.1\nUser-Agent: Ctl/1\nSOAPAction: x\n\nGET /m "
              "HTTP/1.1\nUser-Agent: Get/1\n");
    Json::Value out =
        ExpectJson(RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                            "--mac", "m", "--requests", root.file("h.txt"), "--json"})
                       .out);
    EXPECT_EQ(out["entry"]["browse_user-agent"].asString(), "Ctl/1");
    EXPECT_EQ(out["entry"]["open_user-agent"].asString(), "Get/1");
    EXPECT_FALSE(out["entry"].isMember("browse_soapaction"));  // skipped by the client list
    EXPECT_EQ(out["requests"][0]["handler"].asString(), "HandleActionRequest");
    EXPECT_EQ(out["requests"][1]["handler"].asString(), "WebSerOpen");
}

// A UPnP stack's generic user agent names no client (VLC's and Kodi's control requests carry
// only theirs, and other clients send the same): it stays on the Default Profile, and the
// client is found by its media requests.
TEST(CliIdentify, GenericUpnpStackAgentsStayOnTheDefaultProfile) {
    TempDir root;
    for (const char* agent :
         {"User-Agent: Linux/6.18.44-fc-v769, UPnP/1.0, Portable SDK for UPnP devices/1.8.4",
          "User-Agent: UPnP/1.0 DLNADOC/1.50 Platinum/1.0.5.13"}) {
        ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                               "--mac", "02:00:00:00:00:29", "--ip", "10.0.0.29", "--handler",
                               "HandleActionRequest", "-H", agent, "--json"});
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(ExpectJson(run.out)["profileName"].asString(), "Default Profile") << agent;
    }
}

// Kodi's renderer (off by default) identifies it by its description alone.
TEST(CliIdentify, KodisRendererDescriptionAloneNamesKodi) {
    TempDir root;
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                           "--mac", "02:00:00:00:00:30", "--ip", "10.0.0.30", "--description",
                           DataPath("clients/kodi/description.xml"), "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["profileName"].asString(), "Kodi (renderer)");
}

// Debian's Kodi names itself "KodifromDebian/..." on its media requests (upstream builds
// "Kodi/..."): both are Kodi.
TEST(CliIdentify, KodisMediaRequestsNameKodiInDebiansAndUpstreamBuilds) {
    for (const std::string agent :
         {"KodifromDebian/20.1 (X11; Linux x86_64) Kodi_Fork_Kodi from Debian/1.0 Debian "
          "GNU/Linux/12 App_Bitness/64 Version/20.1-Debian-package-version:-2:20.1+dfsg-1",
          "Kodi/21.0 (Windows NT 10.0.19045.0; Win64; x64) App_Bitness/64 Version/21.0"}) {
        TempDir root;
        ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                               "--mac", "02:00:00:00:00:31", "--ip", "10.0.0.31", "-H",
                               "User-Agent: " + agent, "--json"});
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(ExpectJson(run.out)["profileName"].asString(), "Kodi") << agent;
    }
}

}  // namespace
}  // namespace calyx_test
