// The progress bar, plain progress lines and the summary.
#include <gtest/gtest.h>

#include "indexer/progress_text.h"

namespace calyx_test {
namespace {

using namespace calyx_indexer;

IndexProgress Progress(size_t done, size_t total, double rate, const std::string& folder) {
    IndexProgress p;
    p.filesDone = done;
    p.filesTotal = total;
    p.filesPerSecond = rate;
    p.currentFolder = folder;
    return p;
}

TEST(ProgressText, BarShowsShareRateAndFolder) {
    EXPECT_EQ(ProgressBarLine(Progress(5, 10, 12.34, "/m/a"), 80),
              "[##########..........] 5/10 files  12.3 files/s  /m/a");
    EXPECT_EQ(ProgressBarLine(Progress(0, 0, 0, ""), 80),
              "[####################] 0/0 files  0.0 files/s  ");
}

TEST(ProgressText, BarKeepsTheEndOfALongFolderWithinTheWidth) {
    const std::string line =
        ProgressBarLine(Progress(1, 4, 1, "/media/" + std::string(100, 'x') + "/last"), 60);
    EXPECT_EQ(line.size(), 60u);
    EXPECT_EQ(line.substr(line.size() - 8), "xxx/last");
    EXPECT_NE(line.find("  ...x"), std::string::npos) << line;
    // Multibyte names are cut between characters and counted by character.
    const std::string wide =
        ProgressBarLine(Progress(1, 4, 1, std::string(50, 'a') + "\xC3\xA9"), 60);
    EXPECT_EQ(wide.substr(wide.size() - 3), "a\xC3\xA9");
    EXPECT_EQ(ProgressBarLine(Progress(1, 4, 1, "/m"), 10).size(), 10u);
}

TEST(ProgressText, PlainLine) {
    EXPECT_EQ(ProgressPlainLine(Progress(120, 456, 37.25, "/m/a")),
              "indexed 120 of 456 files, 37.2 files/s, in /m/a");
    EXPECT_EQ(ProgressPlainLine(Progress(0, 3, 0, "")), "indexed 0 of 3 files, 0.0 files/s");
}

TEST(ProgressText, SummaryWithTheFirstReasons) {
    IndexSummary s;
    s.added = 3;
    s.changed = 1;
    s.removed = 2;
    s.unchanged = 4;
    s.failed = 3;
    s.foldersAdded = 1;
    s.seconds = 2;
    s.failures = {{"/m/a", "one"}, {"/m/b", "two"}, {"/m/c", "three"}};
    EXPECT_EQ(SummaryText(s, 2),
              "11 files in 2.0 s (5.5 files/s): added 3, changed 1, removed 2, unchanged 4, "
              "failed 3\n"
              "folders: added 1, removed 0\n"
              "failed: /m/a: one\n"
              "failed: /m/b: two\n"
              "... and 1 more failed\n");
    s.failed = 0;
    s.failures.clear();
    EXPECT_EQ(SummaryText(s, 2).find("failed:"), std::string::npos);
}

TEST(ProgressText, SummaryCountsPlaylistEntries) {
    IndexSummary s;
    EXPECT_EQ(SummaryText(s, 2).find("playlist"), std::string::npos);
    s.playlistEntries.entries = 7;
    s.playlistEntries.missing = 2;
    s.playlistEntries.urls = 1;
    s.playlistEntries.notUtf8 = 3;
    EXPECT_NE(SummaryText(s, 2).find("playlist entries: 7 (missing 2, URLs 1, not UTF-8 3)\n"),
              std::string::npos);
}

}  // namespace
}  // namespace calyx_test
