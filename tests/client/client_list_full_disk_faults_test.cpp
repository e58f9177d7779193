// A full disk while the client list is saved and the log is written at the same time:
// the save fails cleanly, the previous file stays whole, logging recovers.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "calyx/client_list.h"
#include "calyx/core.h"
#include "support/fault_support.h"
#include "support/test_support.h"

using calyx_test::ReadFile;

namespace {

using calyx_test::kClientListFixedPath;

TEST(ClientListFullDisk, SaveFailsAndThePreviousFileStays) {
    calyx_test::ScopedRoot root;
    std::string log = root.resolve("/dms.log");
    ASSERT_EQ(Calyx::DMSLOGInit(log.c_str()), 1);
    std::string previous = "{\"ClientList\": [{\"macAddr\": \"aa:bb:cc:dd:ee:ff\"}]}\n";
    root.write(kClientListFixedPath, previous);

    Calyx::DMSClientList list;
    ASSERT_EQ(list.LoadClientList(root.resolve(kClientListFixedPath)), 1);
    std::map<std::string, std::string> headers{{"User-Agent", std::string(256 * 1024, 'u')}};
    ASSERT_EQ(list.UpdateKeys("HandleActionRequest", "aa:bb:cc:dd:ee:ff", "10.0.0.9", headers), 1);
    {
        calyx_fault::ScopedFileSizeLimit full(64 * 1024);
        ASSERT_TRUE(full.ok());
        EXPECT_EQ(list.WriteToFile(), 0);
        for (int i = 0; i < 200; ++i) {
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "while full %d %s\n", i,
                             std::string(500, 'z').c_str());
        }
    }
    EXPECT_EQ(ReadFile(root.resolve(kClientListFixedPath)), previous);
    EXPECT_NE(ReadFile(log).find("could not open"), std::string::npos);

    // With room again, the same object saves everything and the log goes on.
    EXPECT_EQ(list.WriteToFile(), 1);
    Calyx::DMSClientList reloaded;
    ASSERT_EQ(reloaded.LoadClientList(root.resolve(kClientListFixedPath)), 1);
    EXPECT_EQ(reloaded.FindMacByIP("10.0.0.9"), "aa:bb:cc:dd:ee:ff");
    Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "room again\n");
    EXPECT_NE(ReadFile(log).find(" room again\n"), std::string::npos);
    Calyx::DMSLogClose();
    // No temporary file (".client_list.json." and six characters) is left beside the list.
    EXPECT_EQ(calyx_test::ListDirectory(root.resolve("/var/packages/Calyx/etc")),
              std::vector<std::string>{"client_list.json"});
}

}  // namespace
