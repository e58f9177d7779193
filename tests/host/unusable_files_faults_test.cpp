// Every file the library reads by itself, when it is missing, a directory, unreadable or
// a FIFO without a writer: the documented failure value, and never a hang. Each call runs
// in a child process watched with a time limit, so that a reader that blocks fails the
// test instead of stalling the suite.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "calyx/i18n.h"
#include "support/test_support.h"

using calyx_test::RunningAsRoot;
using calyx_test::ScopedRoot;

namespace {

enum class Damage { kMissing, kDirectory, kUnreadable, kFifo };

const char* Name(Damage d) {
    switch (d) {
        case Damage::kMissing:
            return "missing";
        case Damage::kDirectory:
            return "a directory";
        case Damage::kUnreadable:
            return "unreadable";
        case Damage::kFifo:
            return "a FIFO";
    }
    return "?";
}

// Puts the damaged file at `path` (full path); false when the case cannot be made (an
// unreadable file as root).
bool Damaged(const std::string& path, Damage damage) {
    calyx_test::MakeDirs(path.substr(0, path.rfind('/')));
    switch (damage) {
        case Damage::kMissing:
            return true;
        case Damage::kDirectory:
            return mkdir(path.c_str(), 0755) == 0;
        case Damage::kUnreadable:
            if (RunningAsRoot()) {
                return false;
            }
            calyx_test::WriteFile(path, "{}\nkey=value\n");
            return chmod(path.c_str(), 0) == 0;
        case Damage::kFifo:
            return mkfifo(path.c_str(), 0644) == 0;
    }
    return false;
}

// Runs `check` in a child; true when it returned true within the limit.
::testing::AssertionResult InChild(const std::function<bool()>& check) {
    pid_t child = fork();
    if (child == 0) {
        _exit(check() ? 0 : 1);
    }
    const int limit = 10 * calyx_test::TimeScale();
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(limit);
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return ::testing::AssertionFailure() << "blocked for " << limit << " s";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (!WIFEXITED(status)) {
        return ::testing::AssertionFailure() << "crashed (status " << status << ")";
    }
    return WEXITSTATUS(status) == 0 ? ::testing::AssertionSuccess()
                                    : ::testing::AssertionFailure() << "wrong failure value";
}

struct Reader {
    const char* file;              // fixed path, under the root
    std::function<bool()> failed;  // calls the reader; true when it reports the failure
};

std::vector<Reader> Readers(const ScopedRoot& root) {
    std::string profiles = root.resolve("/profiles.json");
    std::string clients = root.resolve(calyx_test::kClientListFixedPath);
    return {
        {"/proc/net/arp", [] { return Calyx::GetMACAddressFromARPTable("10.0.0.1").empty(); }},
        {"/proc/cpuinfo", [] { return Calyx::GetCPUInfo("model").empty(); }},
        {"/etc.defaults/zevoinfo.conf", [] { return Calyx::DMSGetProductModel() == "Quillbox"; }},
        {"/var/packages/Calyx/etc/dmsinfo.conf",
         [] {
             std::vector<std::string> names;
             return Calyx::GetCoverList(names) && names.empty();
         }},
        {"/usr/zevo/etc/index_folder.conf",
         [] { return Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_MUSIC).size() <= 1; }},
        {"/usr/zevo/etc/shares.conf", [] { return Calyx::GetAbsolutePath("/music/a").empty(); }},
        {"/var/packages/Calyx/target/app/texts/enu/strings",
         [] {
             Calyx::DMSStringBundle bundle("enu");
             bundle.ImportStrings();
             return bundle.Translate("key") == "key";
         }},
        {calyx_test::kClientListFixedPath,
         [clients] {
             Calyx::DMSClientList list;
             return list.LoadClientList(clients) == 0;
         }},
        {"/profiles.json",
         [profiles] {
             Calyx::DMSClientList list;
             return !Calyx::DMSClientChecker::InitProfileList(profiles) &&
                    list.LoadProfileIDList(profiles) == 0;
         }},
    };
}

class UnusableFiles : public testing::TestWithParam<Damage> {};

TEST_P(UnusableFiles, EveryReaderFailsCleanly) {
    ScopedRoot root;
    for (const Reader& reader : Readers(root)) {
        SCOPED_TRACE(std::string(reader.file) + " " + Name(GetParam()));
        if (!Damaged(root.resolve(reader.file), GetParam())) {
            continue;
        }
        EXPECT_TRUE(InChild(reader.failed));
    }
    if (GetParam() == Damage::kUnreadable && RunningAsRoot()) {
        GTEST_SKIP() << "root reads any file";
    }
}

INSTANTIATE_TEST_SUITE_P(Damages, UnusableFiles,
                         testing::Values(Damage::kMissing, Damage::kDirectory, Damage::kUnreadable,
                                         Damage::kFifo),
                         [](const testing::TestParamInfo<Damage>& info) {
                             std::string name = Name(info.param);
                             return name.substr(name.find(' ') + 1);
                         });

}  // namespace

// The factory serial is read only when there is no custom one, so its file is damaged
// alone here (the other readers' damage would stop the serial read earlier).
TEST_P(UnusableFiles, FactorySerialFileFailsCleanly) {
    ScopedRoot root;
    if (!Damaged(root.resolve("/proc/device-tree/serial-number"), GetParam())) {
        GTEST_SKIP() << "root reads any file";
    }
    EXPECT_TRUE(InChild([] { return Calyx::DMSGetProductSerial().empty(); }));
}
