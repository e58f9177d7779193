// Two writers of one client list file: the writers' lock, the merge of the other
// writer's edits, temporaries of killed saves, a corrupt file kept aside, and failures
// of single file operations injected through the file seam.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "client_list_test_util.h"
#include "platform/file_ops.h"

using Calyx::detail::FileOps;
using Calyx::detail::ScopedFileOps;
using calyx_test::kClientListFixedPath;
using calyx_test::LogWatch;
using calyx_test::ParseJson;
using calyx_test::ReadFile;

namespace {

const char* kTwoClients = R"({"ClientList": [
  {"macAddr": "aa:00", "ipAddr": "10.0.0.1", "isAccess": true, "profileName_Orig": "Default Profile",
   "profileName": "Default Profile", "displayName": "General DMA"},
  {"macAddr": "aa:01", "ipAddr": "10.0.0.2", "isAccess": true, "profileName_Orig": "Default Profile",
   "profileName": "Default Profile", "displayName": "General DMA"}]})";

class ClientListWriters : public ::testing::Test {
protected:
    void SetUp() override {
        root_.write(kClientListFixedPath, kTwoClients);
        ASSERT_EQ(server_.LoadClientList(Path()), 1);
    }
    std::string Dir() const { return root_.resolve("/var/packages/Calyx/etc"); }
    std::string Path() const { return root_.resolve(kClientListFixedPath); }
    Json::Value OnDisk() const { return ParseJson(ReadFile(Path())); }
    // What the settings screen does: one locked edit of the file.
    int ToolSets(const std::string& mac, const std::string& key, const Json::Value& value) {
        Calyx::DMSClientList tool;
        if (tool.LoadClientList(Path()) != 1) {
            return 0;
        }
        return Calyx::ClientListApply(tool, Path(), [&](Json::Value& doc) {
            return Calyx::EditClientEntry(tool, doc, mac, key, value);
        });
    }

    calyx_test::ScopedRoot root_;
    Calyx::DMSClientList server_;
};

TEST_F(ClientListWriters, DenyMadeByTheToolSurvivesTheServersNextSave) {
    ASSERT_EQ(server_.UpdateKeys("HandleDiscovery", "aa:00", "10.0.0.7", {}), 1);
    ASSERT_EQ(ToolSets("aa:00", "isAccess", Json::Value(false)), 1);
    ASSERT_EQ(server_.UpdateKeys("HandleDiscovery", "aa:02", "10.0.0.3", {}), 1);
    ASSERT_EQ(server_.WriteToFile(), 1);
    Json::Value disk = OnDisk();
    EXPECT_EQ(disk["ClientList"][0]["isAccess"], Json::Value(false));
    EXPECT_EQ(disk["ClientList"][0]["ipAddr"], Json::Value("10.0.0.7"));  // memory's
    EXPECT_EQ(disk["ClientList"].size(), 3u);
    EXPECT_EQ(server_.FindKey("aa:00", "isAccess"), "false");
}

TEST_F(ClientListWriters, UserSelectedProfileAddedChangedAndRemovedOnDisk) {
    ASSERT_EQ(ToolSets("aa:01", "profileName_UserSelected", Json::Value("TV")), 1);
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(server_.FindKey("aa:01", "profileName"), "TV");
    ASSERT_EQ(ToolSets("aa:01", "profileName_UserSelected", Json::Value("Radio")), 1);
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(server_.FindKey("aa:01", "profileName"), "Radio");
    ASSERT_EQ(ToolSets("aa:01", "profileName_UserSelected", Json::Value()), 1);
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(server_.FindKey("aa:01", "profileName"), "Default Profile");
    EXPECT_FALSE(OnDisk()["ClientList"][1].isMember("profileName_UserSelected"));
}

TEST_F(ClientListWriters, EntryRemovedOnDiskGoesAndANewOneInMemoryStays) {
    ASSERT_EQ(server_.UpdateKeys("HandleDiscovery", "aa:02", "10.0.0.3", {}), 1);
    Json::Value edited = ParseJson(kTwoClients);
    Json::Value gone;
    edited["ClientList"].removeIndex(0, &gone);
    calyx_test::WriteFile(Path(), calyx_test::SerializeStyled(edited));
    ASSERT_EQ(server_.WriteToFile(), 1);
    unsigned int index = 0;
    EXPECT_FALSE(server_.VerifyMacIsExist("aa:00", index));
    ASSERT_TRUE(server_.VerifyMacIsExist("aa:02", index));
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(OnDisk()["ClientList"].size(), 2u);
}

