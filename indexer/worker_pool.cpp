// The pool: fork, hand out jobs, watch the clock, replace workers that hang or die.
#include "indexer/worker_pool.h"

extern "C" {
#include <libavutil/log.h>
}

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "indexer/cover_art.h"
#include "indexer/media_probe.h"
#include "indexer/worker_channel.h"

namespace calyx_indexer {

namespace {

// A job's kind on the worker's socket, by ProbeJob::Kind.
constexpr char kKindLetters[] = "MCVT";

long long NowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

std::string ExitReason(int status) {
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return "the probing worker crashed (signal " + std::to_string(signal) + ", " +
               strsignal(signal) + ")";
    }
    if (WIFEXITED(status))
        return "the probing worker exited with status " + std::to_string(WEXITSTATUS(status));
    return "the probing worker was lost";
}

}  // namespace

[[noreturn]] void RunProbeWorker(int fd) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlive the run
    // A crash must end the worker by its signal, whatever handlers the host installed,
    // so that the run can tell what happened.
    for (int crash : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        signal(crash, SIG_DFL);
    av_log_set_level(AV_LOG_QUIET);  // reasons travel back in the result, not on stderr
    std::string payload, path, thumbnail;
    // The second field is the job's kind (its letter in kKindLetters) and the thumbnail path.
    while (ReceiveMessage(fd, payload) && UnpackPair(payload, path, thumbnail) &&
           !thumbnail.empty()) {
        const char kind = thumbnail[0];
        thumbnail.erase(0, 1);
        ProbedMedia media;
        if (kind == kKindLetters[ProbeJob::kCover]) {
            media = ProbeCoverFile(path, thumbnail);
        } else if (kind == kKindLetters[ProbeJob::kThumbnail]) {
            media.failure = WriteThumbnailOf(path, thumbnail);
            if (media.failure.empty())
                media.thumbnail = thumbnail;
        } else {
            media = ProbeMediaFile(path, thumbnail, kind != kKindLetters[ProbeJob::kMediaLater]);
        }
        if (!SendMessage(fd, SerializeProbedMedia(media)))
            break;
    }
    _exit(0);
}

WorkerPool::WorkerPool(int workers, int timeoutSeconds)
    : workers_(static_cast<size_t>(std::max(workers, 1))),
      timeoutSeconds_(std::max(timeoutSeconds, 1)) {}

WorkerPool::~WorkerPool() {
    for (Worker& worker : workers_)
        Stop(worker, false);
}

bool WorkerPool::Spawn(Worker& worker) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
        error_ = std::string("cannot make a socket for a probing worker: ") + strerror(errno);
        return false;
    }
    const pid_t pid = fork();
    if (pid < 0) {
        error_ = std::string("cannot start a probing worker: ") + strerror(errno);
        close(fds[0]);
        close(fds[1]);
        return false;
    }
    if (pid == 0) {
        close(fds[0]);
        for (const Worker& other : workers_) {
            if (other.fd >= 0)
                close(other.fd);
        }
        RunProbeWorker(fds[1]);
    }
    close(fds[1]);
    worker = Worker();
    worker.pid = pid;
    worker.fd = fds[0];
    return true;
}

int WorkerPool::Stop(Worker& worker, bool kill) {
    int status = 0;
    if (worker.pid < 0)
        return status;
    if (kill)
        ::kill(worker.pid, SIGKILL);
    close(worker.fd);  // an idle worker ends when its socket closes
    while (waitpid(worker.pid, &status, 0) < 0 && errno == EINTR) {
    }
    worker = Worker();
    return status;
}

void WorkerPool::Replace(Worker& worker, const std::string& reason, bool kill,
                         const DoneHook& done) {
    const size_t job = worker.job;
    const int status = Stop(worker, kill);
    ProbedMedia media;
    media.failure = reason.empty() ? ExitReason(status) : reason;
    done(job, media);
    Spawn(worker);  // a worker that cannot be replaced leaves the pool smaller
}

void WorkerPool::Dispatch(Worker& worker, size_t index, const ProbeJob& job,
                          const StartHook& starting, const DoneHook& done) {
    if (starting)
        starting(index, worker.pid);
    worker.busy = true;
    worker.job = index;
    worker.deadlineMs = NowMs() + 1000LL * timeoutSeconds_;
    if (!SendMessage(worker.fd, PackPair(job.path, kKindLetters[job.kind] + job.thumbnailPath)))
        Replace(worker, "", true, done);  // it died before taking the job
}

void WorkerPool::Receive(Worker& worker, const DoneHook& done) {
    char buffer[65536];
    const ssize_t n = read(worker.fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR)
        return;
    if (n <= 0) {
        Replace(worker, "", false, done);  // it died on the job
        return;
    }
    worker.inbox.append(buffer, static_cast<size_t>(n));
    std::string payload;
    bool broken = false;
    ProbedMedia media;
    const bool whole = TakeMessage(worker.inbox, payload, broken);
    if (whole && DeserializeProbedMedia(payload, media)) {
        worker.busy = false;
        done(worker.job, media);
    } else if (whole || broken) {
        Replace(worker, "the probing worker sent a broken result", true, done);
    }
}

bool WorkerPool::Run(const std::vector<ProbeJob>& jobs, const StartHook& starting,
                     const DoneHook& done) {
    if (jobs.empty())
        return true;
    const size_t wanted = std::min(workers_.size(), jobs.size());
    workers_.resize(wanted);
    for (Worker& worker : workers_) {
        if (worker.pid < 0 && !Spawn(worker))
            return false;
    }
    size_t next = 0;
    cancelled_ = false;
    for (;;) {
        if (cancelled_)
            next = jobs.size();
        // Hand a job to every idle worker.
        for (Worker& worker : workers_) {
            while (worker.pid >= 0 && !worker.busy && next < jobs.size()) {
                Dispatch(worker, next, jobs[next], starting, done);
                ++next;
            }
        }
        std::vector<pollfd> waiting;
        std::vector<Worker*> owners;
        long long soonest = -1;
        for (Worker& worker : workers_) {
            if (worker.pid >= 0 && worker.busy) {
                waiting.push_back(pollfd{worker.fd, POLLIN, 0});
                owners.push_back(&worker);
                if (soonest < 0 || worker.deadlineMs < soonest)
                    soonest = worker.deadlineMs;
            }
        }
        if (waiting.empty()) {
            if (next >= jobs.size())
                return true;
            error_ = "no probing worker is left";
            return false;
        }
        const int timeout = static_cast<int>(std::max(0LL, soonest - NowMs()));
        const int ready = poll(waiting.data(), waiting.size(), timeout);
        if (ready < 0 && errno != EINTR) {
            error_ = std::string("waiting for the probing workers failed: ") + strerror(errno);
            return false;
        }
        for (size_t i = 0; i < waiting.size(); ++i) {
            Worker& worker = *owners[i];
            if (ready > 0 && (waiting[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0)
                Receive(worker, done);
            else if (worker.pid >= 0 && worker.busy && NowMs() >= worker.deadlineMs)
                Replace(worker,
                        "probing took longer than " + std::to_string(timeoutSeconds_) +
                            " s (the worker was stopped)",
                        true, done);
        }
    }
}

}  // namespace calyx_indexer
