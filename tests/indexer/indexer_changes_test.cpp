// Runs over changed paths only (what a folder watcher hands over), and media folders that
// go away: hidden, shown again when they return, forgotten when gone too long.
#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class Changes : public IndexerTest {
protected:
    void SetUp() override {
        IndexerTest::SetUp();
        root_ = RealPath(tree_.path()) + "/media";
        MakeDirs(root_ + "/films");
        MakeDirs(root_ + "/songs");
        CopyInto({MediaFile("video/h264_aac.mkv"), MediaFile("video/mpeg4_mp3.avi")},
                 root_ + "/films");
        CopyInto({MediaFile("music/tone.flac")}, root_ + "/songs");
        options_.progress = [this](const calyx_indexer::IndexProgress& p) {
            walked_ = p.filesTotal;
        };
        ASSERT_EQ(Index({root_}).added, 3u);
    }

    calyx_indexer::IndexSummary IndexChanges(const std::vector<std::string>& paths) {
        options_.changedPaths = paths;
        calyx_indexer::IndexSummary summary = Index({root_});
        options_.changedPaths.clear();
        return summary;
    }

    std::string FolderId(const std::string& relative) {
        return RowOf("directory", root_ + relative)["id"];
    }

    TempDir tree_;
    std::string root_;
    size_t walked_ = 0;
};

TEST_F(Changes, ANewFileIsLookedAtAlone) {
    CopyInto({MediaFile("music/with_cover.mp3")}, root_ + "/songs");
    calyx_indexer::IndexSummary run = IndexChanges({root_ + "/songs/with_cover.mp3"});
    EXPECT_EQ(run.added, 1u);
    EXPECT_EQ(run.unchanged, 0u);  // no other file was looked at
    EXPECT_EQ(walked_, 1u);
    EXPECT_EQ(RowOf("music", root_ + "/songs/with_cover.mp3")["parent_id"], FolderId("/songs"));
}

TEST_F(Changes, AFolderMovedInIsWalkedAloneAndEachFileIndexedOnce) {
    TempDir outside;
    const std::string batch = RealPath(outside.path()) + "/batch";
    MakeDirs(batch);
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(system(("cp '" + MediaFile("music/tone.flac") + "' '" + batch + "/" +
                          std::to_string(i) + ".flac'")
                             .c_str()),
                  0);
    ASSERT_EQ(rename(batch.c_str(), (root_ + "/songs/batch").c_str()), 0);
    calyx_indexer::IndexSummary run = IndexChanges({root_ + "/songs/batch"});
    EXPECT_EQ(run.added, 20u);
    EXPECT_EQ(run.foldersAdded, 1u);
    EXPECT_EQ(walked_, 20u);  // the rest of the tree was not walked
    EXPECT_EQ(Count("music"), 21);
    EXPECT_EQ(RowOf("directory", root_ + "/songs/batch")["parent_id"], FolderId("/songs"));
    EXPECT_EQ(RowOf("music", root_ + "/songs/batch/7.flac")["parent_id"], FolderId("/songs/batch"));
}

TEST_F(Changes, PathsThatAreGoneLoseTheirRowsAndNothingElseDoes) {
    ASSERT_EQ(remove((root_ + "/songs/tone.flac").c_str()), 0);
    ASSERT_EQ(system(("rm -rf '" + root_ + "/films'").c_str()), 0);
    calyx_indexer::IndexSummary run = IndexChanges({root_ + "/songs/tone.flac", root_ + "/films"});
    EXPECT_EQ(run.removed, 3u);
    EXPECT_EQ(run.foldersRemoved, 1u);
    EXPECT_EQ(Count("video") + Count("music"), 0);
    EXPECT_FALSE(RowOf("directory", root_ + "/songs").empty());
}

TEST_F(Changes, AFileInNewFoldersBringsThemAll) {
    MakeDirs(root_ + "/a/b/c");
    CopyInto({MediaFile("music/tone.flac")}, root_ + "/a/b/c");
    calyx_indexer::IndexSummary run = IndexChanges({root_ + "/a/b/c/tone.flac"});
    EXPECT_EQ(run.added, 1u);
    EXPECT_EQ(run.foldersAdded, 3u);
    EXPECT_EQ(RowOf("directory", root_ + "/a")["parent_id"], FolderId(""));
    EXPECT_EQ(RowOf("directory", root_ + "/a/b/c")["parent_id"], FolderId("/a/b"));
    EXPECT_EQ(RowOf("music", root_ + "/a/b/c/tone.flac")["parent_id"], FolderId("/a/b/c"));
}