TEST_F(ClientListWriters, NothingButTheUsersChoicesComesFromDisk) {
    Json::Value edited = ParseJson(kTwoClients);
    edited["ClientList"][0]["displayName"] = "Edited";
    edited["ClientList"][0]["ipAddr"] = "10.9.9.9";
    edited["ClientList"].append(Json::Value(Json::objectValue))["macAddr"] = "ff:ff";
    calyx_test::WriteFile(Path(), calyx_test::SerializeStyled(edited));
    ASSERT_EQ(server_.WriteToFile(), 1);
    Json::Value disk = OnDisk();
    EXPECT_EQ(disk["ClientList"].size(), 2u);
    EXPECT_EQ(disk["ClientList"][0]["displayName"], Json::Value("General DMA"));
    EXPECT_EQ(disk["ClientList"][0]["ipAddr"], Json::Value("10.0.0.1"));
}

TEST_F(ClientListWriters, AListThatNeverReadTheFileMergesNothing) {
    Calyx::DMSClientList fresh;
    ASSERT_EQ(fresh.UpdateKeys("HandleDiscovery", "bb:00", "10.0.0.5", {}), 1);
    ASSERT_EQ(fresh.WriteToFile(), 1);
    Json::Value disk = OnDisk();
    ASSERT_EQ(disk["ClientList"].size(), 1u);
    EXPECT_EQ(disk["ClientList"][0]["macAddr"], Json::Value("bb:00"));
}

int FailingRename(const char*, const char*) {
    errno = EIO;
    return -1;
}

TEST_F(ClientListWriters, MergedValuesStayInMemoryOnlyWhenTheSaveSucceeds) {
    ASSERT_EQ(ToolSets("aa:00", "isAccess", Json::Value(false)), 1);
    FileOps ops = Calyx::detail::SystemFileOps();
    ops.rename = FailingRename;
    {
        ScopedFileOps failing(ops);
        EXPECT_EQ(server_.WriteToFile(), 0);
    }
    EXPECT_EQ(server_.FindKey("aa:00", "isAccess"), "true");
    EXPECT_EQ(OnDisk()["ClientList"][0]["isAccess"], Json::Value(false));
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(server_.FindKey("aa:00", "isAccess"), "false");
}

TEST_F(ClientListWriters, ATargetThatDoesNotParseIsNotMerged) {
    calyx_test::WriteFile(Path(), "{ broken");
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(OnDisk()["ClientList"].size(), 2u);
    EXPECT_FALSE(calyx_test::FileExists(Path() + ".corrupt"));  // it was not what we loaded
}

TEST_F(ClientListWriters, AnEditThatDeclinesWritesNothing) {
    std::string before = ReadFile(Path());
    EXPECT_EQ(Calyx::ClientListApply(server_, Path(), [](Json::Value&) { return false; }), 0);
    EXPECT_EQ(Calyx::ClientListApply(server_, Path(),
                                     [](Json::Value&) -> bool { throw std::runtime_error("x"); }),
              0);
    EXPECT_EQ(ReadFile(Path()), before);
}

