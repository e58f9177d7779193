// Playlist files read into their entries: relative, absolute, missing, URL and non-UTF-8
// entries, m3u, m3u8 and pls, re-read when they change, gone with their file.
#include <gtest/gtest.h>

#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class Playlists : public IndexerTest {
protected:
    void SetUp() override {
        IndexerTest::SetUp();
        root_ = RealPath(tree_.path());
        MakeDirs(root_ + "/songs");
        MakeDirs(root_ + "/lists");
        CopyInto({MediaFile("music/tone.flac"), MediaFile("music/with_cover.mp3")},
                 root_ + "/songs");
        // A file name in Latin-1 bytes, and one in UTF-8 that a Latin-1 playlist names.
        Copy(root_ + "/songs/tone.flac", root_ + "/songs/caf\xe9.flac");
        Copy(root_ + "/songs/tone.flac", root_ + "/songs/D\xc3\xa9j\xc3\xa0.flac");
    }

    static void Copy(const std::string& from, const std::string& to) {
        FILE* in = fopen(from.c_str(), "rb");
        FILE* out = fopen(to.c_str(), "wb");
        ASSERT_NE(in, nullptr);
        ASSERT_NE(out, nullptr);
        char buffer[8192];
        size_t got = 0;
        while ((got = fread(buffer, 1, sizeof buffer, in)) > 0)
            fwrite(buffer, 1, got, out);
        fclose(in);
        fclose(out);
    }

    static void Write(const std::string& path, const std::string& text) {
        FILE* f = fopen(path.c_str(), "wb");
        ASSERT_NE(f, nullptr);
        fwrite(text.data(), 1, text.size(), f);
        fclose(f);
    }

    // "<position> <kind> <target> | <title>" per entry of the playlist at `path`.
    std::vector<std::string> Entries(const std::string& path) {
        const std::string text = ExecParams(
            "SELECT string_agg(e.position || ' ' || e.kind || ' ' || e.target || ' | ' || "
            "e.title, E'\\n' ORDER BY e.position) FROM playlist_entry e JOIN playlist p ON "
            "p.id = e.playlist_id WHERE p.path = $1",
            {path});
        std::vector<std::string> lines;
        size_t start = 0;
        while (!text.empty() && start <= text.size()) {
            size_t end = text.find('\n', start);
            if (end == std::string::npos)
                end = text.size();
            lines.push_back(text.substr(start, end - start));
            start = end + 1;
        }
        return lines;
    }

    TempDir tree_;
    std::string root_;
};

TEST_F(Playlists, M3uEntriesResolveAndAreCounted) {
    const std::string songs = root_ + "/songs";
    Write(root_ + "/lists/Road Trip.m3u",
          "#EXTM3U\r\n"
          "#EXTINF:3,Tone - relative\r\n"
          "../songs/tone.flac\r\n"
          "\r\n"
          "# a comment\r\n" +
              songs +
              "/with_cover.mp3\r\n"
              "../songs/gone.mp3\r\n"
              "http://127.0.0.1:9/stream\r\n"
              "../songs/caf\xe9.flac\r\n"
              "../songs/D\xe9j\xe0.flac\r\n"
              "..\\songs\\tone.flac\r\n"
              "file://" +
              songs + "/with%5Fcover.mp3\n");
    calyx_indexer::IndexSummary summary = Index({root_});
    EXPECT_EQ(summary.failed, 0u);
    EXPECT_EQ(summary.playlistEntries.entries, 8u);
    EXPECT_EQ(summary.playlistEntries.missing, 1u);
    EXPECT_EQ(summary.playlistEntries.urls, 1u);
    EXPECT_EQ(summary.playlistEntries.notUtf8, 2u);
    const std::string list = root_ + "/lists/Road Trip.m3u";
    EXPECT_EQ(RowOf("playlist", list)["title"], "Road Trip");
    EXPECT_EQ(RowOf("playlist", list)["mime_type"], "audio/x-mpegurl");
    EXPECT_EQ(Entries(list), (std::vector<std::string>{
                                 "1 file " + songs + "/tone.flac | Tone - relative",
                                 "2 file " + songs + "/with_cover.mp3 | ",
                                 "3 missing " + songs + "/gone.mp3 | ",
                                 "4 url http://127.0.0.1:9/stream | ",
                                 "5 file " + songs + "/caf%E9.flac | ",
                                 "6 file " + songs + "/D\xc3\xa9j\xc3\xa0.flac | ",
                                 "7 file " + songs + "/tone.flac | ",
                                 "8 file " + songs + "/with_cover.mp3 | ",
                             }));
    // Each file entry resolves to the indexed item of its path.
    EXPECT_EQ(
        ExecParams("SELECT count(*) FROM playlist_entry e JOIN music m ON m.path = e.target", {}),
        "6");
}

