// The media folders from their three sources, and the worker's report lines.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>

#include <fstream>
#include <string>
#include <vector>

#include "indexing/index_scheduler.h"
#include "indexing/media_folders.h"
#include "indexing/worker_report.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

using calyx_dms::CombineMediaFolders;
using calyx_dms::MediaFolder;

void Folder(const std::string& path) {
    ASSERT_EQ(system(("mkdir -p '" + path + "'").c_str()), 0);
}

TEST(MediaFolders, FlagsFirstThenTheLibrarysFoldersPerType) {
    TempDir tree;
    ScopedRoot root;  // the library's fixed paths under a fresh root
    Folder(tree.file("films"));
    Folder(tree.file("share/music/live"));
    Folder(tree.file("pictures"));
    ASSERT_EQ(symlink(tree.file("films").c_str(), tree.file("films-link").c_str()), 0);
    Folder(root.resolve("/usr/zevo/etc"));
    std::ofstream(root.resolve("/usr/zevo/etc/shares.conf"))
        << "music=" << tree.file("share/music") << "\nphoto=" << tree.file("pictures") << "\n";
    // Indexed for music: the share and its "live" folder (and the films, named again).
    std::ofstream(root.resolve("/usr/zevo/etc/index_folder.conf"))
        << "[{\"path\": \"music/live\", \"name\": \"Concerts\", \"music\": true},"
        << " {\"path\": \"music/missing\", \"name\": \"Gone\", \"music\": true}]";
    std::vector<std::string> problems;
    const std::vector<MediaFolder> folders =
        CombineMediaFolders({tree.file("films/"), tree.file("films-link")}, problems);
    ASSERT_EQ(folders.size(), 4u);
    EXPECT_EQ(folders[0].path, tree.file("films"));
    EXPECT_EQ(folders[0].title, "films");
    EXPECT_EQ(folders[0].kinds, calyx_dms::kAllKinds);
    // The library's map is ordered by path: the share before its folder.
    EXPECT_EQ(folders[1].path, tree.file("share/music"));
    EXPECT_EQ(folders[1].title, "music");
    EXPECT_EQ(folders[1].kinds, calyx_dms::kMusicKind);
    EXPECT_EQ(folders[2].title, "Concerts");
    EXPECT_EQ(folders[2].kinds, calyx_dms::kMusicKind);
    EXPECT_EQ(folders[3].path, tree.file("pictures"));
    EXPECT_EQ(folders[3].title, "photo");
    EXPECT_EQ(folders[3].kinds, calyx_dms::kPhotoKind);
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_NE(problems[0].find("music/missing (the library's music folders) does not exist"),
              std::string::npos)
        << problems[0];
}

TEST(MediaFolders, AFolderGivenTwiceAddsItsKindsUnderItsFirstName) {
    TempDir tree;
    ScopedRoot root;
    Folder(tree.file("all"));
    Folder(root.resolve("/usr/zevo/etc"));
    std::ofstream(root.resolve("/usr/zevo/etc/shares.conf"))
        << "video=" << tree.file("all") << "\n";
    std::vector<std::string> problems;
    std::vector<MediaFolder> folders = CombineMediaFolders({}, problems);
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(folders[0].title, "video");
    EXPECT_EQ(folders[0].kinds, calyx_dms::kVideoKind);
    EXPECT_EQ(calyx_dms::DescribeKinds(folders[0].kinds), "video");
    std::ofstream(root.resolve("/usr/zevo/etc/shares.conf"))
        << "video=" << tree.file("all") << "\nmusic=" << tree.file("all") << "\n";
    folders = CombineMediaFolders({"relative/missing"}, problems);
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(folders[0].title, "music");
    EXPECT_EQ(folders[0].kinds, calyx_dms::kVideoKind | calyx_dms::kMusicKind);
    ASSERT_FALSE(problems.empty());
    EXPECT_EQ(problems.back().find("media folder /"), 0u) << "made absolute: " << problems.back();
}

