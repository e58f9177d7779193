#include "indexing/thumbnail_backlog.h"

#include <errno.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "calyx/core.h"
#include "store/child_process.h"

namespace calyx_dms {

std::vector<std::string> ThumbnailWorkerArguments(const std::string& thumbnailFolder,
                                                  const std::vector<std::string>& objectIds) {
    std::vector<std::string> args = {"--thumbnail-worker", "--thumbnails", thumbnailFolder};
    args.insert(args.end(), objectIds.begin(), objectIds.end());
    return args;
}

namespace {

constexpr int kNiceness = 10;  // thumbnails give way to serving
constexpr int kStopGraceMs = 2000;
// Objects remembered as asked for; beyond this the memory starts again (asking twice
// costs one look at the row).
constexpr size_t kMaxRemembered = 200000;

void Log(Calyx::DMSLOG_LEVEL level, const std::string& line) {
    if (Calyx::DMSLOGGetLevel() >= level)
        Calyx::DMSPrintf(level, "calyx-dms: %s\n", line.c_str());
}

}  // namespace

ThumbnailBacklog::ThumbnailBacklog(ThumbnailBacklogSettings settings)
    : settings_(std::move(settings)) {}

ThumbnailBacklog::~ThumbnailBacklog() {
    Stop();
}

void ThumbnailBacklog::Want(const std::vector<std::string>& objectIds) {
    if (settings_.thumbnailFolder.empty())
        return;
    for (const std::string& id : objectIds) {
        if (asked_.size() >= kMaxRemembered)
            asked_.clear();
        if (asked_.insert(id).second)
            queue_.push_back(id);
    }
    if (pid_ < 0)
        StartWorker();
}

void ThumbnailBacklog::StartWorker() {
    if (queue_.empty())
        return;
    std::vector<std::string> batch;
    while (!queue_.empty() && batch.size() < kBatch) {
        batch.push_back(queue_.front());
        queue_.pop_front();
    }
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        Log(Calyx::DMSLOG_ERR, std::string("thumbnails not made: no pipe: ") + strerror(errno));
        return;
    }
    ChildLaunch launch;
    launch.argv.push_back(settings_.program);
    for (const std::string& arg : ThumbnailWorkerArguments(settings_.thumbnailFolder, batch))
        launch.argv.push_back(arg);
    launch.stdoutFd = fds[1];
    launch.outputFile = settings_.workerLog;  // stderr (stdout is the pipe)
    launch.parentDeathSignal = SIGTERM;
    launch.niceness = kNiceness;
    std::string error;
    pid_ = StartChild(launch, error);
    close(fds[1]);
    if (pid_ < 0) {
        close(fds[0]);
        Log(Calyx::DMSLOG_ERR, "thumbnails not made: " + error);
        return;
    }
    fd_ = fds[0];
    said_.clear();
    Log(Calyx::DMSLOG_INFO, "making the thumbnails of " + std::to_string(batch.size()) +
                                " items in the background (worker " + std::to_string(pid_) + ")");
    g_unix_set_fd_nonblocking(fd_, TRUE, nullptr);
    source_ = g_unix_fd_add(
        fd_, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
        [](gint, GIOCondition, gpointer self) -> gboolean {
            return static_cast<ThumbnailBacklog*>(self)->Read() ? G_SOURCE_CONTINUE
                                                                : G_SOURCE_REMOVE;
        },
        this);
}

bool ThumbnailBacklog::Read() {
    char chunk[1024];
    for (;;) {
        const ssize_t n = read(fd_, chunk, sizeof chunk);
        if (n > 0) {
            if (said_.size() < 4096)
                said_.append(chunk, static_cast<size_t>(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return true;
        Finish();
        return false;
    }
}

void ThumbnailBacklog::Finish() {
    source_ = 0;  // Read's caller removes it (the next worker gets a source of its own)
    close(fd_);
    fd_ = -1;
    int status = 0;
    if (!WaitChild(pid_, kStopGraceMs, status))
        status = StopChild(pid_, SIGKILL, 0);
    pid_ = -1;
    while (!said_.empty() && (said_.back() == '\n' || said_.back() == '\r'))
        said_.pop_back();
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        Log(Calyx::DMSLOG_INFO, said_);
    else
        Log(Calyx::DMSLOG_ERR, "the thumbnail worker " + DescribeWaitStatus(status) +
                                   (said_.empty() ? "" : ": " + said_));
    StartWorker();
}

void ThumbnailBacklog::Stop() {
    queue_.clear();
    if (pid_ <= 0)
        return;
    if (source_ != 0)
        g_source_remove(source_);
    source_ = 0;
    StopChild(pid_, SIGTERM, kStopGraceMs);
    pid_ = -1;
    close(fd_);
    fd_ = -1;
}

}  // namespace calyx_dms
