// Probing single files: kind by content, not by name.
#include <gtest/gtest.h>

#include "indexer/media_probe.h"
#include "media_tree.h"

namespace calyx_test {
namespace {

using namespace calyx_indexer;

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

}  // namespace
}  // namespace calyx_test
