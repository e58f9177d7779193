// calyx identify on the host's road: a relative root, save failures with their reason,
// valid JSON whatever bytes the client sent, incomplete ARP entries and suggestions that
// pass their own lint.
#include <gtest/gtest.h>
#include <unistd.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

// Runs the scope in another working directory.
class ScopedWorkingDirectory {
public:
    explicit ScopedWorkingDirectory(const std::string& dir) {
        char buffer[4096];
        old_ = getcwd(buffer, sizeof buffer) ? buffer : "/";
        EXPECT_EQ(chdir(dir.c_str()), 0) << dir;
    }
    ~ScopedWorkingDirectory() { EXPECT_EQ(chdir(old_.c_str()), 0); }

private:
    std::string old_;
};

// Whether `text` is well-formed UTF-8 (no overlong forms, surrogates or values past
// U+10FFFF).
bool IsValidUtf8(const std::string& text) {
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        size_t n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (n == 0 || i + n > text.size() || (n == 2 && c < 0xC2) || c > 0xF4)
            return false;
        unsigned long cp = n == 1 ? c : c & (0x7F >> n);
        for (size_t k = 1; k < n; ++k) {
            const unsigned char next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80)
                return false;
            cp = (cp << 6) | (next & 0x3F);
        }
        if ((n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000) || cp > 0x10FFFF ||
            (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        i += n;
    }
    return true;
}

TEST(CliHostRoad, RelativeRootSavesBelowTheWorkingDirectory) {
    TempDir work;
    const std::string name = "calyx-relative-root-" + std::to_string(getpid());
    MakeDirs(work.file(name));
    ToolRun run;
    {
        ScopedWorkingDirectory cwd(work.path());
        run = RunTool({"identify", "--root", name, "-p", DataPath("profiles.json"), "--mac",
                       "02:00:00:00:00:01", "-H", "User-Agent: Roku/DVP-9.10", "--save"});
    }
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(FileExists(work.file(name) + kClientListFixedPath));
    EXPECT_FALSE(FileExists("/" + name)) << "nothing is created under /";
}

TEST(CliHostRoad, SaveFailureSaysWhy) {
    TempDir root;
    WriteFile(root.path() + "/var/packages/Calyx", "a file where a directory belongs");
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                           "--mac", "m1", "-H", "User-Agent: x", "--save"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(LineCount(run.err), 1u) << run.err;
    EXPECT_NE(run.err.find("Not a directory"), std::string::npos) << run.err;
}

TEST(CliHostRoad, JsonOutputIsValidUtf8WhateverTheHeadersHold) {
    TempDir root;
    const std::string agent =
        std::string("Box\xff\xfe/1 \xc3\xa9t\xc3 \xed\xa0\x80 \xf0\x9f\x8e\xac");
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                           "--mac", "m1", "-H", "User-Agent: " + agent, "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(IsValidUtf8(run.out)) << run.out;
    Json::Value out = ExpectJson(run.out);
    // Valid sequences stay, every other byte becomes U+FFFD.
    EXPECT_EQ(out["userAgent"].asString(),
              "Box\xef\xbf\xbd\xef\xbf\xbd/1 \xc3\xa9t\xef\xbf\xbd \xef\xbf\xbd\xef\xbf\xbd\xef\xbf"
              "\xbd \xf0\x9f\x8e\xac");
}

TEST(CliHostRoad, IncompleteArpEntryNeverBecomesAClient) {
    TempDir root;
    WriteFile(root.path() + "/proc/net/arp",
              "IP address       HW type     Flags       HW address            Mask     Device\n"
              "10.0.0.5         0x1         0x0         00:00:00:00:00:00     *        eth0\n");
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                           "--ip", "10.0.0.5", "-H", "User-Agent: x", "--save"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("incomplete"), std::string::npos) << run.err;
    EXPECT_FALSE(FileExists(root.path() + kClientListFixedPath));
    run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"), "--mac",
                   "00:00:00:00:00:00", "-H", "User-Agent: x", "--save"});
    EXPECT_EQ(run.status, 2);
    EXPECT_FALSE(FileExists(root.path() + kClientListFixedPath));
}

TEST(CliHostRoad, SuggestionNeverFailsItsOwnLint) {
    TempDir root;
    // The name the suggestion would take is already used by another profile.
    WriteFile(root.file("p.json"), R"({"ProfileList": [
        {"profileName": "FooStream", "profileID": {"modelName": "Something else"}} ]})");
    ToolRun run =
        RunTool({"identify", "--root", root.path(), "-p", root.file("p.json"), "--mac", "m1", "-H",
                 "User-Agent: FooStream/2.4 DLNADOC/1.50", "--suggest", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value out = ExpectJson(run.out);
    EXPECT_EQ(out["suggestion"]["profileName"].asString(), "FooStream 2");
    EXPECT_EQ(out["suggestionLint"]["errors"].asInt(), 0) << run.out;

    // A client that sent nothing to match gets no suggestion rather than a useless one.
    run = RunTool({"identify", "--root", root.path(), "-p", root.file("p.json"), "--mac", "m2",
                   "-H", "Accept-Language: en", "--suggest", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(ExpectJson(run.out)["suggestion"].isNull()) << run.out;
}

TEST(CliHostRoad, FreshRootMatchesFromTheFirstRequest) {
    TempDir root;
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                           "--mac", "m1", "-H", "User-Agent: Roku/DVP-9.10", "--json"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ExpectJson(run.out)["profileName"].asString(), "Roku");
}

}  // namespace
}  // namespace calyx_test
