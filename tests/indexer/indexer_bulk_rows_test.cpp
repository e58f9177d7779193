// New rows are sent to the index in batches: later statements of the run see them, every
// byte of their text arrives as it was, and a batch the database refuses fails the run.
// Videos are listed before their thumbnails are made.
#include <gtest/gtest.h>

#include <sys/time.h>

#include <string>
#include <unordered_map>

#include "indexer/index_store.h"
#include "indexer_test_support.h"

namespace calyx_test {
namespace {

using BulkRows = IndexerTest;

// Text that the batch format has to carry through escapes: tabs, line ends, backslashes
// and what would otherwise read as a NULL.
const std::string kAwkward = "tab\there, back\\slash, \\N, new\nline, return\r.";

calyx_indexer::ItemRow MusicRow(const calyx_indexer::ProbedMedia& media, const std::string& path) {
    calyx_indexer::ItemRow row;
    row.media = &media;
    row.indexedPath = path;
    row.title = "title of " + path;
    row.size = 1234;
    row.mtime = 5678;
    return row;
}

TEST_F(BulkRows, RowsWaitingToBeSentAreSeenByTheNextStatementAndStoredExactly) {
    calyx_indexer::IndexStore store;
    ASSERT_TRUE(store.Open("")) << store.error();
    calyx_indexer::ProbedMedia media;
    media.kind = calyx_indexer::MediaKind::kMusic;
    media.artist = kAwkward;
    media.album = "\\";
    media.genre = "";
    ASSERT_TRUE(store.Begin()) << store.error();
    // More rows than one batch holds, then one with awkward text in its own fields.
    const int rows = 1500;
    for (int i = 0; i < rows; ++i)
        ASSERT_TRUE(store.WriteItem(MusicRow(media, "/m/" + std::to_string(i) + ".mp3"), 0))
            << store.error();
    calyx_indexer::ItemRow awkward = MusicRow(media, "/m/" + kAwkward + ".mp3");
    awkward.title = kAwkward;
    ASSERT_TRUE(store.WriteItem(awkward, 0)) << store.error();
    std::unordered_map<std::string, calyx_indexer::IndexedRow> loaded;
    ASSERT_TRUE(store.LoadRows(loaded)) << store.error();
    EXPECT_EQ(loaded.size(), static_cast<size_t>(rows + 1));
    ASSERT_EQ(loaded.count("/m/" + kAwkward + ".mp3"), 1u);
    EXPECT_EQ(loaded["/m/" + kAwkward + ".mp3"].table, "music");
    ASSERT_TRUE(store.Commit()) << store.error();

    EXPECT_EQ(Count("music"), rows + 1);
    Row row = RowOf("music", "/m/" + kAwkward + ".mp3");
    ASSERT_FALSE(row.empty());
    ExpectColumns(row, {{"title", kAwkward},
                        {"artist", kAwkward},
                        {"album", "\\"},
                        {"genre", ""},
                        {"filesize", "1234"},
                        {"mdate", "5678"}});
    // An empty text is an empty text, not NULL.
    EXPECT_EQ(ExecParams("SELECT count(*) FROM music WHERE genre IS NULL", {}), "0");
    EXPECT_EQ(RowOf("music", "/m/7.mp3")["title"], "title of /m/7.mp3");
}

TEST_F(BulkRows, ABatchTheDatabaseRefusesFailsWithItsReasonAndWritesNothing) {
    calyx_indexer::IndexStore store;
    ASSERT_TRUE(store.Open("")) << store.error();
    calyx_indexer::ProbedMedia media;
    media.kind = calyx_indexer::MediaKind::kMusic;
    ASSERT_TRUE(store.Begin()) << store.error();
    ASSERT_TRUE(store.WriteItem(MusicRow(media, "/m/good.mp3"), 0)) << store.error();
    calyx_indexer::ItemRow bad = MusicRow(media, "/m/bad.mp3");
    bad.title = "not UTF-8: \xff";
    // Waiting in the batch, the row is refused when the batch is sent: at the commit.
    ASSERT_TRUE(store.WriteItem(bad, 0)) << store.error();
    EXPECT_FALSE(store.Commit());
    EXPECT_NE(store.error().find("UTF8"), std::string::npos) << store.error();
    EXPECT_EQ(Count("music"), 0);
}

TEST_F(BulkRows, FileNamesWithEscapedCharactersAreIndexedAsTheyAre) {
    TempDir tree;
    const std::string names[] = {"tab\tand back\\slash.m4a", "\\N.m4a", "line\nend.m4a"};
    for (const std::string& name : names) {
        CopyInto({MediaFile("music/tone.m4a")}, tree.path());
        ASSERT_EQ(rename(tree.file("tone.m4a").c_str(), tree.file(name).c_str()), 0) << name;
    }
    EXPECT_EQ(Index({tree.path()}).added, 3u);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        Row row = RowOf("music", RealPath(tree.path()) + "/" + name);
        ASSERT_FALSE(row.empty());
        EXPECT_EQ(row["title"], name.substr(0, name.size() - 4));
    }
}

TEST_F(BulkRows, VideosAreListedBeforeTheirThumbnailsAreMade) {
    TempDir tree;
    CopyInto({MediaFile("video"), MediaFile("music")}, tree.path());
    const std::string withThumbnail =
        "SELECT count(*) FROM video WHERE coalesce(thumbnail, '') <> ''";
    const std::string videoUpdate =
        "SELECT update_id FROM container_update WHERE container = "
        "'video'";
    int calls = 0, listed = 0, thumbnailed = 0;
    std::string updateWhenListed;
    options_.onRowsWritten = [&] {
        // Another connection sees every row of the run, none of the videos' thumbnails yet.
        ++calls;
        listed = Count("video") + Count("music");
        thumbnailed = atoi(ExecParams(withThumbnail, {}).c_str());
        updateWhenListed = ExecParams(videoUpdate, {});
    };
    calyx_indexer::IndexSummary summary = Index({tree.path()});
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(listed, static_cast<int>(summary.added));
    EXPECT_EQ(thumbnailed, 0);
    // Then each video gets its thumbnail, and clients learn of it by the update ids.
    EXPECT_EQ(ExecParams(withThumbnail, {}), std::to_string(Count("video")));
    EXPECT_GT(atoll(ExecParams(videoUpdate, {}).c_str()), atoll(updateWhenListed.c_str()));
    for (const std::string& path : Paths("video")) {
        const std::string thumbnail = RowOf("video", path)["thumbnail"];
        EXPECT_EQ(thumbnail.rfind(thumbs_.path() + "/", 0), 0u) << path;
        EXPECT_EQ(FileSize(thumbnail) > 0, true) << thumbnail;
    }
    // A run over the unchanged tree has nothing to make.
    options_.onRowsWritten = [&] { ++calls; };
    EXPECT_EQ(Index({tree.path()}).unchanged, summary.added);
    EXPECT_EQ(calls, 2);
    // A changed video's row is rewritten whole, with its thumbnail.
    const std::string film = Paths("video").front();
    const timeval times[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimes(film.c_str(), times), 0) << film;
    std::string thumbnailWhenListed;
    options_.onRowsWritten = [&] { thumbnailWhenListed = RowOf("video", film)["thumbnail"]; };
    EXPECT_EQ(Index({tree.path()}).changed, 1u);
    EXPECT_EQ(thumbnailWhenListed.rfind(thumbs_.path() + "/", 0), 0u) << thumbnailWhenListed;
}

}  // namespace
}  // namespace calyx_test
