// Background indexing: the media folders are indexed by a worker process while the server
// serves. The worker is calyx-dms-worker, started by exec (never a fork of
// the threaded server: libav's threads and the sanitizers need a fresh process); it reports
// on a pipe that the main loop reads. One run at a time; a run asked for while one is under
// way follows it.
//
// Everything here runs on the GLib main loop of the server.
#ifndef CALYX_DMS_INDEXING_INDEX_SCHEDULER_H
#define CALYX_DMS_INDEXING_INDEX_SCHEDULER_H

#include <sys/types.h>
#include <time.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "indexing/media_folders.h"
#include "indexing/worker_report.h"

namespace calyx_dms {

struct IndexerSettings {
    std::string program;          // the worker program (started with --index-worker)
    std::string thumbnailFolder;  // "" makes no thumbnails
    int workers = 1;              // probing processes of a run
    std::string workerLog;        // the worker's standard error (libav's words) goes here
    int logSeconds = 5;           // a progress line in the log at most this often
    // Seconds a media folder that is gone keeps its items hidden (--forget-after).
    long long forgetAfter = 86400;
};

// Where indexing stands, for the log and the settings page.
struct IndexStatus {
    enum State { kIdle, kWaiting, kRunning } state = kIdle;
    WorkerReport progress;     // the last progress report of the run under way
    bool rowsWritten = false;  // the run under way has written every row it will
    int runs = 0;              // runs finished (or failed) since the start
    std::string lastResult;    // the summary or the error of the last run
    time_t lastFinished = 0;
};

// One line: "indexing: 120 of 450 files (30 files/s), in /srv/music/Bach", "waiting for
// another index run to finish", "index up to date: 450 files (3 added) in 2.1 s", ...
std::string DescribeIndexStatus(const IndexStatus& status);

// The worker's command line for `folders` (the program's own arguments after it), and for
// `changed` paths under them when the run is to look at those only.
std::vector<std::string> IndexWorkerArguments(const IndexerSettings& settings,
                                              const std::vector<MediaFolder>& folders,
                                              const std::vector<std::string>& changed = {});

class IndexScheduler {
public:
    explicit IndexScheduler(IndexerSettings settings);
    ~IndexScheduler();  // Stop()
    IndexScheduler(const IndexScheduler&) = delete;
    IndexScheduler& operator=(const IndexScheduler&) = delete;

    // Indexes `folders` as soon as no run is under way (a waiting request is replaced).
    void Request(const std::vector<MediaFolder>& folders);
    // Indexes only `paths` (files and folders under the folders of the last Request that
    // changed, or media folders that went or came back) as soon as no run is under way;
    // they join a waiting request (one of every folder covers them already). Before any
    // Request there is nothing to add them to: the first run looks at everything anyway.
    void RequestChanges(const std::vector<std::string>& paths);

    // More changed paths than this make a run of every folder instead.
    static constexpr size_t kMaxChangedPaths = 5000;

    // Ends a run under way (its rows so far stay; the next run finishes the job) and drops
    // a waiting request.
    void Stop();

    const IndexStatus& status() const { return status_; }
    // Called after every change of status (on the main loop).
    void SetObserver(std::function<void(const IndexStatus&)> observer) {
        observer_ = std::move(observer);
    }
    // Called on the main loop as soon as a run's rows are written and visible to readers,
    // and when a run ends: what the server keeps of the index's update id is then stale.
    void SetIndexChanged(std::function<void()> changed) { indexChanged_ = std::move(changed); }

private:
    void StartRun(const std::vector<MediaFolder>& folders,
                  const std::vector<std::string>& changed = {});
    void Read();
    void Handle(const WorkerReport& report);
    void Finish();
    void Changed();

    IndexerSettings settings_;
    IndexStatus status_;
    std::function<void(const IndexStatus&)> observer_;
    std::function<void()> indexChanged_;
    std::vector<MediaFolder> pending_;
    bool hasPending_ = false;
    std::vector<MediaFolder> folders_;      // those of the last Request
    std::set<std::string> pendingChanges_;  // changed paths waiting (hasPending_: none)
    pid_t pid_ = -1;
    int fd_ = -1;
    unsigned source_ = 0;  // GLib source of the pipe
    std::string buffer_;
    bool reported_ = false;  // the worker sent its summary or error
    time_t lastLogged_ = 0;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_INDEXING_INDEX_SCHEDULER_H
