// The transcoding worker processes: started by exec (posix_spawn) with their output on a
// pipe, at most a fixed number at once, reaped on the GLib main loop (by pid: nothing
// else the server started is ever waited for here).
#ifndef CALYX_DMS_TRANSCODE_TRANSCODE_JOBS_H
#define CALYX_DMS_TRANSCODE_TRANSCODE_JOBS_H

#include <sys/types.h>

#include <set>
#include <string>

namespace calyx_dms {

class TranscodeJobs {
public:
    // `worker` is the calyx-transcode program; `limit` the most workers at once.
    TranscodeJobs(std::string worker, unsigned limit);
    // Kills the workers still running and waits for them.
    ~TranscodeJobs();
    TranscodeJobs(const TranscodeJobs&) = delete;
    TranscodeJobs& operator=(const TranscodeJobs&) = delete;

    enum class Start { kStarted, kBusy, kFailed };
    // Starts a worker transcoding `file` as `args` say from `start` seconds to `end`
    // (negative: the end). With `input` (an open descriptor of the file, which the caller
    // keeps and closes) the worker reads exactly that file as its standard input and never
    // opens `file` by name, so a file swapped after the caller checked it is not read.
    // kStarted gives its pid and the read end of its output (a non-blocking pipe, which the
    // caller closes); kBusy when `limit` workers run; kFailed with `error` when the program
    // cannot be started. Main loop thread only.
    Start Launch(const std::string& file, const std::string& args, double start, double end,
                 pid_t& pid, int& fd, std::string& error, int input = -1);
    // Ends a worker at once, if it still runs (a reaped pid is never signalled).
    void Stop(pid_t pid);
    unsigned running() const { return static_cast<unsigned>(running_.size()); }
    unsigned limit() const { return limit_; }
    const std::string& worker() const { return worker_; }

private:
    // Reaps the workers that have ended; runs every kReapMilliseconds while any runs.
    static int Reap(void* data);

    std::string worker_;
    unsigned limit_;
    std::set<pid_t> running_;
    unsigned reaper_ = 0;  // the GLib source of Reap, 0 when none
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_TRANSCODE_TRANSCODE_JOBS_H
