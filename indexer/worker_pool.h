// Probing in a pool of long-lived worker processes, each limited in time per file.
#ifndef CALYX_INDEXER_WORKER_POOL_H
#define CALYX_INDEXER_WORKER_POOL_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "indexer/probed_media.h"

namespace calyx_indexer {

struct ProbeJob {
    enum Kind {
        kMedia,       // ProbeMediaFile
        kCover,       // a picture named as its folder's cover (ProbeCoverFile)
        kMediaLater,  // ProbeMediaFile leaving a video's thumbnail for a kThumbnail job
        kThumbnail,   // WriteThumbnailOf only: `thumbnail` or `failure` of the result
    };
    std::string path;           // file system path to open
    std::string thumbnailPath;  // where a thumbnail goes; empty: none
    Kind kind = kMedia;
};

// Worker processes are forked by the pool (one socket each) and probe one file at a time
// as its job's kind says. A worker that takes longer than the time
// limit on a file is killed and replaced, one that dies is replaced; either way that file fails
// with the reason, and the other files go on. Libav crashes and hangs thus never reach the calling
// process.
class WorkerPool {
public:
    WorkerPool(int workers, int timeoutSeconds);
    ~WorkerPool();  // ends the workers
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    using StartHook = std::function<void(size_t job, pid_t worker)>;
    using DoneHook = std::function<void(size_t job, ProbedMedia& media)>;

    // Probes every job. `starting` is called (may be empty) just before a job is sent to a
    // worker; `done` in the calling process as each job finishes, in the order they finish.
    // A failed job reaches `done` with a failure reason. Returns false (with error()) only
    // when no worker process can be started.
    bool Run(const std::vector<ProbeJob>& jobs, const StartHook& starting, const DoneHook& done);

    // Called from a hook: no further job is handed out; Run returns once the jobs under
    // way are answered.
    void Cancel() { cancelled_ = true; }

    const std::string& error() const { return error_; }

private:
    struct Worker {
        pid_t pid = -1;
        int fd = -1;
        bool busy = false;
        size_t job = 0;
        long long deadlineMs = 0;
        std::string inbox;
    };

    bool Spawn(Worker& worker);
    // Ends the worker (killing it first when `kill`) and returns its wait status.
    int Stop(Worker& worker, bool kill);
    // Ends a worker that failed its job, reports the job with `reason` (empty: how the
    // worker ended) and starts a replacement.
    void Replace(Worker& worker, const std::string& reason, bool kill, const DoneHook& done);
    void Dispatch(Worker& worker, size_t index, const ProbeJob& job, const StartHook& starting,
                  const DoneHook& done);
    // Reads what a busy worker sent and reports its job once the whole result is in.
    void Receive(Worker& worker, const DoneHook& done);

    std::vector<Worker> workers_;
    int timeoutSeconds_;
    bool cancelled_ = false;
    std::string error_;
};

// The body of a worker process: answers jobs read from `fd` until it closes. Never returns.
[[noreturn]] void RunProbeWorker(int fd);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_WORKER_POOL_H
