// What a caller may say per folder: the title of its row and the kinds of media taken
// from it; and a run that waits for another one instead of failing.
#include <gtest/gtest.h>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

using Folders = IndexerTest;

TEST_F(Folders, ARootRowTakesItsConfiguredTitleAndKeepsUpWithChanges) {
    TempDir tree;
    CopyInto({MediaFile("music")}, tree.path());
    options_.folderTitles[tree.path()] = "Family music";
    Index({tree.path()});
    const std::string root = RealPath(tree.path());
    EXPECT_EQ(RowOf("directory", root)["title"], "Family music");
    // Below the root, folders keep their own names.
    EXPECT_EQ(RowOf("directory", root + "/music")["title"], "music");

    options_.folderTitles[tree.path()] = "Our music";
    Index({tree.path()});
    EXPECT_EQ(RowOf("directory", root)["title"], "Our music");
    options_.folderTitles.clear();
    Index({tree.path()});
    EXPECT_EQ(RowOf("directory", root)["title"], "Our music") << "no title given: kept";
}

TEST_F(Folders, AFolderForOneKindIndexesThatKindOnly) {
    TempDir tree;
    CopyInto({MediaFile("music"), MediaFile("video"), MediaFile("photo")}, tree.path());
    options_.folderKinds[tree.path()] = {"music"};
    calyx_indexer::IndexSummary summary = Index({tree.path()});
    EXPECT_EQ(summary.failed, 0u);
    EXPECT_EQ(Count("music"), 3);
    EXPECT_EQ(Count("video"), 0);
    EXPECT_EQ(Count("photo"), 0);

    // Taking video too adds the videos; giving music up removes unchanged music rows.
    options_.folderKinds[tree.path()] = {"video"};
    summary = Index({tree.path()});
    EXPECT_EQ(Count("music"), 0);
    EXPECT_EQ(Count("video"), 7);
    EXPECT_EQ(summary.removed, 3u);
    options_.folderKinds.clear();
    Index({tree.path()});
    EXPECT_EQ(Count("music"), 3);
    EXPECT_EQ(Count("photo"), 2);
}

TEST_F(Folders, ARunAskedToWaitSaysSoOnceAndRunsWhenTheOtherHasFinished) {
    // What a concurrent run (the media server's) holds while it works.
    Exec("SELECT pg_advisory_lock(hashtext('calyx index ' || current_schema()))");
    std::vector<std::string> said;
    options_.waitForOtherRun = true;
    options_.onWaiting = [&](const std::string& why) {
        said.push_back(why);
        // The other run finishes while this one waits.
        Exec("SELECT pg_advisory_unlock(hashtext('calyx index ' || current_schema()))");
    };
    calyx_indexer::IndexSummary summary = Index({MediaFile("music")});
    EXPECT_EQ(summary.error, "");
    EXPECT_EQ(summary.added, 3u);
    ASSERT_EQ(said.size(), 1u);
    EXPECT_NE(said[0].find("another index run is writing this media index"), std::string::npos)
        << said[0];
    EXPECT_NE(said[0].find("waiting"), std::string::npos) << said[0];
}

}  // namespace
}  // namespace calyx_test
