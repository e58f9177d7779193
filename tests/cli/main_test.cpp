// Help, bad usage and the shape of error messages.
#include <gtest/gtest.h>

#include "cli_runner.h"

namespace calyx_test {
namespace {

TEST(CliUsage, HelpOfTheToolAndOfEverySubcommandExitsZero) {
    ToolRun top = RunTool({"--help"});
    EXPECT_EQ(top.status, 0);
    for (const char* cmd :
         {"identify", "video-profile", "lint", "clients", "device", "media", "translate"}) {
        EXPECT_NE(top.out.find(cmd), std::string::npos) << cmd;
        ToolRun sub = RunTool({cmd, "--help"});
        EXPECT_EQ(sub.status, 0) << cmd;
        if (std::string(cmd) != "media") {
            EXPECT_NE(sub.out.find("--json"), std::string::npos) << cmd;
        }
    }
    ToolRun media = RunTool({"media", "count", "--help"});
    EXPECT_EQ(media.status, 0);
    EXPECT_NE(media.out.find("--exclude-codec"), std::string::npos);
    EXPECT_NE(media.out.find("--json"), std::string::npos);
    ToolRun clients = RunTool({"clients", "set-profile", "--help"});
    EXPECT_EQ(clients.status, 0);
    EXPECT_NE(clients.out.find("--auto"), std::string::npos);
}

TEST(CliUsage, BadUsageExitsTwoWithOneLine) {
    const std::vector<std::vector<std::string>> cases = {
        {},                                      // no subcommand
        {"frobnicate"},                          // unknown subcommand
        {"lint"},                                // missing file argument
        {"lint", "--no-such-option", "x.json"},  // unknown option
        {"identify", "--ip", "10.0.0.1"},        // --profiles missing
        {"identify", "-p", DataPath("profiles.json"), "-H",
         "User-Agent: x"},  // neither --ip nor --mac
        {"identify", "-p", DataPath("profiles.json"), "--ip", "10.0.0.1"},  // nothing to send
        {"identify", "-p", DataPath("profiles.json"), "--mac", "m", "-H", "no colon here"},
        {"identify", "-p", DataPath("profiles.json"), "--mac", "m", "-H", "a: b", "--handler",
         "Open"},
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku"},  // no item
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--path", "a.mkv",
         "--items", DataPath("media/items.json")},  // two item sources
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--frame-rate", "fast"},
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--width", "wide"},
        {"clients"},                            // no clients subcommand
        {"clients", "show"},                    // MAC missing
        {"media", "count", "--type", "books"},  // unknown table
        {"translate"},                          // no key
    };
    for (const auto& args : cases) {
        ToolRun run = RunTool(args);
        std::string shown;
        for (const auto& a : args)
            shown += a + " ";
        EXPECT_EQ(run.status, 2) << shown << "\n" << run.err;
        EXPECT_EQ(LineCount(run.err), 1u) << shown << "\n" << run.err;
        EXPECT_EQ(run.err.rfind("calyx: ", 0), 0u) << run.err;
    }
}

TEST(CliUsage, MissingFileGivesOneLineNamingItAndExitOne) {
    const std::string missing = "/nonexistent/calyx/profiles.json";
    const std::vector<std::vector<std::string>> cases = {
        {"lint", missing},
        {"identify", "-p", missing, "--mac", "aa", "-H", "User-Agent: x"},
        {"video-profile", "-p", missing, "-n", "Roku", "--path", "a.mkv"},
        {"clients", "--file", missing, "list"},
        {"identify", "-p", DataPath("profiles.json"), "--mac", "aa", "--requests", missing},
        {"identify", "-p", DataPath("profiles.json"), "--mac", "aa", "--description", missing},
        {"video-profile", "-p", DataPath("profiles.json"), "-n", "Roku", "--items", missing},
    };
    for (const auto& args : cases) {
        ToolRun run = RunTool(args);
        EXPECT_EQ(run.status, 1) << args[0] << "\n" << run.err;
        EXPECT_EQ(LineCount(run.err), 1u) << run.err;
        EXPECT_NE(run.err.find(missing), std::string::npos) << run.err;
    }
}

TEST(CliUsage, NoArgumentsPrintsTheUsage) {
    ToolRun run = RunTool({});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out.rfind("calyx: ", 0), 0u) << run.out;
    EXPECT_NE(run.out.find("Usage: calyx [OPTIONS]"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("identify"), std::string::npos) << run.out;
    EXPECT_EQ(LineCount(run.err), 1u) << run.err;
}

TEST(CliUsage, UnknownCommandIsNamed) {
    for (const std::vector<std::string>& args : {std::vector<std::string>{"frobnicate"},
                                                 {"clients", "frobnicate"},
                                                 {"media", "frobnicate"}}) {
        ToolRun run = RunTool(args);
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.err.find("frobnicate"), std::string::npos) << run.err;
    }
    ToolRun run = RunTool({"clients"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("clients: give a command: list, show"), std::string::npos) << run.err;
}

TEST(CliUsage, EveryHelpShowsCalyxAndEndsWithTheExitStatus) {
    const std::string footer =
        "Exit status: 0 success, 1 a failed check or unusable file, 2 bad usage.";
    const std::vector<std::vector<std::string>> commands = {{},
                                                            {"identify"},
                                                            {"video-profile"},
                                                            {"lint"},
                                                            {"clients"},
                                                            {"device"},
                                                            {"clients", "set-profile"},
                                                            {"clients", "remove"},
                                                            {"media"},
                                                            {"media", "list"},
                                                            {"translate"}};
    for (std::vector<std::string> args : commands) {
        std::string shown = "calyx";
        for (const std::string& a : args)
            shown += " " + a;
        args.push_back("--help");
        ToolRun run = RunTool(args);
        EXPECT_EQ(run.status, 0) << shown;
        EXPECT_NE(run.out.find("Usage: " + shown + " "), std::string::npos) << shown << "\n"
                                                                            << run.out;
        EXPECT_EQ(run.out.find(CALYX_TOOL_PATH), std::string::npos) << run.out;
        EXPECT_NE(run.out.find(footer), std::string::npos) << shown << "\n" << run.out;
    }
}

TEST(CliUsage, VersionIsPrinted) {
    ToolRun run = RunTool({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("calyx "), std::string::npos);
}

}  // namespace
}  // namespace calyx_test
