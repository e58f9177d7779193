#include "indexing/index_worker.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <string>

#include "indexer/indexer.h"
#include "indexing/media_folders.h"
#include "indexing/worker_report.h"

namespace calyx_dms {

namespace {

void Send(const WorkerReport& report) {
    const std::string line = FormatWorkerReport(report);
    fwrite(line.data(), 1, line.size(), stdout);
    fflush(stdout);
}

std::set<std::string> KindWords(unsigned kinds) {
    std::set<std::string> words;
    if ((kinds & kMusicKind) != 0) {
        words.insert("music");
        words.insert("playlist");
    }
    if ((kinds & kVideoKind) != 0)
        words.insert("video");
    if ((kinds & kPhotoKind) != 0)
        words.insert("photo");
    return words;
}

}  // namespace

bool IsIndexWorkerCommand(int argc, char** argv) {
    return argc >= 2 && strcmp(argv[1], "--index-worker") == 0;
}

int RunIndexWorker(int argc, char** argv) {
    calyx_indexer::IndexOptions options;
    options.waitForOtherRun = true;
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--workers" && i + 1 < argc) {
            options.workers = static_cast<int>(strtol(argv[++i], nullptr, 10));
        } else if (arg == "--changed" && i + 1 < argc) {
            options.changedPaths.emplace_back(argv[++i]);
        } else if (arg == "--forget-after" && i + 1 < argc) {
            options.forgetAfterSeconds = strtoll(argv[++i], nullptr, 10);
        } else if (arg == "--thumbnails" && i + 1 < argc) {
            options.thumbnailDir = argv[++i];
        } else if (arg == "--folder" && i + 3 < argc) {
            const std::string path = argv[++i];
            options.folders.push_back(path);
            options.folderTitles[path] = argv[++i];
            const unsigned kinds = static_cast<unsigned>(strtoul(argv[++i], nullptr, 10));
            if ((kinds & kAllKinds) != kAllKinds)
                options.folderKinds[path] = KindWords(kinds);
        } else {
            fprintf(stderr, "calyx-dms-worker --index-worker: unexpected argument %s\n",
                    arg.c_str());
            return 2;
        }
    }
    options.progress = [](const calyx_indexer::IndexProgress& p) {
        if (p.finished)
            return;
        WorkerReport report;
        report.kind = WorkerReport::kProgress;
        report.done = p.filesDone;
        report.total = p.filesTotal;
        report.rate = p.filesPerSecond;
        report.folder = p.currentFolder;
        Send(report);
    };
    options.onWaiting = [](const std::string& why) {
        WorkerReport report;
        report.kind = WorkerReport::kWaiting;
        report.text = why;
        Send(report);
    };
    // Said at once: the server lists the new rows without waiting for its next look at
    // the index's update id, while the videos' thumbnails are still being made.
    options.onRowsWritten = [] {
        WorkerReport report;
        report.kind = WorkerReport::kRowsWritten;
        Send(report);
    };
    const calyx_indexer::IndexSummary summary = calyx_indexer::RunIndex(options);
    WorkerReport report;
    if (!summary.error.empty()) {
        report.kind = WorkerReport::kError;
        report.text = summary.error;
        Send(report);
        return 1;
    }
    report.kind = WorkerReport::kSummary;
    report.added = summary.added;
    report.changed = summary.changed;
    report.removed = summary.removed;
    report.unchanged = summary.unchanged;
    report.failed = summary.failed;
    report.seconds = summary.seconds;
    Send(report);
    return 0;
}

}  // namespace calyx_dms