TEST_F(Changes, PathsOutsideTheMediaFoldersAndHiddenNamesAreLeftAlone) {
    TempDir outside;
    CopyInto({MediaFile("music/tone.flac")}, outside.path());
    MakeDirs(root_ + "/.cache");
    CopyInto({MediaFile("music/tone.flac")}, root_ + "/.cache");
    calyx_indexer::IndexSummary run = IndexChanges(
        {RealPath(outside.path()) + "/tone.flac", root_ + "/.cache/tone.flac", root_ + "/.cache"});
    EXPECT_EQ(run.added + run.removed + run.foldersAdded, 0u);
    EXPECT_EQ(Count("music"), 1);
}

class GoneFolders : public Changes {
protected:
    void SetUp() override {
        Changes::SetUp();
        options_.forgetAfterSeconds = 3600;
        Index({root_});  // records the media folder
        away_ = RealPath(tree_.path()) + "/away";
    }
    long long System() {
        return atoll(ExecParams("SELECT system_update_id FROM index_update", {}).c_str());
    }
    int Hidden() {
        return atoi(ExecParams("SELECT (SELECT count(*) FROM video WHERE hidden) + (SELECT "
                               "count(*) FROM music WHERE hidden) + (SELECT count(*) FROM "
                               "directory WHERE hidden)",
                               {})
                        .c_str());
    }
    std::string away_;
};

TEST_F(GoneFolders, AMissingMediaFolderIsHiddenAndComesBackWithItsRows) {
    const std::string film = RowOf("video", root_ + "/films/h264_aac.mkv")["id"];
    const long long before = System();
    ASSERT_EQ(rename(root_.c_str(), away_.c_str()), 0);
    calyx_indexer::IndexSummary gone = Index({root_});
    EXPECT_EQ(gone.hidden, 6u);  // three files, the folder and its two subfolders
    EXPECT_EQ(Hidden(), 6);
    EXPECT_EQ(Count("video"), 2);  // still there, only hidden
    EXPECT_GT(System(), before);
    EXPECT_NE(ExecParams("SELECT missing_since FROM media_folder WHERE path = $1", {root_}), "");

    ASSERT_EQ(rename(away_.c_str(), root_.c_str()), 0);
    calyx_indexer::IndexSummary back = Index({root_});
    EXPECT_EQ(back.shown, 6u);
    EXPECT_EQ(back.unchanged, 3u);  // nothing probed again
    EXPECT_EQ(back.added, 0u);
    EXPECT_EQ(Hidden(), 0);
    EXPECT_EQ(RowOf("video", root_ + "/films/h264_aac.mkv")["id"], film);
    EXPECT_EQ(ExecParams("SELECT missing_since FROM media_folder WHERE path = $1", {root_}), "");
}

TEST_F(GoneFolders, AMediaFolderGoneTooLongIsForgottenWithItsThumbnails) {
    const std::string thumbnail = RowOf("video", root_ + "/films/h264_aac.mkv")["thumbnail"];
    ASSERT_GT(FileSize(thumbnail), 0);
    ASSERT_EQ(rename(root_.c_str(), away_.c_str()), 0);
    EXPECT_EQ(Index({root_}).hidden, 6u);
    // Gone for two hours by now.
    ExecParams("UPDATE media_folder SET missing_since = $2 WHERE path = $1",
               {root_, std::to_string(time(nullptr) - 7200)});
    calyx_indexer::IndexSummary forgotten = Index({root_});
    EXPECT_EQ(forgotten.forgotten, 6u);
    EXPECT_EQ(Count("video") + Count("music") + Count("directory"), 0);
    EXPECT_EQ(FileSize(thumbnail), -1);
    EXPECT_EQ(ExecParams("SELECT count(*) FROM media_folder", {}), "0");
}

TEST_F(GoneFolders, AMountPointFoundOnItsParentsDeviceIsGoneNotEmpty) {
    // As after an unmount: the folder is there but empty, on the device of its parent.
    ExecParams("UPDATE media_folder SET mount_point = true WHERE path = $1", {root_});
    ASSERT_EQ(system(("rm -rf '" + root_ + "'/*").c_str()), 0);
    calyx_indexer::IndexSummary run = Index({root_});
    EXPECT_EQ(run.removed, 0u);
    EXPECT_EQ(run.hidden, 6u);
    EXPECT_EQ(Count("video"), 2);
}

TEST_F(GoneFolders, ASubfolderDeletedInAPresentMediaFolderIsSimplyRemoved) {
    ASSERT_EQ(system(("rm -rf '" + root_ + "/films'").c_str()), 0);
    calyx_indexer::IndexSummary run = Index({root_});
    EXPECT_EQ(run.removed, 2u);
    EXPECT_EQ(run.hidden, 0u);
    EXPECT_EQ(Count("video"), 0);
}

}  // namespace
}  // namespace calyx_test
