// Probing single files: kind by content, not by name.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "indexer/media_probe.h"
#include "media_tree.h"

namespace calyx_test {
namespace {

using namespace calyx_indexer;

std::string ReadWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(MediaProbe, KindFollowsTheContentNotTheName) {
    TempDir dir;
    // A song named like a film, and a film named like a song.
    CopyInto({MediaFile("music/tone.flac")}, dir.file("song.mkv"));
    CopyInto({MediaFile("video/h264_aac.mp4")}, dir.file("film.mp3"));
    EXPECT_EQ(ProbeMediaFile(dir.file("song.mkv"), "").kind, MediaKind::kMusic);
    EXPECT_EQ(ProbeMediaFile(dir.file("film.mp3"), "").kind, MediaKind::kVideo);
    EXPECT_EQ(ProbeMediaFile(MediaFile("music/with_cover.mp3"), "").kind, MediaKind::kMusic);
    EXPECT_EQ(ProbeMediaFile(MediaFile("photo/picture.jpg"), "").kind, MediaKind::kPhoto);
}

TEST(MediaProbe, FilesThatAreNotMediaFailWithAReason) {
    for (const char* file : {"bad/empty.mp4", "bad/text.mkv", "bad/cut_before_index.mp4"}) {
        const ProbedMedia media = ProbeMediaFile(MediaFile(file), "");
        EXPECT_EQ(media.kind, MediaKind::kNone) << file;
        EXPECT_EQ(media.failure.rfind("libavformat cannot open it: ", 0), 0u) << media.failure;
    }
    EXPECT_NE(ProbeMediaFile(MediaFile("no/such/file.mkv"), "").failure, "");
}

TEST(MediaProbe, ThumbnailOnlyWhenAsked) {
    TempDir dir;
    ProbedMedia media = ProbeMediaFile(MediaFile("video/h264_aac.mkv"), "");
    EXPECT_EQ(media.thumbnail, "");
    media = ProbeMediaFile(MediaFile("video/h264_aac.mkv"), dir.file("t.jpg"));
    EXPECT_EQ(media.thumbnail, dir.file("t.jpg"));
    EXPECT_GT(FileSize(dir.file("t.jpg")), 0);
    // No thumbnail for music, and none where it cannot be written.
    EXPECT_EQ(ProbeMediaFile(MediaFile("music/with_cover.mp3"), dir.file("m.jpg")).thumbnail, "");
    EXPECT_EQ(FileSize(dir.file("m.jpg")), -1);
    media = ProbeMediaFile(MediaFile("photo/picture.png"), dir.file("no/such/dir/p.jpg"));
    EXPECT_EQ(media.failure, "");
    EXPECT_EQ(media.thumbnail, "");
}

TEST(MediaProbe, ThumbnailAloneOfAPhotoOrVideo) {
    TempDir dir;
    // The first picture of a video and the picture of a photo, scaled to 160 pixels.
    for (const char* file : {"video/h264_aac.mkv", "photo/picture.png"}) {
        const std::string out = dir.file("alone.jpg");
        ASSERT_EQ(WriteThumbnailOf(MediaFile(file), out), "") << file;
        const ProbedMedia thumbnail = ProbeMediaFile(out, "");
        EXPECT_EQ(thumbnail.kind, MediaKind::kPhoto) << file;
        EXPECT_EQ(thumbnail.mimeType, "image/jpeg") << file;
        EXPECT_EQ(std::max(thumbnail.width, thumbnail.height), 160) << file;
        // The very thumbnail that indexing makes.
        ASSERT_EQ(ProbeMediaFile(MediaFile(file), dir.file("indexed.jpg")).thumbnail,
                  dir.file("indexed.jpg"));
        EXPECT_EQ(ReadWhole(out), ReadWhole(dir.file("indexed.jpg"))) << file;
        unlink(out.c_str());
    }
    // A song (its cover is no picture of the song's own), a file that is no media, a
    // folder that does not exist: a reason, and no file.
    EXPECT_EQ(WriteThumbnailOf(MediaFile("music/tone.flac"), dir.file("m.jpg")),
              "no video stream and no picture");
    EXPECT_EQ(WriteThumbnailOf(MediaFile("music/with_cover.mp3"), dir.file("m.jpg")),
              "no video stream and no picture");
    EXPECT_EQ(FileSize(dir.file("m.jpg")), -1);
    EXPECT_NE(WriteThumbnailOf(MediaFile("bad/text.mkv"), dir.file("b.jpg")), "");
    EXPECT_EQ(FileSize(dir.file("b.jpg")), -1);
    EXPECT_NE(WriteThumbnailOf(MediaFile("photo/picture.png"), dir.file("no/such/p.jpg")), "");
}

}  // namespace
}  // namespace calyx_test
