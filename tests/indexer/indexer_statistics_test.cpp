// The planner's statistics and the tables' VACUUM after an index run: refreshed by a run
// that changed many rows, left alone by a small one.
#include <gtest/gtest.h>

#include <stdlib.h>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class Statistics : public IndexerTest {
protected:
    void SetUp() override {
        IndexerTest::SetUp();
        root_ = RealPath(tree_.path()) + "/media";
        MakeDirs(root_ + "/films");
        MakeDirs(root_ + "/songs");
        CopyInto({MediaFile("video/h264_aac.mkv"), MediaFile("video/mpeg4_mp3.avi")},
                 root_ + "/films");
        CopyInto({MediaFile("music/tone.flac")}, root_ + "/songs");
    }

    // Columns of `table` the planner has statistics of (none before the first ANALYZE).
    int ColumnsWithStatistics(const std::string& table) {
        return atoi(ExecParams("SELECT count(*) FROM pg_stats WHERE schemaname = $1 AND "
                               "tablename = $2",
                               {schema(), table})
                        .c_str());
    }

    // VACUUMs of `table` asked for (not autovacuum's). The pages a VACUUM marks all-visible
    // are no measure of it: a transaction of another test in the same cluster keeps rows
    // from being visible to all, and the VACUUM then marks none.
    int Vacuums(const std::string& table) {
        return atoi(ExecParams("SELECT vacuum_count FROM pg_stat_user_tables WHERE relid = "
                               "$1::regclass",
                               {schema() + "." + table})
                        .c_str());
    }

    TempDir tree_;
    std::string root_;
};

TEST_F(Statistics, ARunThatChangedManyRowsRefreshesThem) {
    // Three files and three folders: six rows written.
    options_.analyzeAfterRows = 6;
    ASSERT_EQ(Index({root_}).added, 3u);
    EXPECT_GT(ColumnsWithStatistics("music"), 0);
    EXPECT_GT(ColumnsWithStatistics("video"), 0);
    EXPECT_GT(ColumnsWithStatistics("directory"), 0);
    EXPECT_GT(Vacuums("music"), 0);
    EXPECT_GT(Vacuums("video"), 0);
}

TEST_F(Statistics, ASmallRunLeavesThemAlone) {
    options_.analyzeAfterRows = 7;
    ASSERT_EQ(Index({root_}).added, 3u);
    EXPECT_EQ(ColumnsWithStatistics("music"), 0);
    EXPECT_EQ(ColumnsWithStatistics("video"), 0);
    EXPECT_EQ(Vacuums("music"), 0);
}

TEST_F(Statistics, ByDefaultABulkRunOfHundredsOfFilesRefreshesThem) {
    EXPECT_EQ(calyx_indexer::IndexOptions().analyzeAfterRows, 200u);
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(system(("ln '" + root_ + "/songs/tone.flac' '" + root_ + "/songs/copy" +
                          std::to_string(i) + ".flac'")
                             .c_str()),
                  0);
    ASSERT_EQ(Index({root_}).added, 203u);
    EXPECT_GT(ColumnsWithStatistics("music"), 0);
}

}  // namespace
}  // namespace calyx_test
