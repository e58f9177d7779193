// Each row of the index against what its file was made with (make_media.sh).
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "indexer/media_probe.h"
#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class IndexedMedia : public IndexerTest {
protected:
    void SetUp() override {
        IndexerTest::SetUp();
        summary_ = Index({MediaDir()});
    }
    calyx_indexer::IndexSummary summary_;
};

struct MadeVideo {
    const char* file;
    const char* container;
    const char* videoCodec;
    const char* audioCodec;
    int channels;
    int sampleRate;
    const char* mime;
};

TEST_F(IndexedMedia, VideoRowsMatchHowTheFilesWereMade) {
    const MadeVideo made[] = {
        {"video/h264_aac.mkv", "matroska", "h264", "aac", 2, 48000, "video/x-matroska"},
        {"video/h264_aac.mp4", "mp4", "h264", "aac", 2, 48000, "video/mp4"},
        {"video/nested/hevc_aac.mkv", "matroska", "hevc", "aac", 1, 48000, "video/x-matroska"},
        {"video/nested/mpeg2_mp2.ts", "mpegts", "mpeg2video", "mp2", 2, 48000, "video/mp2t"},
        {"video/nested/deeper/mpeg2_mp2.vob", "mpeg", "mpeg2video", "mp2", 2, 48000, "video/mpeg"},
        {"video/mpeg4_mp3.avi", "avi", "mpeg4", "mp3", 2, 44100, "video/x-msvideo"},
        {"video/wmv2_wma.wmv", "asf", "wmv2", "wmav2", 2, 44100, "video/x-ms-asf"},
    };
    for (const MadeVideo& m : made) {
        SCOPED_TRACE(m.file);
        Row row = RowOf("video", MediaFile(m.file));
        ASSERT_FALSE(row.empty());
        struct stat info {};
        ASSERT_EQ(stat(MediaFile(m.file).c_str(), &info), 0);
        ExpectColumns(row, {{"container_type", m.container},
                            {"video_codec", m.videoCodec},
                            {"audio_codec", m.audioCodec},
                            {"resolutionx", "320"},
                            {"resolutiony", "240"},
                            {"frame_rate_num", "25"},
                            {"frame_rate_den", "1"},
                            {"channel", std::to_string(m.channels)},
                            {"samplerate", std::to_string(m.sampleRate)},
                            {"duration", "2"},
                            {"filesize", std::to_string(info.st_size)},
                            {"mdate", std::to_string(info.st_mtime)},
                            {"mime_type", m.mime},
                            {"rotation", "0"}});
        EXPECT_GT(atoll(row["frame_bitrate"].c_str()), 0);
    }
    // Streams that state their bit rate have it recorded (AVI and MP4 do; Matroska does not).
    EXPECT_GT(atoll(RowOf("video", MediaFile("video/mpeg4_mp3.avi"))["video_bitrate"].c_str()), 0);
    EXPECT_EQ(RowOf("video", MediaFile("video/wmv2_wma.wmv"))["audio_bitrate"], "128000");
    EXPECT_EQ(RowOf("video", MediaFile("video/h264_aac.mkv"))["video_bitrate"], "0");
}

TEST_F(IndexedMedia, MusicRowsWithTagsAndCoverArt) {
    // An attached picture does not make the MP3 a video.
    EXPECT_TRUE(RowOf("video", MediaFile("music/with_cover.mp3")).empty());
    Row mp3 = RowOf("music", MediaFile("music/with_cover.mp3"));
    ASSERT_FALSE(mp3.empty());
    ExpectColumns(mp3, {{"container_type", "mp3"},
                        {"audio_codec", "mp3"},
                        {"video_codec", ""},
                        {"title", "Tone With Cover"},
                        {"artist", "Test Artist"},
                        {"album", "Test Album"},
                        {"genre", "Test"},
                        {"track", "3"},
                        {"year", "2019"},
                        {"channel", "2"},
                        {"samplerate", "44100"},
                        {"duration", "2"},
                        {"mime_type", "audio/mpeg"}});

    Row flac = RowOf("music", MediaFile("music/tone.flac"));
    ExpectColumns(flac, {{"container_type", "flac"},
                         {"audio_codec", "flac"},
                         {"title", "Flac Tone"},
                         {"mime_type", "audio/flac"},
                         {"duration", "2"}});

    Row m4a = RowOf("music", MediaFile("music/tone.m4a"));
    ExpectColumns(m4a, {{"container_type", "mp4"},
                        {"audio_codec", "aac"},
                        {"channel", "1"},
                        {"samplerate", "48000"},
                        {"title", "tone"},  // no title tag: the file name
                        {"mime_type", "audio/mp4"}});
    EXPECT_EQ(m4a["filesize"], std::to_string(FileSize(MediaFile("music/tone.m4a"))));
}

// Width and height of a thumbnail, probed like any picture.
std::pair<int, int> ThumbnailSize(const std::string& path) {
    calyx_indexer::ProbedMedia thumb = calyx_indexer::ProbeMediaFile(path, "");
    EXPECT_EQ(thumb.failure, "") << path;
    EXPECT_EQ(thumb.mimeType, "image/jpeg") << path;
    return {thumb.width, thumb.height};
}

