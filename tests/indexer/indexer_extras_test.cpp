// What the index records beside media: folder covers (never photos of their own),
// embedded covers, the large form of photos, subtitle files linked to their video.
#include <gtest/gtest.h>

#include <stdio.h>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class Extras : public IndexerTest {
protected:
    void SetUp() override {
        IndexerTest::SetUp();
        root_ = RealPath(tree_.path());
        MakeDirs(root_ + "/album");
        MakeDirs(root_ + "/films");
        CopyInto({MediaFile("music/tone.flac"), MediaFile("music/with_cover.mp3")},
                 root_ + "/album");
        CopyInto({MediaFile("photo/picture.jpg")}, root_ + "/album");
        ASSERT_EQ(
            rename((root_ + "/album/picture.jpg").c_str(), (root_ + "/album/Cover.JPG").c_str()),
            0);
        CopyInto({MediaFile("photo/picture.png")}, root_ + "/album");
        ASSERT_EQ(
            rename((root_ + "/album/picture.png").c_str(), (root_ + "/album/folder.png").c_str()),
            0);
        CopyInto({MediaFile("video/h264_aac.mkv")}, root_ + "/films");
        WriteText(root_ + "/films/h264_aac.en.srt", "1\n00:00:00,000 --> 00:00:01,000\nHi\n\n");
        WriteText(root_ + "/films/other.srt", "1\n00:00:00,000 --> 00:00:01,000\nHo\n\n");
        options_.coverNames = {"cover.jpg", "folder.png"};
        first_ = Index({root_});
    }

    static void WriteText(const std::string& path, const std::string& text) {
        FILE* f = fopen(path.c_str(), "w");
        ASSERT_NE(f, nullptr);
        fputs(text.c_str(), f);
        fclose(f);
    }

    TempDir tree_;
    std::string root_;
    calyx_indexer::IndexSummary first_;
};

TEST_F(Extras, CoversAndSubtitlesAreNeitherMediaNorFailures) {
    EXPECT_EQ(first_.failed, 0u);
    EXPECT_EQ(first_.added, 3u);  // the two songs and the film
    EXPECT_EQ(Count("photo"), 0);
    Row album = RowOf("directory", root_ + "/album");
    EXPECT_EQ(album["cover_file"], root_ + "/album/Cover.JPG");  // the first name wins, any case
    EXPECT_EQ(album["cover_original"], root_ + "/album/Cover.JPG");
    ExpectColumns(album,
                  {{"cover_mime", "image/jpeg"}, {"cover_width", "400"}, {"cover_height", "300"}});
    EXPECT_GT(FileSize(album["cover_thumbnail"]), 0);
    EXPECT_GT(FileSize(album["cover_small"]), 0);
}

TEST_F(Extras, EmbeddedPictureIsTheSongsOwnCover) {
    Row song = RowOf("music", root_ + "/album/with_cover.mp3");
    ExpectColumns(song,
                  {{"cover_mime", "image/png"}, {"cover_width", "64"}, {"cover_height", "64"}});
    EXPECT_GT(FileSize(song["cover_original"]), 0);
    EXPECT_GT(FileSize(song["cover_thumbnail"]), 0);
    EXPECT_EQ(RowOf("music", root_ + "/album/tone.flac")["cover_original"], "");
}

TEST_F(Extras, SubtitlesAreLinkedToTheVideoOfTheirName) {
    Row linked = RowOf("subtitle", root_ + "/films/h264_aac.en.srt");
    ExpectColumns(
        linked,
        {{"video_path", root_ + "/films/h264_aac.mkv"}, {"language", "en"}, {"format", "srt"}});
    Row alone = RowOf("subtitle", root_ + "/films/other.srt");
    ExpectColumns(alone, {{"video_path", ""}, {"language", ""}});
    // The video arrives later: the next run links the subtitle to it.
    CopyInto({MediaFile("video/h264_aac.mp4")}, root_ + "/films");
    ASSERT_EQ(rename((root_ + "/films/h264_aac.mp4").c_str(), (root_ + "/films/other.mp4").c_str()),
              0);
    calyx_indexer::IndexSummary second = Index({root_});
    EXPECT_EQ(second.added, 1u);
    EXPECT_EQ(RowOf("subtitle", root_ + "/films/other.srt")["video_path"],
              root_ + "/films/other.mp4");
    EXPECT_EQ(RowOf("subtitle", root_ + "/films/other.srt")["id"], alone["id"]);
    ASSERT_EQ(remove((root_ + "/films/other.srt").c_str()), 0);
    Index({root_});
    EXPECT_TRUE(RowOf("subtitle", root_ + "/films/other.srt").empty());
}

TEST_F(Extras, AGoneCoverGivesWayToTheNextAndThenToNone) {
    const std::string thumbnail = RowOf("directory", root_ + "/album")["cover_thumbnail"];
    ASSERT_EQ(remove((root_ + "/album/Cover.JPG").c_str()), 0);
    calyx_indexer::IndexSummary second = Index({root_});
    EXPECT_EQ(second.failed, 0u);
    Row album = RowOf("directory", root_ + "/album");
    EXPECT_EQ(album["cover_file"], root_ + "/album/folder.png");
    ExpectColumns(album, {{"cover_mime", "image/png"}, {"cover_width", "200"}});
    ASSERT_EQ(remove((root_ + "/album/folder.png").c_str()), 0);
    Index({root_});
    album = RowOf("directory", root_ + "/album");
    ExpectColumns(album, {{"cover_file", ""}, {"cover_original", ""}, {"cover_thumbnail", ""}});
    EXPECT_EQ(Count("photo"), 0);
}

TEST_F(Extras, ARunOverALesserCoverKeepsTheBetterOne) {
    // The watch reports folder.png alone: Cover.JPG, still there, stays the cover.
    options_.changedPaths = {root_ + "/album/folder.png"};
    calyx_indexer::IndexSummary second = Index({root_});
    EXPECT_EQ(second.failed, 0u);
    EXPECT_EQ(RowOf("directory", root_ + "/album")["cover_file"], root_ + "/album/Cover.JPG");
    EXPECT_EQ(Count("photo"), 0);
}

TEST_F(Extras, LargePhotosAndOtherTypesGetALargeJpeg) {
    CopyInto({MediaFile("photo/picture.png"), MediaFile("photo/picture.jpg")}, root_ + "/films");
    Index({root_});
    // A PNG gets one; a JPEG of 400x300 is its own large form.
    EXPECT_GT(FileSize(RowOf("photo", root_ + "/films/picture.png")["large"]), 0);
    EXPECT_EQ(RowOf("photo", root_ + "/films/picture.jpg")["large"], "");
}

}  // namespace
}  // namespace calyx_test