TEST_F(ClientListWriters, SaveGivesUpWhenAnotherWriterKeepsTheLock) {
    int held = open(Dir().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(held, 0);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    ASSERT_EQ(server_.UpdateKeys("HandleDiscovery", "aa:02", "10.0.0.3", {}), 1);
    std::string before = ReadFile(Path());
    LogWatch log;
    EXPECT_EQ(server_.WriteToFile(), 0);
    EXPECT_TRUE(log.Contains("Error - " + Path() + " could not open\n"));
    EXPECT_EQ(ReadFile(Path()), before);
    close(held);
    EXPECT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(calyx_test::ListDirectory(Dir()), std::vector<std::string>{"client_list.json"});
}

TEST_F(ClientListWriters, SaveWaitsForAWriterThatFinishes) {
    int held = open(Dir().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(held, 0);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    std::thread release([held] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        close(held);
    });
    EXPECT_EQ(server_.WriteToFile(), 1);
    release.join();
}

int gInterruptions = 0;
int InterruptedFlock(int fd, int operation) {
    if (gInterruptions > 0) {
        --gInterruptions;
        errno = EINTR;
        return -1;
    }
    return flock(fd, operation);
}
ssize_t InterruptedWrite(int fd, const void* data, size_t size) {
    if (gInterruptions > 0) {
        --gInterruptions;
        errno = EINTR;
        return -1;
    }
    return write(fd, data, size < 100 ? size : 100);  // short writes too
}
int FailingFsync(int) {
    errno = EIO;
    return -1;
}
ssize_t FullDiskWrite(int, const void*, size_t) {
    errno = ENOSPC;
    return -1;
}

TEST_F(ClientListWriters, InterruptedCallsAreRepeated) {
    FileOps ops = Calyx::detail::SystemFileOps();
    ops.flock = InterruptedFlock;
    ops.write = InterruptedWrite;
    gInterruptions = 3;
    {
        ScopedFileOps interrupted(ops);
        EXPECT_EQ(server_.UpdateKeys("HandleDiscovery", "aa:02", "10.0.0.3", {}), 1);
        EXPECT_EQ(server_.WriteToFile(), 1);
        gInterruptions = 3;
        EXPECT_EQ(server_.WriteToFile(), 1);
    }
    EXPECT_EQ(OnDisk()["ClientList"].size(), 3u);
}

TEST_F(ClientListWriters, FailedFsyncOrFullDiskKeepsTheOldFileAndNoTemporary) {
    ASSERT_EQ(server_.UpdateKeys("HandleDiscovery", "aa:02", "10.0.0.3", {}), 1);
    std::string before = ReadFile(Path());
    for (auto patch : {+[](FileOps& o) { o.fsync = FailingFsync; },
                       +[](FileOps& o) { o.write = FullDiskWrite; }}) {
        FileOps ops = Calyx::detail::SystemFileOps();
        patch(ops);
        ScopedFileOps failing(ops);
        LogWatch log;
        EXPECT_EQ(server_.WriteToFile(), 0);
        EXPECT_TRUE(log.Contains("Error - " + Path() + " could not open\n"));
        EXPECT_EQ(ReadFile(Path()), before);
        EXPECT_EQ(calyx_test::ListDirectory(Dir()), std::vector<std::string>{"client_list.json"});
    }
    EXPECT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(OnDisk()["ClientList"].size(), 3u);
}

TEST_F(ClientListWriters, TemporariesOfKilledSavesAreRemoved) {
    for (const char* name : {".client_list.json.a1B2c3", ".client_list.json.zzzzzz",
                             ".client_list.json.corrupt.Q9w8E7"}) {
        calyx_test::WriteFile(Dir() + "/" + name, "{\"half");
    }
    // Not the pattern of this file's temporaries: left alone.
    for (const char* name : {".client_list.json.toolong7", ".client_list.json.short",
                             ".other.json.a1B2c3", "client_list.json.a1B2c3"}) {
        calyx_test::WriteFile(Dir() + "/" + name, "x");
    }
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(calyx_test::ListDirectory(Dir()),
              (std::vector<std::string>{".client_list.json.short", ".client_list.json.toolong7",
                                        ".other.json.a1B2c3", "client_list.json",
                                        "client_list.json.a1B2c3"}));
}

class CorruptClientList : public ClientListWriters {
protected:
    void SetUp() override {
        root_.write(kClientListFixedPath, kCorrupt);
        ASSERT_EQ(server_.LoadClientList(Path()), 0);
        ASSERT_EQ(server_.UpdateKeys("HandleDiscovery", "aa:09", "10.0.0.9", {}), 1);
    }
    static constexpr const char* kCorrupt = "{\"ClientList\": [{\"macAddr\": \"aa:00\",, }";
};

TEST_F(CorruptClientList, IsCopiedAsideBeforeTheNextSave) {
    calyx_test::WriteFile(Path() + ".corrupt", "an older copy");
    LogWatch log;
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(ReadFile(Path() + ".corrupt"), kCorrupt);
    EXPECT_TRUE(log.Contains(Path() + ".corrupt")) << log.Text();
    // The list holds what the reader read up to the break, and the new client.
    Json::Value clients = OnDisk()["ClientList"];
    ASSERT_EQ(clients.size(), 2u);
    EXPECT_EQ(clients[1]["macAddr"], Json::Value("aa:09"));
    // Only once: the next save has nothing to keep.
    ASSERT_EQ(unlink((Path() + ".corrupt").c_str()), 0);
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_FALSE(calyx_test::FileExists(Path() + ".corrupt"));
}

TEST_F(CorruptClientList, AFileChangedSinceIsNotKept) {
    calyx_test::WriteFile(Path(), "{\"ClientList\": []} // repaired");
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_FALSE(calyx_test::FileExists(Path() + ".corrupt"));
}

TEST_F(CorruptClientList, KeptThroughAHardLinkWhichStays) {
    std::string other = root_.resolve("/second-name.json");
    ASSERT_EQ(link(Path().c_str(), other.c_str()), 0);
    ASSERT_EQ(server_.WriteToFile(), 1);
    EXPECT_EQ(ReadFile(Path() + ".corrupt"), kCorrupt);
    EXPECT_EQ(ReadFile(other), ReadFile(Path()));
}

TEST_F(CorruptClientList, ACopyThatFailsFailsTheSave) {
    calyx_test::MakeDirs(Path() + ".corrupt/inside");  // a directory in the way
    ASSERT_EQ(server_.WriteToFile(), 0);
    EXPECT_EQ(ReadFile(Path()), kCorrupt);
}

}  // namespace
