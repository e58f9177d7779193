// Reloading a client list over one already in memory: the file is read as if parsed
// straight into the document, so a file the reader rejects at once leaves the list.
#include <gtest/gtest.h>

#include "calyx/client_list.h"
#include "calyx/ext.h"
#include "client_list_test_util.h"

using calyx_test::kClientListFixedPath;
using calyx_test::ParseJson;
using calyx_test::ReadFile;

namespace {

const char* kTwoClients = R"({"ClientList": [
  {"macAddr": "aa:00", "ipAddr": "10.0.0.1"},
  {"macAddr": "aa:01", "ipAddr": "10.0.0.2"}]})";

class ClientListReload : public ::testing::Test {
protected:
    void SetUp() override {
        root_.write(kClientListFixedPath, kTwoClients);
        ASSERT_EQ(list_.LoadClientList(Path()), 1);
    }
    std::string Path() const { return root_.resolve(kClientListFixedPath); }
    // Reloads the list from a file holding `text`; the load's result.
    int ReloadFrom(const std::string& text) {
        root_.write("/reload.json", text);
        return list_.LoadClientList(root_.resolve("/reload.json"));
    }
    bool Has(const std::string& mac) {
        unsigned int index = 0;
        return list_.VerifyMacIsExist(mac, index);
    }

    calyx_test::ScopedRoot root_;
    Calyx::DMSClientList list_;
};

TEST_F(ClientListReload, EmptyFileLeavesTheListAndTheSaveKeepsIt) {
    EXPECT_EQ(ReloadFrom(""), 0);
    EXPECT_TRUE(Has("aa:00"));
    EXPECT_TRUE(Has("aa:01"));
    ASSERT_EQ(list_.WriteToFile(), 1);
    EXPECT_EQ(ParseJson(ReadFile(Path()))["ClientList"].size(), 2u);
}

TEST_F(ClientListReload, GarbageLeavesTheList) {
    EXPECT_EQ(ReloadFrom("garbage"), 0);
    EXPECT_EQ(list_.FindMacByIP("10.0.0.2"), "aa:01");
    EXPECT_EQ(ReloadFrom("]"), 0);
    EXPECT_EQ(list_.FindMacByIP("10.0.0.2"), "aa:01");
}

TEST_F(ClientListReload, CommentOnlyFileLeavesTheListWithTheComment) {
    EXPECT_EQ(ReloadFrom("// only a comment\n"), 0);
    EXPECT_TRUE(Has("aa:01"));
    Json::Value document = Calyx::ClientListDocument(list_);
    EXPECT_EQ(document.getComment(Json::commentBefore), "// only a comment");
    ASSERT_EQ(list_.WriteToFile(), 1);
    std::string saved = ReadFile(Path());
    EXPECT_EQ(saved.rfind("// only a comment\n", 0), 0u) << saved;
    EXPECT_EQ(ParseJson(saved)["ClientList"].size(), 2u);
}

TEST_F(ClientListReload, FileBreakingOffInsideAnObjectKeepsWhatWasRead) {
    EXPECT_EQ(ReloadFrom(R"({"ClientList": [{"macAddr": "bb:00", "ipAddr": "10.0.0.9"}, {"mac)"),
              0);
    EXPECT_FALSE(Has("aa:00"));
    EXPECT_TRUE(Has("bb:00"));
    EXPECT_EQ(list_.FindMacByIP("10.0.0.9"), "bb:00");
}

TEST_F(ClientListReload, FileBreakingOffAfterItsOpeningBracketReplacesTheList) {
    EXPECT_EQ(ReloadFrom("{"), 0);
    EXPECT_EQ(Calyx::ClientListDocument(list_), Json::Value(Json::objectValue));
    EXPECT_FALSE(Has("aa:00"));
    EXPECT_EQ(ReloadFrom("["), 0);
    EXPECT_TRUE(Calyx::ClientListDocument(list_).isArray());
    EXPECT_FALSE(Has("aa:00"));
}

TEST_F(ClientListReload, NestingTooDeepForTheReaderLeavesTheList) {
    EXPECT_EQ(ReloadFrom(std::string(100000, '[')), 0);
    EXPECT_TRUE(Has("aa:01"));
}

}  // namespace
