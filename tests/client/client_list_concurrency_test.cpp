// Updates from many threads while others save, erase and look up.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "calyx/client_list.h"
#include "client_list_test_util.h"

using calyx_test::kClientListFixedPath;

namespace {

constexpr int kClients = 1000;
constexpr int kUpdaters = 8;

std::string MacOf(int i) {
    return "dd:" + std::to_string(i);
}

TEST(ClientListConcurrency, UpdatesSavesAndErasesInterleave) {
    calyx_test::ScopedRoot root;
    calyx_test::MakeDirs(root.resolve("/var/packages/Calyx/etc"));
    root.write("/host/profiles.json", R"({"ProfileList": [
      {"profileName": "TV", "profileID": {"modelName": "TV"}},
      {"profileName": "Player", "profileID": {"open_user-agent": "Player"}}]})");
    const std::string path = root.resolve(kClientListFixedPath);

    Calyx::DMSClientList list;
    ASSERT_EQ(list.LoadProfileIDList(root.resolve("/host/profiles.json")), 1);

    std::atomic<bool> updating{true};
    std::atomic<int> saves{0};
    std::atomic<int> unreadable{0};
    std::atomic<int> failedUpdates{0};
    std::vector<std::thread> updaters;
    for (int t = 0; t < kUpdaters; ++t) {
        updaters.emplace_back([&, t] {
            static const char* kSources[] = {"HandleDiscovery", "HandleActionRequest",
                                             "WebSerOpen"};
            for (int n = 0; n < kClients; ++n) {
                int i = (n + t * (kClients / kUpdaters)) % kClients;
                std::map<std::string, std::string> headers = {
                    {"modelName", i % 3 == 0 ? "Smart TV" : "Box"},
                    {"user-agent", "Player/" + std::to_string(t)},
                    {"Host", "server"}};
                if (list.UpdateKeys(kSources[(i + t) % 3], MacOf(i),
                                    "10.0." + std::to_string(t) + "." + std::to_string(i % 250),
                                    headers) != 1) {
                    ++failedUpdates;
                }
            }
        });
    }
    std::thread saver([&] {
        while (updating.load()) {
            if (list.WriteToFile() != 1) {
                ++unreadable;
                continue;
            }
            ++saves;
            bool parsed = false;
            calyx_test::ParseJson(calyx_test::ReadFile(path), &parsed);
            if (!parsed) {
                ++unreadable;
            }
        }
    });
    std::thread eraser([&] {
        int n = 0;
        while (updating.load()) {
            list.EraseObject(MacOf(n % kClients));
            list.FindKey(MacOf((n * 7) % kClients), "profileName");
            list.FindMacByIP("10.0.1." + std::to_string(n % 250));
            ++n;
        }
    });
    for (auto& thread : updaters) {
        thread.join();
    }
    updating = false;
    saver.join();
    eraser.join();

    EXPECT_EQ(failedUpdates.load(), 0);
    EXPECT_EQ(unreadable.load(), 0);
    EXPECT_GT(saves.load(), 0);
    ASSERT_EQ(list.WriteToFile(), 1);
    bool parsed = false;
    Json::Value doc = calyx_test::ParseJson(calyx_test::ReadFile(path), &parsed);
    ASSERT_TRUE(parsed);
    ASSERT_EQ(doc["ClientList"].size(), static_cast<unsigned>(kClients));
    std::set<std::string> macs;
    for (const Json::Value& entry : doc["ClientList"]) {
        macs.insert(entry["macAddr"].asString());
    }
    EXPECT_EQ(macs.size(), static_cast<size_t>(kClients));
    EXPECT_EQ(macs.count(MacOf(0)), 1u);
    EXPECT_EQ(macs.count(MacOf(kClients - 1)), 1u);
}

// A reload while other threads look up and update: each sees the old or the new list.
TEST(ClientListConcurrency, ReloadWhileOthersServe) {
    calyx_test::ScopedRoot root;
    const std::string first =
        root.write("/first.json",
                   R"({"ClientList": [{"macAddr": "aa:00", "ipAddr": "10.0.0.1"},
                                              {"macAddr": "aa:01", "ipAddr": "10.0.0.2"}]})");
    const std::string second = root.write(
        "/second.json", R"({"ClientList": [{"macAddr": "aa:00", "ipAddr": "10.0.0.1"}]})");
    Calyx::DMSClientList list;
    ASSERT_EQ(list.LoadClientList(first), 1);
    std::atomic<bool> stop{false};
    std::thread server([&] {
        while (!stop) {
            EXPECT_EQ(list.FindMacByIP("10.0.0.1"), "aa:00");
            list.UpdateKeys("HandleDiscovery", "aa:00", "10.0.0.1", {});
        }
    });
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(list.LoadClientList(i % 2 == 0 ? second : first), 1);
    }
    stop = true;
    server.join();
}

}  // namespace
