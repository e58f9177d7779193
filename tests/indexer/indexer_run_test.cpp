// A run as a whole: what stops it, what it reports while it works, and the run lock.
#include <gtest/gtest.h>

#include <functional>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

using Runs = IndexerTest;

TEST_F(Runs, ProgressCountsUpToTheTotalAndEndsOnce) {
    TempDir tree;
    CopyInto({MediaFile("music"), MediaFile("photo")}, tree.path());
    std::vector<calyx_indexer::IndexProgress> reports;
    options_.progress = [&reports](const calyx_indexer::IndexProgress& p) { reports.push_back(p); };
    calyx_indexer::IndexSummary summary = Index({tree.path()});
    ASSERT_FALSE(reports.empty());
    const calyx_indexer::IndexProgress& last = reports.back();
    EXPECT_TRUE(last.finished);
    EXPECT_EQ(last.filesTotal, 5u);
    EXPECT_EQ(last.filesDone, 5u);
    EXPECT_GT(last.filesPerSecond, 0);
    EXPECT_EQ(last.currentFolder.rfind(RealPath(tree.path()), 0), 0u) << last.currentFolder;
    size_t finished = 0;
    for (size_t i = 0; i < reports.size(); ++i) {
        finished += reports[i].finished;
        if (i > 0) {
            EXPECT_GE(reports[i].filesDone, reports[i - 1].filesDone);
        }
    }
    EXPECT_EQ(finished, 1u);
    EXPECT_EQ(summary.added, 5u);
}

TEST_F(Runs, AFolderThatCannotBeReadIsAnErrorAndChangesNothing) {
    TempDir tree;
    options_.folders = {tree.file("missing")};
    calyx_indexer::IndexSummary summary = calyx_indexer::RunIndex(options_);
    EXPECT_EQ(summary.error, "no folder to index could be read");
    ASSERT_EQ(summary.failures.size(), 1u);
    EXPECT_EQ(summary.failures[0].path, tree.file("missing"));
    EXPECT_NE(summary.failures[0].reason.find("No such file"), std::string::npos);
    options_.folders = {};
    EXPECT_EQ(calyx_indexer::RunIndex(options_).error, "no folder to index");
}

TEST_F(Runs, UnreachableDatabaseIsAnError) {
    TempDir nowhere;
    options_.folders = {MediaDir()};
    options_.conninfo = "host=" + nowhere.path() + " port=1 dbname=calyx user=admin";
    calyx_indexer::IndexSummary summary = calyx_indexer::RunIndex(options_);
    EXPECT_EQ(summary.error.rfind("cannot connect to the media index: ", 0), 0u) << summary.error;
    EXPECT_EQ(summary.added, 0u);
}

TEST_F(Runs, OnlyOneRunAtATimePerIndex) {
    // What a concurrent run holds while it works.
    Exec("SELECT pg_advisory_lock(hashtext('calyx index ' || current_schema()))");
    options_.folders = {MediaFile("music")};
    calyx_indexer::IndexSummary summary = calyx_indexer::RunIndex(options_);
    EXPECT_NE(summary.error.find("another index run"), std::string::npos) << summary.error;
    EXPECT_EQ(Count("music"), 0);
    Exec("SELECT pg_advisory_unlock(hashtext('calyx index ' || current_schema()))");
    EXPECT_EQ(Index({MediaFile("music")}).added, 3u);
}

// Rows whose parent directory row is missing: none in a consistent index.
int Orphans(Runs& test, const std::function<std::string(const std::string&)>& exec) {
    int orphans = 0;
    for (const char* table : {"video", "music", "photo", "playlist", "directory"})
        orphans += atoi(exec(std::string("SELECT count(*) FROM ") + table +
                             " t WHERE parent_id <> 0 AND NOT EXISTS (SELECT 1 FROM directory d "
                             "WHERE d.id = t.parent_id)")
                            .c_str());
    return orphans;
}

TEST_F(Runs, RunCutOffMidwayLeavesAConsistentIndexTheNextRunCompletes) {
    TempDir tree;
    CopyInto({MediaFile("video"), MediaFile("music"), MediaFile("photo")}, tree.path());
    // The run's connection is cut (as when the indexer is killed) while files are probed.
    ScopedEnv name("PGAPPNAME", "calyx-index-cut-test");
    int started = 0;
    options_.workers = 1;
    options_.onProbeStart = [&](const std::string&, pid_t) {
        if (++started == 6)
            Exec(
                "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE "
                "application_name = 'calyx-index-cut-test' AND pid <> pg_backend_pid()");
    };
    options_.folders = {tree.path()};
    options_.thumbnailDir = thumbs_.path();
    calyx_indexer::IndexSummary cut = calyx_indexer::RunIndex(options_);
    EXPECT_NE(cut.error.find("writing the media index failed"), std::string::npos) << cut.error;
    const auto exec = [this](const std::string& sql) { return ExecParams(sql, {}); };
    EXPECT_EQ(Orphans(*this, exec), 0);
    const int before = Count("video") + Count("music") + Count("photo");

    options_.onProbeStart = nullptr;
    calyx_indexer::IndexSummary next = Index({tree.path()});
    EXPECT_EQ(next.failed, 0u);
    EXPECT_EQ(next.unchanged, static_cast<size_t>(before));
    EXPECT_EQ(next.added + next.unchanged, 7u + 3u + 2u);
    EXPECT_EQ(Count("video") + Count("music") + Count("photo"), 12);
    EXPECT_EQ(Orphans(*this, exec), 0);
}

TEST_F(Runs, SchemaIsAppliedToAnEmptyDatabaseSchema) {
    Exec(
        "DROP TABLE video, music, photo, playlist_entry, playlist, directory, subtitle, "
        "media_index_version, index_update, container_update, media_folder");
    Exec("DROP FUNCTION calyx_index_changed");
    Exec("DROP FUNCTION calyx_photo_month");
    EXPECT_EQ(Index({MediaFile("photo")}).added, 2u);
    EXPECT_EQ(Count("photo"), 2);
    EXPECT_EQ(ExecParams("SELECT version FROM media_index_version", {}), "7");
    EXPECT_NE(ExecParams("SELECT system_update_id FROM index_update", {}), "0");
}

}  // namespace
}  // namespace calyx_test
