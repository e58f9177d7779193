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

std::string Seconds(double value) {
    char text[32];
    snprintf(text, sizeof text, "%.3f", value);
    return text;
}

}  // namespace

TranscodeJobs::TranscodeJobs(std::string worker, unsigned limit)
    : worker_(std::move(worker)), limit_(limit) {}

TranscodeJobs::~TranscodeJobs() {
    for (unsigned id : watches_)
        g_source_remove(id);
    for (pid_t pid : running_) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}

std::string TranscodeJobs::DefaultWorker() {
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        self[n] = '\0';
        std::string beside =
            std::string(self, 0, std::string(self).rfind('/') + 1) + "calyx-transcode";
        if (access(beside.c_str(), X_OK) == 0)
            return beside;
    }
    return CALYX_TRANSCODE_INSTALLED;
}

TranscodeJobs::Start TranscodeJobs::Launch(const std::string& file, const std::string& args,
                                           double start, double end, pid_t& pid, int& fd,
                                           std::string& error) {
    if (running_.size() >= limit_)
        return Start::kBusy;
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
        error = std::string("no pipe: ") + strerror(errno);
        return Start::kFailed;
    }
    std::vector<std::string> words = {worker_, "--input", file, "--args", args};
    if (start > 0) {
        words.push_back("--start");
        words.push_back(Seconds(start));
    }
    if (end >= 0) {
        words.push_back("--end");
        words.push_back(Seconds(end));
    }
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    // The child gets the pipe as its output, nothing to read, the server's error output, and
    // no other descriptor (sockets, the database connections).
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
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
    watches_.insert(g_child_watch_add(
        pid, [](GPid child, gint status, gpointer data) { Reaped(child, status, data); }, this));
    return Start::kStarted;
}

void TranscodeJobs::Reaped(int pid, int status, void* data) {
    auto* self = static_cast<TranscodeJobs*>(data);
    self->running_.erase(pid);
    // The watch is removed by GLib once it has fired; forget its id with it.
    GSource* current = g_main_current_source();
    if (current != nullptr)
        self->watches_.erase(g_source_get_id(current));
    g_spawn_close_pid(pid);
    if (WIFSIGNALED(status) && WTERMSIG(status) != SIGKILL)
        Calyx::DMSPrintf(Calyx::DMSLOG_ERR,
                         "Error: calyx-dms - transcoding worker %d died of signal %d\n", pid,
                         WTERMSIG(status));
}

void TranscodeJobs::Stop(pid_t pid) {
    if (running_.count(pid) > 0)
        kill(pid, SIGKILL);
}

}  // namespace calyx_dms
