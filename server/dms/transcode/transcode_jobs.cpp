#include "transcode/transcode_jobs.h"

#include <fcntl.h>
#include <glib.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string.h>

#include <vector>

#include "calyx/core.h"

extern char** environ;

namespace calyx_dms {

namespace {

// How often ended workers are looked for: well within the second a client that left may
// wait for its worker to be gone.
constexpr guint kReapMilliseconds = 100;

std::string Seconds(double value) {
    char text[32];
    snprintf(text, sizeof text, "%.3f", value);
    return text;
}

}  // namespace

TranscodeJobs::TranscodeJobs(std::string worker, unsigned limit)
    : worker_(std::move(worker)), limit_(limit) {}

TranscodeJobs::~TranscodeJobs() {
    if (reaper_ != 0)
        g_source_remove(reaper_);
    for (pid_t pid : running_) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}

TranscodeJobs::Start TranscodeJobs::Launch(const std::string& file, const std::string& args,
                                           double start, double end, pid_t& pid, int& fd,
                                           std::string& error, int input) {
    if (running_.size() >= limit_)
        return Start::kBusy;
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
        error = std::string("no pipe: ") + strerror(errno);
        return Start::kFailed;
    }
    // "/dev/stdin" reopens the file the descriptor names, whatever its path now leads to.
    std::vector<std::string> words = {worker_, "--input", input >= 0 ? "/dev/stdin" : file,
                                      "--args", args};
    if (start > 0) {
        words.push_back("--start");
        words.push_back(Seconds(start));
    }
    if (end >= 0) {
        words.push_back("--end");
        words.push_back(Seconds(end));
    }
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    // The child gets the pipe as its output, the checked file or nothing to read, the
    // server's error output, and no other descriptor (sockets, the database connections).
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input >= 0)
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    // Signals the server ignores or blocks must not reach the worker so.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    int rc = posix_spawn(&pid, worker_.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(pipeFds[1]);
    if (rc != 0) {
        close(pipeFds[0]);
        error = "cannot start " + worker_ + ": " + strerror(rc);
        return Start::kFailed;
    }
    fcntl(pipeFds[0], F_SETFL, fcntl(pipeFds[0], F_GETFL) | O_NONBLOCK);
    fd = pipeFds[0];
    running_.insert(pid);
    if (reaper_ == 0)
        reaper_ = g_timeout_add(kReapMilliseconds, Reap, this);
    return Start::kStarted;
}

int TranscodeJobs::Reap(void* data) {
    auto* self = static_cast<TranscodeJobs*>(data);
    for (auto it = self->running_.begin(); it != self->running_.end();) {
        int status = 0;
        if (waitpid(*it, &status, WNOHANG) != *it) {
            ++it;
            continue;
        }
        if (WIFSIGNALED(status) && WTERMSIG(status) != SIGKILL)
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR,
                             "Error: calyx-dms - transcoding worker %d died of signal %d\n",
                             static_cast<int>(*it), WTERMSIG(status));
        it = self->running_.erase(it);
    }
    if (!self->running_.empty())
        return G_SOURCE_CONTINUE;
    self->reaper_ = 0;
    return G_SOURCE_REMOVE;
}

void TranscodeJobs::Stop(pid_t pid) {
    if (running_.count(pid) > 0)
        kill(pid, SIGKILL);
}

}  // namespace calyx_dms