TEST(WorkerReport, EveryKindSurvivesItsLine) {
    calyx_dms::WorkerReport progress;
    progress.kind = calyx_dms::WorkerReport::kProgress;
    progress.done = 3;
    progress.total = 9;
    progress.rate = 1.5;
    progress.folder = "/srv/a \"quoted\"\nname";
    const std::string line = calyx_dms::FormatWorkerReport(progress);
    ASSERT_EQ(line.find('\n'), line.size() - 1) << "one line: " << line;
    calyx_dms::WorkerReport back = calyx_dms::ParseWorkerReport(line.substr(0, line.size() - 1));
    EXPECT_EQ(back.kind, calyx_dms::WorkerReport::kProgress);
    EXPECT_EQ(back.done, 3u);
    EXPECT_EQ(back.total, 9u);
    EXPECT_EQ(back.folder, progress.folder);

    calyx_dms::IndexStatus status;
    status.state = calyx_dms::IndexStatus::kRunning;
    status.progress = back;
    EXPECT_EQ(calyx_dms::DescribeIndexStatus(status),
              "indexing: 3 of 9 files (2 files/s), in /srv/a \"quoted\"\nname");

    calyx_dms::WorkerReport summary;
    summary.kind = calyx_dms::WorkerReport::kSummary;
    summary.added = 2;
    summary.unchanged = 5;
    summary.failed = 1;
    back = calyx_dms::ParseWorkerReport(calyx_dms::FormatWorkerReport(summary));
    EXPECT_EQ(back.kind, calyx_dms::WorkerReport::kSummary);
    EXPECT_EQ(back.added, 2u);
    EXPECT_EQ(back.unchanged, 5u);
    EXPECT_EQ(back.failed, 1u);
    EXPECT_EQ(calyx_dms::ParseWorkerReport("libav said something").kind,
              calyx_dms::WorkerReport::kNone);
    EXPECT_EQ(calyx_dms::ParseWorkerReport("{\"waiting\": \"why\"}").text, "why");

    calyx_dms::WorkerReport rows;
    rows.kind = calyx_dms::WorkerReport::kRowsWritten;
    EXPECT_EQ(calyx_dms::ParseWorkerReport(calyx_dms::FormatWorkerReport(rows)).kind,
              calyx_dms::WorkerReport::kRowsWritten);
    EXPECT_EQ(calyx_dms::ParseWorkerReport("{\"rows_written\": false}").kind,
              calyx_dms::WorkerReport::kNone);
    status.rowsWritten = true;
    EXPECT_EQ(calyx_dms::DescribeIndexStatus(status),
              "indexing: every file listed, making the thumbnails of new videos");
}

// A stand-in for the worker program: it says its rows are written, then waits for the
// test's go (a file appearing) before its summary, so that the test sees the moment
// between the two.
TEST(IndexScheduler, SaysTheIndexChangedOnceTheRowsAreWrittenAndAgainAtTheEnd) {
    TempDir dir;
    const std::string go = dir.file("go");
    const std::string worker = dir.file("worker.sh");
    {
        std::ofstream script(worker);
        script << "#!/bin/sh\n"
                  "echo '{\"progress\": {\"done\": 1, \"total\": 2, \"rate\": 1, "
                  "\"folder\": \"/m\"}}'\n"
                  "echo '{\"rows_written\": true}'\n"
                  "while [ ! -e '"
               << go
               << "' ]; do sleep 0.01; done\n"
                  "echo '{\"summary\": {\"added\": 2, \"changed\": 0, \"removed\": 0, "
                  "\"unchanged\": 0, \"failed\": 0, \"seconds\": 0.5}}'\n";
    }
    ASSERT_EQ(chmod(worker.c_str(), 0755), 0);
    calyx_dms::IndexerSettings settings;
    settings.program = worker;
    settings.workerLog = dir.file("worker.log");
    calyx_dms::IndexScheduler scheduler(settings);
    int changed = 0;
    std::vector<std::string> said;
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    scheduler.SetIndexChanged([&] {
        ++changed;
        // Rows written, the run not ended: the stand-in may finish now.
        if (changed == 1)
            std::ofstream(go.c_str()) << "go";
    });
    scheduler.SetObserver([&](const calyx_dms::IndexStatus& status) {
        said.push_back(std::to_string(changed) + " " + calyx_dms::DescribeIndexStatus(status));
        if (status.state == calyx_dms::IndexStatus::kIdle && status.runs == 1)
            g_main_loop_quit(loop);
    });
    const guint timeout = g_timeout_add_seconds(
        20,
        [](gpointer l) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(l));
            return G_SOURCE_REMOVE;
        },
        loop);
    Folder(dir.file("m"));
    MediaFolder folder;
    folder.path = dir.file("m");
    folder.title = "m";
    scheduler.Request({folder});
    g_main_loop_run(loop);
    g_source_remove(timeout);
    g_main_loop_unref(loop);
    EXPECT_EQ(changed, 2);
    const std::vector<std::string> expected = {
        "0 indexing: looking for media files", "0 indexing: 1 of 2 files (1 files/s), in /m",
        "1 indexing: every file listed, making the thumbnails of new videos",
        "1 indexing: every file listed, making the thumbnails of new videos",  // the summary
        "2 index up to date: 2 files (2 added, 0 changed, 0 removed, 0 failed) in 0.5 s"};
    EXPECT_EQ(said, expected);
}

}  // namespace
}  // namespace calyx_test