TEST_F(IndexedMedia, PhotosWithExifDateAndThumbnails) {
    Row jpeg = RowOf("photo", MediaFile("photo/picture.jpg"));
    ASSERT_FALSE(jpeg.empty());
    ExpectColumns(jpeg, {{"resolutionx", "400"},
                         {"resolutiony", "300"},
                         {"date", "2021-03-04 05:06:07"},  // written by exiv2
                         {"year", "2021"},
                         {"rotation", "90"},  // EXIF orientation 6
                         {"mime_type", "image/jpeg"}});
    EXPECT_EQ(ThumbnailSize(jpeg["thumbnail"]), std::make_pair(160, 120));

    Row png = RowOf("photo", MediaFile("photo/picture.png"));
    ASSERT_FALSE(png.empty());
    ExpectColumns(
        png,
        {{"resolutionx", "200"}, {"resolutiony", "100"}, {"date", ""}, {"mime_type", "image/png"}});
    EXPECT_EQ(ThumbnailSize(png["thumbnail"]), std::make_pair(160, 80));
}

TEST_F(IndexedMedia, EveryVideoHasAThumbnailInTheCache) {
    for (const std::string& path : Paths("video")) {
        SCOPED_TRACE(path);
        const std::string thumbnail = RowOf("video", path)["thumbnail"];
        EXPECT_EQ(thumbnail.rfind(thumbs_.path() + "/", 0), 0u) << thumbnail;
        EXPECT_EQ(ThumbnailSize(thumbnail), std::make_pair(160, 120));
    }
    EXPECT_EQ(RowOf("music", MediaFile("music/tone.flac"))["thumbnail"], "");
}

TEST_F(IndexedMedia, FoldersPlaylistsAndParentLinks) {
    const std::vector<std::string> folders = {
        "",       "/bad",   "/music",        "/names",
        "/photo", "/video", "/video/nested", "/video/nested/deeper"};
    std::vector<std::string> expected;
    for (const std::string& folder : folders)
        expected.push_back(MediaDir() + folder);
    EXPECT_EQ(Paths("directory"), expected);
    EXPECT_EQ(summary_.foldersAdded, folders.size());

    Row root = RowOf("directory", MediaDir());
    EXPECT_EQ(root["parent_id"], "0");
    Row video = RowOf("directory", MediaFile("video"));
    Row nested = RowOf("directory", MediaFile("video/nested"));
    Row deeper = RowOf("directory", MediaFile("video/nested/deeper"));
    EXPECT_EQ(video["parent_id"], root["id"]);
    EXPECT_EQ(video["title"], "video");
    EXPECT_EQ(nested["parent_id"], video["id"]);
    EXPECT_EQ(deeper["parent_id"], nested["id"]);
    EXPECT_EQ(RowOf("video", MediaFile("video/nested/deeper/mpeg2_mp2.vob"))["parent_id"],
              deeper["id"]);
    EXPECT_EQ(RowOf("video", MediaFile("video/h264_aac.mkv"))["parent_id"], video["id"]);

    Row playlist = RowOf("playlist", MediaFile("list.m3u"));
    ASSERT_FALSE(playlist.empty());
    EXPECT_EQ(playlist["parent_id"], root["id"]);
    EXPECT_EQ(playlist["mime_type"], "audio/x-mpegurl");
    EXPECT_EQ(playlist["title"], "list");
}

TEST_F(IndexedMedia, NamesThatAreNotUtf8AreEscapedAndDecodeBack) {
    const std::string latin1 = MediaFile("names/caf\xE9.flac");
    const std::string indexed = MediaFile("names/caf%E9.flac");
    EXPECT_EQ(calyx_indexer::EncodeIndexedPath(latin1), indexed);
    Row row = RowOf("music", indexed);
    ASSERT_FALSE(row.empty());
    EXPECT_EQ(row["title"], "Flac Tone");
    EXPECT_EQ(calyx_indexer::DecodeIndexedPath(row["path"]), latin1);
    EXPECT_EQ(FileSize(calyx_indexer::DecodeIndexedPath(row["path"])),
              atoll(row["filesize"].c_str()));

    Row percent = RowOf("music", MediaFile("names/100%25.flac"));
    ASSERT_FALSE(percent.empty());
    EXPECT_EQ(calyx_indexer::DecodeIndexedPath(percent["path"]), MediaFile("names/100%.flac"));
}

TEST_F(IndexedMedia, BadFilesAreCountedWithReasonsAndGetNoRow) {
    const std::vector<std::string> bad = {"bad/empty.mp4", "bad/text.mkv",
                                          "bad/cut_before_index.mp4"};
    EXPECT_EQ(summary_.failed, bad.size());
    for (const std::string& file : bad) {
        SCOPED_TRACE(file);
        bool reported = false;
        for (const calyx_indexer::FailedFile& failure : summary_.failures) {
            if (failure.path == MediaFile(file)) {
                reported = true;
                EXPECT_NE(failure.reason.find("libavformat"), std::string::npos) << failure.reason;
            }
        }
        EXPECT_TRUE(reported);
        for (const char* table : {"video", "music", "photo", "playlist"})
            EXPECT_TRUE(RowOf(table, MediaFile(file)).empty()) << table;
    }
    // Half a Matroska file still probes: it is indexed with what libavformat reports.
    Row half = RowOf("video", MediaFile("bad/half.mkv"));
    ASSERT_FALSE(half.empty());
    EXPECT_EQ(half["video_codec"], "h264");
    EXPECT_EQ(half["filesize"], std::to_string(FileSize(MediaFile("bad/half.mkv"))));
}

TEST_F(IndexedMedia, SummaryCountsEveryFile) {
    EXPECT_EQ(summary_.added, 8u + 5u + 2u + 1u);  // videos (half.mkv too), music, photos, playlist
    EXPECT_EQ(summary_.changed, 0u);
    EXPECT_EQ(summary_.removed, 0u);
    EXPECT_EQ(summary_.unchanged, 0u);
    EXPECT_EQ(Count("video"), 8);
    EXPECT_EQ(Count("music"), 5);
    EXPECT_EQ(Count("photo"), 2);
    EXPECT_EQ(Count("playlist"), 1);
}

}  // namespace
}  // namespace calyx_test
