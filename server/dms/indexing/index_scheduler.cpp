#include "indexing/index_scheduler.h"

#include <errno.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "calyx/core.h"
#include "store/child_process.h"

namespace calyx_dms {

namespace {

constexpr int kNiceness = 10;  // indexing gives way to serving
constexpr int kStopGraceMs = 5000;

std::string Number(double value, int decimals) {
    char text[64];
    snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

void LogInfo(const std::string& line) {
    if (Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: %s\n", line.c_str());
}

void LogError(const std::string& line) {
    if (Calyx::DMSLOGGetLevel() >= 0)
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "Error: calyx-dms indexing - %s\n", line.c_str());
}

// The last lines of the worker's standard error, for a worker that ended without a word.
std::string Tail(const std::string& path) {
    std::ifstream in(path);
    std::string line, tail;
    std::vector<std::string> lines;
    while (std::getline(in, line))
        if (!line.empty())
            lines.push_back(line);
    for (size_t i = lines.size() > 5 ? lines.size() - 5 : 0; i < lines.size(); ++i)
        tail += (tail.empty() ? "" : " | ") + lines[i];
    return tail;
}

}  // namespace

std::string DescribeIndexStatus(const IndexStatus& status) {
    switch (status.state) {
        case IndexStatus::kWaiting:
            return "indexing: waiting for another index run of this media index to finish";
        case IndexStatus::kRunning: {
            const WorkerReport& p = status.progress;
            if (status.rowsWritten)
                return "indexing: every file listed, making the thumbnails of new videos";
            if (p.total == 0)
                return "indexing: looking for media files";
            return "indexing: " + std::to_string(p.done) + " of " + std::to_string(p.total) +
                   " files (" + Number(p.rate, 0) + " files/s)" +
                   (p.folder.empty() ? "" : ", in " + p.folder);
        }
        case IndexStatus::kIdle:
            break;
    }
    if (status.runs == 0)
        return "indexing: not started";
    return status.lastResult;
}

std::vector<std::string> IndexWorkerArguments(const IndexerSettings& settings,
                                              const std::vector<MediaFolder>& folders,
                                              const std::vector<std::string>& changed) {
    std::vector<std::string> args = {"--index-worker", "--workers",
                                     std::to_string(settings.workers), "--forget-after",
                                     std::to_string(settings.forgetAfter)};
    if (!settings.thumbnailFolder.empty()) {
        args.push_back("--thumbnails");
        args.push_back(settings.thumbnailFolder);
    }
    for (const MediaFolder& folder : folders) {
        args.push_back("--folder");
        args.push_back(folder.path);
        args.push_back(folder.title);
        args.push_back(std::to_string(folder.kinds));
    }
    for (const std::string& path : changed) {
        args.push_back("--changed");
        args.push_back(path);
    }
    return args;
}

IndexScheduler::IndexScheduler(IndexerSettings settings) : settings_(std::move(settings)) {}

IndexScheduler::~IndexScheduler() {
    Stop();
}

void IndexScheduler::Request(const std::vector<MediaFolder>& folders) {
    folders_ = folders;
    pendingChanges_.clear();
    if (pid_ > 0) {
        pending_ = folders;
        hasPending_ = true;
        return;
    }
    StartRun(folders);
}

void IndexScheduler::RequestChanges(const std::vector<std::string>& paths) {
    if (folders_.empty() || paths.empty())
        return;
    if (pid_ > 0) {
        if (!hasPending_)
            pendingChanges_.insert(paths.begin(), paths.end());
        return;
    }
    StartRun(folders_, paths);
}

void IndexScheduler::StartRun(const std::vector<MediaFolder>& folders,
                              const std::vector<std::string>& given) {
    if (folders.empty())
        return;
    // A great many changes at once (the kernel's queue overflowed, a tree replaced): one
    // walk of everything costs less than looking at each.
    const std::vector<std::string> changed =
        given.size() > kMaxChangedPaths ? std::vector<std::string>{} : given;
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        status_.lastResult = std::string("indexing failed: no pipe: ") + strerror(errno);
        LogError(status_.lastResult);
        return;
    }
    ChildLaunch launch;
    launch.argv.push_back(settings_.program);
    for (const std::string& arg : IndexWorkerArguments(settings_, folders, changed))
        launch.argv.push_back(arg);
    launch.stdoutFd = fds[1];
    launch.outputFile = settings_.workerLog;  // stderr (stdout is the pipe)
    if (!launch.outputFile.empty())
        unlink(launch.outputFile.c_str());
    launch.parentDeathSignal = SIGTERM;
    launch.niceness = kNiceness;
    std::string error;
    pid_ = StartChild(launch, error);
    close(fds[1]);
    if (pid_ < 0) {
        close(fds[0]);
        ++status_.runs;
        status_.lastResult = "indexing failed: " + error;
        LogError(status_.lastResult);
        Changed();
        return;
    }
    fd_ = fds[0];
    g_unix_set_fd_nonblocking(fd_, TRUE, nullptr);
    source_ = g_unix_fd_add(
        fd_, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
        [](gint, GIOCondition, gpointer self) -> gboolean {
            static_cast<IndexScheduler*>(self)->Read();
            return static_cast<IndexScheduler*>(self)->fd_ >= 0 ? G_SOURCE_CONTINUE
                                                                : G_SOURCE_REMOVE;
        },
        this);
    reported_ = false;
    buffer_.clear();
    status_.state = IndexStatus::kRunning;
    status_.progress = WorkerReport{};
    status_.rowsWritten = false;
    lastLogged_ = 0;
    std::string names;
    for (const MediaFolder& folder : folders)
        names += (names.empty() ? "" : ", ") + folder.path;
    if (!changed.empty())
        names = std::to_string(changed.size()) + " changed paths under " + names;
    LogInfo("indexing " + names + " (worker " + std::to_string(pid_) + ", " +
            std::to_string(settings_.workers) +
            (settings_.workers == 1 ? " probing process)" : " probing processes)"));
    Changed();
}

void IndexScheduler::Read() {
    char chunk[4096];
    for (;;) {
        const ssize_t n = read(fd_, chunk, sizeof chunk);
        if (n > 0) {
            buffer_.append(chunk, static_cast<size_t>(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        const bool ended = n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
        size_t newline;
        while ((newline = buffer_.find('\n')) != std::string::npos) {
            Handle(ParseWorkerReport(buffer_.substr(0, newline)));
            buffer_.erase(0, newline + 1);
        }
        if (ended)
            Finish();
        return;
    }
}

void IndexScheduler::Handle(const WorkerReport& report) {
    switch (report.kind) {
        case WorkerReport::kProgress: {
            status_.state = IndexStatus::kRunning;
            status_.progress = report;
            const time_t now = time(nullptr);
            if (now - lastLogged_ >= settings_.logSeconds) {
                lastLogged_ = now;
                LogInfo(DescribeIndexStatus(status_));
            }
            break;
        }
        case WorkerReport::kWaiting:
            status_.state = IndexStatus::kWaiting;
            LogInfo("indexing waits: " + report.text);
            break;
        case WorkerReport::kRowsWritten:
            status_.rowsWritten = true;
            LogInfo(DescribeIndexStatus(status_));
            if (indexChanged_)
                indexChanged_();
            break;
        case WorkerReport::kSummary: {
            reported_ = true;
            const size_t files = report.added + report.changed + report.unchanged;
            status_.lastResult =
                "index up to date: " + std::to_string(files) + " files (" +
                std::to_string(report.added) + " added, " + std::to_string(report.changed) +
                " changed, " + std::to_string(report.removed) + " removed, " +
                std::to_string(report.failed) + " failed) in " + Number(report.seconds, 1) + " s";
            LogInfo(status_.lastResult);
            break;
        }
        case WorkerReport::kError:
            reported_ = true;
            status_.lastResult = "indexing failed: " + report.text;
            LogError(status_.lastResult);
            break;
        case WorkerReport::kNone:
            return;
    }
    Changed();
}

void IndexScheduler::Finish() {
    if (source_ != 0)
        g_source_remove(source_);
    source_ = 0;
    close(fd_);
    fd_ = -1;
    int status = 0;
    if (!WaitChild(pid_, kStopGraceMs, status))
        status = StopChild(pid_, SIGKILL, 0);
    pid_ = -1;
    if (!reported_) {
        const std::string tail = Tail(settings_.workerLog);
        status_.lastResult = "indexing failed: the index worker " + DescribeWaitStatus(status) +
                             (tail.empty() ? "" : ": " + tail);
        LogError(status_.lastResult);
    }
    ++status_.runs;
    status_.lastFinished = time(nullptr);
    status_.state = IndexStatus::kIdle;
    status_.rowsWritten = false;
    if (indexChanged_)
        indexChanged_();
    Changed();
    if (hasPending_) {
        hasPending_ = false;
        StartRun(pending_);
    } else if (!pendingChanges_.empty()) {
        const std::vector<std::string> changed(pendingChanges_.begin(), pendingChanges_.end());
        pendingChanges_.clear();
        StartRun(folders_, changed);
    }
}

void IndexScheduler::Stop() {
    hasPending_ = false;
    pendingChanges_.clear();
    if (pid_ <= 0)
        return;
    if (source_ != 0)
        g_source_remove(source_);
    source_ = 0;
    StopChild(pid_, SIGTERM, kStopGraceMs);
    pid_ = -1;
    close(fd_);
    fd_ = -1;
    status_.state = IndexStatus::kIdle;
}

void IndexScheduler::Changed() {
    if (observer_)
        observer_(status_);
}

}  // namespace calyx_dms
