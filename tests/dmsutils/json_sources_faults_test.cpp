// JSON files that are devices, directories or FIFOs: devices are opened without waiting
// and read (at most 16 MiB), then the parse failure is logged; a directory fails to parse;
// FIFOs are refused as files that cannot be opened.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/ext.h"
#include "calyx/host.h"
#include "support/test_support.h"

using calyx_test::ReadFile;
using calyx_test::RunningAsRoot;
using calyx_test::ScopedRoot;

namespace {

// Puts a device at `path`: a private node as root (never the real device), a symbolic
// link to the system's device otherwise. `minor` 3 is the null device, 5 the zero device.
void PutDevice(const std::string& path, unsigned minor) {
    calyx_test::MakeDirs(path.substr(0, path.rfind('/')));
    if (RunningAsRoot()) {
        ASSERT_EQ(mknod(path.c_str(), S_IFCHR | 0666, makedev(1, minor)), 0);
    } else {
        ASSERT_EQ(symlink(minor == 3 ? "/dev/null" : "/dev/zero", path.c_str()), 0);
    }
}

class JsonSources : public ::testing::Test {
protected:
    void SetUp() override {
        log_ = root_.resolve("/calyx.log");
        ASSERT_EQ(Calyx::DMSLOGInit(log_.c_str()), 1);
    }
    void TearDown() override {
        Calyx::DMSClientChecker::ReleaseClientList();
        Calyx::DMSLogClose();
    }
    std::string Log() const { return ReadFile(log_); }

    ScopedRoot root_;
    std::string log_;
};

TEST_F(JsonSources, DevicesAreReadAndFailToParse) {
    for (unsigned minor : {3u, 5u}) {
        SCOPED_TRACE(minor);
        std::string device = root_.resolve("/dev-" + std::to_string(minor));
        PutDevice(device, minor);
        Calyx::DMSClientList list;
        EXPECT_EQ(list.LoadClientList(device), 0);
        EXPECT_EQ(list.LoadProfileIDList(device), 0);
        EXPECT_FALSE(Calyx::DMSClientChecker::InitProfileList(device));
        Json::Value root;
        Calyx::JsonFileError error;
        EXPECT_FALSE(Calyx::ReadJsonFile(device, root, &error));
        EXPECT_EQ(error.message.find("cannot"), std::string::npos) << error.message;
        EXPECT_FALSE(error.message.empty());
    }
    std::string log = Log();
    for (const char* method : {"DMSClientList::LoadClientList", "DMSClientList::LoadProfileIDList",
                               "DMSClientChecker::InitProfileList"}) {
        EXPECT_NE(log.find(std::string("Error: ") + method + " - Json::Reader::parse failed\n"),
                  std::string::npos)
            << method;
    }
    EXPECT_EQ(log.find("could not open"), std::string::npos) << log;
}

TEST_F(JsonSources, IndexFolderConfigurationThatIsADeviceOrADirectoryFailsToParse) {
    const std::string conf = root_.resolve("/usr/zevo/etc/index_folder.conf");
    PutDevice(conf, 3);
    EXPECT_TRUE(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_MUSIC).empty());
    ASSERT_EQ(unlink(conf.c_str()), 0);
    ASSERT_EQ(mkdir(conf.c_str(), 0755), 0);
    EXPECT_TRUE(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_MUSIC).empty());
    std::string expected = "Error: Json::Reader::parse " + conf + " failed\n";
    std::string log = Log();
    size_t first = log.find(expected);
    ASSERT_NE(first, std::string::npos) << log;
    EXPECT_NE(log.find(expected, first + 1), std::string::npos) << log;
    EXPECT_EQ(log.find("could not open"), std::string::npos) << log;
}

TEST_F(JsonSources, ReadJsonFileNamesFifosAndDirectoriesWithoutWaiting) {
    const std::string fifo = root_.resolve("/fifo.json");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
    Json::Value root;
    Calyx::JsonFileError error;
    EXPECT_FALSE(Calyx::ReadJsonFile(fifo, root, &error));
    EXPECT_EQ(error.message, "cannot open: it is a FIFO");
    EXPECT_FALSE(Calyx::ReadJsonFile(root_.path(), root, &error));
    EXPECT_EQ(error.message, "cannot read: it is a directory");
    EXPECT_FALSE(Calyx::ReadJsonFile(root_.resolve("/missing.json"), root, &error));
    EXPECT_EQ(error.message, "cannot open: No such file or directory");
}

}  // namespace
