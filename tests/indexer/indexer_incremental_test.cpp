// A second run touches only what changed and removes what is gone.
#include <gtest/gtest.h>

#include <stdio.h>
#include <sys/stat.h>
#include <sys/time.h>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class Incremental : public IndexerTest {
protected:
    void SetUp() override {
        IndexerTest::SetUp();
        root_ = RealPath(tree_.path());
        MakeDirs(root_ + "/films/old");
        MakeDirs(root_ + "/songs");
        CopyInto({MediaFile("video/h264_aac.mkv"), MediaFile("video/mpeg4_mp3.avi")},
                 root_ + "/films");
        CopyInto({MediaFile("video/h264_aac.mp4")}, root_ + "/films/old");
        CopyInto({MediaFile("music/tone.flac"), MediaFile("music/with_cover.mp3")},
                 root_ + "/songs");
        first_ = Index({root_});
    }

    // Moves a file's modification time by `seconds`, size unchanged.
    void Touch(const std::string& path, int seconds) {
        struct stat info {};
        ASSERT_EQ(stat(path.c_str(), &info), 0);
        timeval times[2] = {{info.st_atime, 0}, {info.st_mtime + seconds, 0}};
        ASSERT_EQ(utimes(path.c_str(), times), 0);
    }

    TempDir tree_;
    std::string root_;
    calyx_indexer::IndexSummary first_;
};

TEST_F(Incremental, UnchangedTreeWritesNothing) {
    EXPECT_EQ(first_.added, 5u);
    const std::string before = ExecParams(
        "SELECT string_agg(id || ':' || path || ':' || cdate, ',' ORDER BY id) FROM "
        "(SELECT id, path, cdate FROM video UNION ALL SELECT id, path, cdate FROM music) r",
        {});
    calyx_indexer::IndexSummary second = Index({root_});
    EXPECT_EQ(second.unchanged, 5u);
    EXPECT_EQ(second.added + second.changed + second.removed + second.failed, 0u);
    EXPECT_EQ(second.foldersAdded + second.foldersRemoved, 0u);
    EXPECT_EQ(ExecParams("SELECT string_agg(id || ':' || path || ':' || cdate, ',' ORDER BY id) "
                         "FROM (SELECT id, path, cdate FROM video UNION ALL SELECT id, path, "
                         "cdate FROM music) r",
                         {}),
              before);
}

TEST_F(Incremental, TouchedFileIsProbedAgainInPlace) {
    const std::string film = root_ + "/films/h264_aac.mkv";
    Row before = RowOf("video", film);
    ExecParams("UPDATE video SET title = 'stale' WHERE path = $1", {film});
    Touch(film, -100);
    calyx_indexer::IndexSummary second = Index({root_});
    EXPECT_EQ(second.changed, 1u);
    EXPECT_EQ(second.unchanged, 4u);
    Row after = RowOf("video", film);
    EXPECT_EQ(after["id"], before["id"]);  // rewritten, not replaced
    EXPECT_EQ(after["title"], "h264_aac");
    EXPECT_EQ(atoll(after["mdate"].c_str()), atoll(before["mdate"].c_str()) - 100);
}

TEST_F(Incremental, ReplacedFileGetsItsNewContentAndKind) {
    // Same name, other content: a song where a film was, then a film where a song was.
    const std::string film = root_ + "/films/mpeg4_mp3.avi";
    const std::string song = root_ + "/songs/tone.flac";
    const std::string filmThumbnail = RowOf("video", film)["thumbnail"];
    ASSERT_GT(FileSize(filmThumbnail), 0);
    ASSERT_EQ(rename((root_ + "/songs/with_cover.mp3").c_str(), film.c_str()), 0);
    CopyInto({MediaFile("video/nested/hevc_aac.mkv")}, root_);
    ASSERT_EQ(rename((root_ + "/hevc_aac.mkv").c_str(), song.c_str()), 0);
    calyx_indexer::IndexSummary second = Index({root_});
    EXPECT_EQ(second.changed, 2u);
    EXPECT_EQ(second.added, 0u);
    EXPECT_EQ(second.removed, 1u);  // with_cover.mp3 is gone from songs/
    EXPECT_TRUE(RowOf("video", film).empty());
    EXPECT_EQ(RowOf("music", film)["audio_codec"], "mp3");
    EXPECT_EQ(FileSize(filmThumbnail), -1);  // music has no thumbnail; the old one went
    EXPECT_TRUE(RowOf("music", song).empty());
    EXPECT_EQ(RowOf("video", song)["video_codec"], "hevc");
    EXPECT_EQ(RowOf("video", song)["filesize"], std::to_string(FileSize(song)));
}

TEST_F(Incremental, DeletedFilesAndRenamedFoldersLoseTheirRows) {
    ASSERT_EQ(remove((root_ + "/songs/tone.flac").c_str()), 0);
    ASSERT_EQ(rename((root_ + "/films/old").c_str(), (root_ + "/films/archive").c_str()), 0);
    const std::string oldThumbnail = RowOf("video", root_ + "/films/old/h264_aac.mp4")["thumbnail"];
    ASSERT_NE(FileSize(oldThumbnail), -1);

    calyx_indexer::IndexSummary second = Index({root_});
    EXPECT_EQ(second.removed, 2u);  // the deleted song, the film under the old folder name
    EXPECT_EQ(second.added, 1u);    // that film under the new one
    EXPECT_EQ(second.foldersRemoved, 1u);
    EXPECT_EQ(second.foldersAdded, 1u);
    EXPECT_TRUE(RowOf("music", root_ + "/songs/tone.flac").empty());
    EXPECT_TRUE(RowOf("directory", root_ + "/films/old").empty());
    EXPECT_TRUE(RowOf("video", root_ + "/films/old/h264_aac.mp4").empty());
    EXPECT_EQ(FileSize(oldThumbnail), -1);  // its thumbnail went with it
    Row archive = RowOf("directory", root_ + "/films/archive");
    ASSERT_FALSE(archive.empty());
    EXPECT_EQ(archive["parent_id"], RowOf("directory", root_ + "/films")["id"]);
    EXPECT_EQ(RowOf("video", root_ + "/films/archive/h264_aac.mp4")["parent_id"], archive["id"]);
}

TEST_F(Incremental, FileThatTurnedBadLosesItsRow) {
    const std::string film = root_ + "/films/h264_aac.mkv";
    WriteFile(film, "no longer a film\n");
    calyx_indexer::IndexSummary second = Index({root_});
    EXPECT_EQ(second.failed, 1u);
    EXPECT_EQ(second.removed, 1u);
    EXPECT_TRUE(RowOf("video", film).empty());
}

TEST_F(Incremental, RowsOutsideTheIndexedFoldersStay) {
    TempDir other;
    CopyInto({MediaFile("music/tone.m4a")}, other.path());
    Index({RealPath(other.path())});
    // Indexing only the first tree again leaves the other tree's rows alone.
    calyx_indexer::IndexSummary again = Index({root_});
    EXPECT_EQ(again.removed, 0u);
    EXPECT_FALSE(RowOf("music", RealPath(other.path()) + "/tone.m4a").empty());
}

}  // namespace
}  // namespace calyx_test
