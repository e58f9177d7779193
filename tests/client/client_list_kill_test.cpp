// A saver killed at random moments always leaves a complete document behind.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "calyx/client_list.h"
#include "client_list_test_util.h"
#include "reference_client_list.h"

using calyx_test::kClientListFixedPath;

namespace {

std::string MacOf(int i) {
    return "cc:" + std::to_string(i);
}

std::map<std::string, std::string> HeadersOf(int i) {
    return {{"friendlyName", "Client " + std::to_string(i)},
            {"x-pad", std::string(2000, static_cast<char>('a' + i % 26))}};
}

// The child: continues the list found on disk, one client and one save at a time.
[[noreturn]] void SaveForever(const std::string& path) {
    Calyx::DMSClientList list;
    list.LoadClientList(path);
    for (int i = 0;; ++i) {
        std::string found = list.FindKey(MacOf(i), "macAddr");
        if (found.empty()) {
            list.UpdateKeys("HandleDiscovery", MacOf(i), "10.0.0.1", HeadersOf(i));
            list.WriteToFile();
        }
    }
}

TEST(ClientListCrash, KilledSaverLeavesTheOldOrTheNewDocument) {
    calyx_test::ScopedRoot root;
    calyx_test::MakeDirs(root.resolve("/var/packages/Calyx/etc"));
    const std::string path = root.resolve(kClientListFixedPath);
    const int kills = 200 * calyx_test::TestScale();
    std::mt19937 rng(77);

    // The documents the saver writes, rebuilt by the reference in the same order.
    calyx_test::ReferenceClientList expected;
    int expectedCount = 0;
    int lastCount = -1;
    int fileSeen = 0;

    for (int k = 0; k < kills; ++k) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            SaveForever(path);
        }
        // Up to a few saves' time, longer where the saver runs slower.
        usleep(std::uniform_int_distribution<unsigned>(0, 25000)(rng) *
               static_cast<unsigned>(calyx_test::TimeScale()));
        ASSERT_EQ(kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));

        if (!calyx_test::FileExists(path)) {
            ASSERT_EQ(lastCount, -1) << "the file vanished after kill " << k;
            continue;
        }
        ++fileSeen;
        std::string text = calyx_test::ReadFile(path);
        bool parsed = false;
        Json::Value doc = calyx_test::ParseJson(text, &parsed);
        ASSERT_TRUE(parsed) << "kill " << k << " left an unreadable file";
        ASSERT_TRUE(doc["ClientList"].isArray());
        int count = static_cast<int>(doc["ClientList"].size());
        ASSERT_GE(count, lastCount);
        lastCount = count;
        while (expectedCount < count) {
            expected.UpdateKeys("HandleDiscovery", MacOf(expectedCount), "10.0.0.1",
                                HeadersOf(expectedCount));
            ++expectedCount;
        }
        ASSERT_EQ(text, expected.Serialize()) << "kill " << k << " with " << count << " clients";
    }
    EXPECT_GT(fileSeen, kills / 2);
    EXPECT_GT(lastCount, 10);

    // Killed saves leave their temporary files; the next clean save removes them all.
    Calyx::DMSClientList clean;
    ASSERT_EQ(clean.LoadClientList(path), 1);
    ASSERT_EQ(clean.WriteToFile(), 1);
    EXPECT_EQ(calyx_test::ListDirectory(root.resolve("/var/packages/Calyx/etc")),
              std::vector<std::string>{"client_list.json"});
}

}  // namespace
