// The client list extensions share the list's lock with the discovery update.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

const char kProfiles[] =
    R"({"ProfileList": [{"profileName": "B", "profileID": {"modelName": "TV"}}]})";

TEST(ExtClientListConcurrency, EditsAndSavesBesideUpdates) {
    TempDir dir;
    WriteFile(dir.file("p.json"), kProfiles);
    WriteFile(dir.file("c.json"), R"({"ClientList": [{"macAddr": "m0"}]})");
    Calyx::DMSClientList list;
    ASSERT_TRUE(list.Load(dir.file("c.json"), dir.file("p.json")));
    const int rounds = 200 * TestScale();
    std::thread updater([&] {
        for (int i = 0; i < rounds; ++i)
            list.UpdateKeys("HandleDiscovery", "m" + std::to_string(i % 50), "10.0.0.1",
                            {{"modelName", "TV"}});
    });
    std::thread editor([&] {
        for (int i = 0; i < rounds; ++i) {
            Calyx::ClientListSetMember(list, "m0", "isAccess", Json::Value(i % 2 == 0));
            Json::Value entry;
            Calyx::ClientListEntry(list, "m" + std::to_string(i % 50), entry);
            if (i % 20 == 0)
                Calyx::ClientListWriteTo(list, dir.file("out.json"), nullptr);
        }
    });
    updater.join();
    editor.join();
    Json::Value document = Calyx::ClientListDocument(list);
    EXPECT_EQ(document["ClientList"].size(), 50u);
    Json::Value saved;
    EXPECT_TRUE(Calyx::ReadJsonFile(dir.file("out.json"), saved, nullptr));
}

TEST(ExtClientListConcurrency, RemovalsBesideUpdatesAndLookups) {
    TempDir dir;
    WriteFile(dir.file("p.json"), kProfiles);
    Calyx::DMSClientList list;
    ASSERT_TRUE(Calyx::ClientListStartUp(list, dir.file("none.json"), dir.file("p.json")));
    const int rounds = 200 * TestScale();
    std::thread updater([&] {
        for (int i = 0; i < rounds; ++i)
            list.UpdateKeys("HandleDiscovery", "m" + std::to_string(i % 20), "10.0.0.1",
                            {{"modelName", "TV"}});
    });
    std::thread remover([&] {
        for (int i = 0; i < rounds; ++i) {
            Calyx::ClientListRemove(list, "m" + std::to_string((i * 7) % 20));
            Json::Value entry;
            if (Calyx::ClientListEntry(list, "m" + std::to_string(i % 20), entry))
                EXPECT_EQ(entry["macAddr"].asString(), "m" + std::to_string(i % 20));
        }
    });
    updater.join();
    remover.join();
    // Whatever survived is one entry per MAC, each found where the lookups say.
    Json::Value document = Calyx::ClientListDocument(list);
    for (Json::ArrayIndex i = 0; i < document["ClientList"].size(); ++i) {
        unsigned int index = 99;
        ASSERT_TRUE(list.VerifyMacIsExist(document["ClientList"][i]["macAddr"].asString(), index));
        EXPECT_EQ(index, i);
    }
}

// A server thread saving its list and a second writer (its own list object on the same
// file) editing through ClientListApply: the writers' lock serialises them, and the
// server's saves keep the editor's last word.
TEST(ExtClientListConcurrency, ServerSavesBesideLockedEdits) {
    TempDir dir;
    const std::string path = dir.file("c.json");
    WriteFile(path, R"({"ClientList": [{"macAddr": "m0", "isAccess": true}]})");
    Calyx::DMSClientList server;
    ASSERT_EQ(server.LoadClientList(path), 1);
    const int rounds = 20 * TestScale();
    std::thread saver([&] {
        for (int i = 0; i < rounds; ++i) {
            server.UpdateKeys("HandleDiscovery", "s" + std::to_string(i), "10.0.0.1", {});
            EXPECT_EQ(Calyx::ClientListWriteTo(server, path, nullptr), 1);
        }
    });
    std::thread editor([&] {
        for (int i = 0; i < rounds; ++i) {
            Calyx::DMSClientList tool;
            Calyx::ClientListApply(tool, path, [&](Json::Value& doc) {
                Calyx::ReadJsonFile(path, doc, nullptr);
                return Calyx::EditClientEntry(tool, doc, "m0", "isAccess", Json::Value(i % 2 == 1));
            });
        }
    });
    saver.join();
    editor.join();
    ASSERT_EQ(Calyx::ClientListWriteTo(server, path, nullptr), 1);
    Json::Value saved;
    ASSERT_TRUE(Calyx::ReadJsonFile(path, saved, nullptr));
    EXPECT_EQ(saved["ClientList"].size(), static_cast<Json::ArrayIndex>(rounds + 1));
    EXPECT_EQ(saved["ClientList"][0]["isAccess"], Json::Value((rounds - 1) % 2 == 1));
}

}  // namespace
}  // namespace calyx_test
