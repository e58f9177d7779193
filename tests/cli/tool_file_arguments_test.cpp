// Every path the tool reads as a file refuses FIFOs, directories and devices at once,
// naming what it found.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "cli_runner.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

// The commands that read `path` as a file, one per file argument.
std::vector<std::vector<std::string>> Readers(const std::string& path, const std::string& root) {
    const std::string profiles = DataPath("profiles.json");
    return {
        {"lint", path},
        {"identify", "--root", root, "-p", path, "--mac", "m", "-H", "User-Agent: x"},
        {"identify", "--root", root, "-p", profiles, "--mac", "m", "--requests", path},
        {"identify", "--root", root, "-p", profiles, "--mac", "m", "--description", path},
        {"video-profile", "-p", path, "-n", "Roku", "--path", "a.mkv"},
        {"video-profile", "-p", profiles, "-n", "Roku", "--items", path},
        {"clients", "--file", path, "list"},
        {"clients", "--file", path, "show", "m"},
    };
}

void ExpectRefused(const std::string& path, const std::string& kind, const std::string& root) {
    for (const auto& args : Readers(path, root)) {
        ToolRun run = RunTool(args);
        EXPECT_EQ(run.status, 1) << args[0] << " " << args[1] << "\n" << run.err;
        EXPECT_EQ(LineCount(run.err), 1u) << run.err;
        EXPECT_NE(run.err.find(path + ": is a " + kind), std::string::npos)
            << args[0] << " " << args[1] << "\n"
            << run.err;
    }
}

TEST(CliFileArguments, FifoIsRefusedWithoutWaiting) {
    TempDir dir;
    ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);
    ExpectRefused(dir.file("fifo"), "FIFO", dir.path());
}

TEST(CliFileArguments, DirectoryIsNamedAsSuchNotAsASyntaxError) {
    TempDir dir;
    MakeDirs(dir.file("folder"));
    ExpectRefused(dir.file("folder"), "directory", dir.path());
}

TEST(CliFileArguments, DeviceIsNamedAsSuch) {
    TempDir dir;
    ExpectRefused("/dev/null", "character device", dir.path());
}

TEST(CliFileArguments, FifoAsTheClientListUnderTheRoot) {
    TempDir root;
    MakeDirs(root.path() + "/var/packages/Calyx/etc");
    const std::string list = root.path() + calyx_test::kClientListFixedPath;
    ASSERT_EQ(mkfifo(list.c_str(), 0600), 0);
    ToolRun run = RunTool({"identify", "--root", root.path(), "-p", DataPath("profiles.json"),
                           "--mac", "m", "-H", "User-Agent: x"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(list + ": is a FIFO"), std::string::npos) << run.err;
    run = RunTool({"clients", "--root", root.path(), "list"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(list + ": is a FIFO"), std::string::npos) << run.err;
}

}  // namespace
}  // namespace calyx_test