TEST_F(Playlists, M3u8IsUtf8AndPlsIsInNumberOrder) {
    const std::string songs = root_ + "/songs";
    // In an m3u8 file a stray byte is no Latin-1: the entry names the file of its bytes.
    Write(root_ + "/lists/eight.m3u8", "../songs/D\xe9j\xe0.flac\n../songs/caf\xe9.flac\n");
    Write(root_ + "/lists/Radio.pls",
          "[playlist]\nNumberOfEntries=3\nFile2=../songs/tone.flac\nTitle2=Second\n"
          "File1=" +
              songs +
              "/with_cover.mp3\nTitle1=First\nfile3=https://127.0.0.1:9/x.mp3\n"
              "Version=2\n");
    calyx_indexer::IndexSummary summary = Index({root_});
    EXPECT_EQ(summary.failed, 0u);
    EXPECT_EQ(summary.playlistEntries.entries, 5u);
    EXPECT_EQ(summary.playlistEntries.notUtf8, 2u);
    EXPECT_EQ(Entries(root_ + "/lists/eight.m3u8"),
              (std::vector<std::string>{"1 missing " + songs + "/D%E9j%E0.flac | ",
                                        "2 file " + songs + "/caf%E9.flac | "}));
    EXPECT_EQ(Entries(root_ + "/lists/Radio.pls"),
              (std::vector<std::string>{"1 file " + songs + "/with_cover.mp3 | First",
                                        "2 file " + songs + "/tone.flac | Second",
                                        "3 url https://127.0.0.1:9/x.mp3 | "}));
    EXPECT_EQ(RowOf("playlist", root_ + "/lists/Radio.pls")["title"], "Radio");
}

TEST_F(Playlists, ChangedPlaylistIsReadAgainAndRemovedWithItsFile) {
    const std::string list = root_ + "/lists/mix.m3u";
    Write(list, "../songs/tone.flac\n../songs/with_cover.mp3\n");
    Index({root_});
    EXPECT_EQ(Entries(list).size(), 2u);
    Write(list, "../songs/with_cover.mp3\n");  // another size: changed
    calyx_indexer::IndexSummary again = Index({root_});
    EXPECT_EQ(again.changed, 1u);
    EXPECT_EQ(Entries(list),
              (std::vector<std::string>{"1 file " + root_ + "/songs/with_cover.mp3 | "}));
    ASSERT_EQ(unlink(list.c_str()), 0);
    Index({root_});
    EXPECT_EQ(Count("playlist"), 0);
    EXPECT_EQ(ExecParams("SELECT count(*) FROM playlist_entry", {}), "0");
}

TEST_F(Playlists, UnreadablePlaylistIsAFailedFile) {
    if (geteuid() == 0)
        GTEST_SKIP() << "root reads every file";
    const std::string list = root_ + "/lists/secret.m3u";
    Write(list, "../songs/tone.flac\n");
    ASSERT_EQ(chmod(list.c_str(), 0), 0);
    calyx_indexer::IndexSummary summary = Index({root_});
    EXPECT_EQ(summary.failed, 1u);
    EXPECT_EQ(Count("playlist"), 0);
}

}  // namespace
}  // namespace calyx_test
