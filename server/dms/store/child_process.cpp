#include "store/child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <map>

extern char** environ;

namespace calyx_dms {

namespace {

long long NowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// The server's environment with the launch's entries added or replacing.
std::vector<std::string> MergedEnvironment(const std::vector<std::string>& extra) {
    std::map<std::string, std::string> byName;
    std::vector<std::string> order;
    auto put = [&](const std::string& entry) {
        const std::string name = entry.substr(0, entry.find('='));
        if (byName.count(name) == 0)
            order.push_back(name);
        byName[name] = entry;
    };
    for (char** e = environ; e != nullptr && *e != nullptr; ++e)
        put(*e);
    for (const std::string& entry : extra)
        put(entry);
    std::vector<std::string> merged;
    merged.reserve(order.size());
    for (const std::string& name : order)
        merged.push_back(byName[name]);
    return merged;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// In the child, between fork and exec: only async-signal-safe calls. On failure the errno
// and the step go to `report` and the child ends.
[[noreturn]] void ChildFail(int report, int step) {
    int message[2] = {step, errno};
    ssize_t ignored = write(report, message, sizeof message);
    (void)ignored;
    _exit(127);
}

// Closes every descriptor from `first` on but `keep`.
void CloseDescriptorsFrom(int first, int keep) {
    const unsigned top = ~0U;
    const bool below = keep <= first || syscall(SYS_close_range, first, keep - 1, 0) == 0;
    if (below && syscall(SYS_close_range, keep + 1, top, 0) == 0)
        return;
    for (int fd = first; fd < 65536; ++fd)  // kernels before 5.9
        if (fd != keep)
            close(fd);
}

enum Step { kStepOutput = 1, kStepUser, kStepDirectory, kStepExec, kStepParent };

const char* StepName(int step) {
    switch (step) {
        case kStepOutput:
            return "cannot open its output file";
        case kStepUser:
            return "cannot change to its user";
        case kStepDirectory:
            return "cannot change to its folder";
        case kStepExec:
            return "cannot be started";
        default:
            return "cannot be set up";
    }
}

}  // namespace

pid_t StartChild(const ChildLaunch& launch, std::string& error) {
    if (launch.argv.empty()) {
        error = "no program to start";
        return -1;
    }
    const std::string program = launch.program.empty() ? launch.argv[0] : launch.program;
    std::vector<std::string> args = launch.argv;
    std::vector<std::string> env = MergedEnvironment(launch.environment);
    std::vector<char*> argv = Pointers(args);
    std::vector<char*> envp = Pointers(env);
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        error = std::string("cannot start ") + launch.argv[0] + ": " + strerror(errno);
        return -1;
    }
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        error = std::string("cannot start ") + launch.argv[0] + ": " + strerror(errno);
        close(report[0]);
        close(report[1]);
        return -1;
    }
    if (pid == 0) {
        // The child: signals as a fresh program expects them.
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        for (int s : {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD})
            signal(s, SIG_DFL);
        if (launch.ownProcessGroup)
            setpgid(0, 0);
        const int devnull = open("/dev/null", O_RDONLY);
        if (devnull >= 0) {
            dup2(devnull, STDIN_FILENO);
            close(devnull);
        }
        if (!launch.outputFile.empty()) {
            const int out = open(launch.outputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            if (out < 0)
                ChildFail(report[1], kStepOutput);
            dup2(out, STDOUT_FILENO);
            dup2(out, STDERR_FILENO);
            close(out);
        }
        if (launch.stdoutFd >= 0)
            dup2(launch.stdoutFd, STDOUT_FILENO);
        if (launch.uid != static_cast<uid_t>(-1)) {
            if (setgroups(1, &launch.gid) != 0 || setgid(launch.gid) != 0 ||
                setuid(launch.uid) != 0)
                ChildFail(report[1], kStepUser);
        }
        // After the user change, which would clear it.
        if (launch.parentDeathSignal != 0) {
            prctl(PR_SET_PDEATHSIG, launch.parentDeathSignal);
            if (getppid() != parent)  // the server died before the line above
                _exit(1);
        }
        if (launch.niceness != 0)
            setpriority(PRIO_PROCESS, 0, launch.niceness);
        if (!launch.workingDirectory.empty() && chdir(launch.workingDirectory.c_str()) != 0)
            ChildFail(report[1], kStepDirectory);
        // Every descriptor but the three standard ones and the report pipe (close-on-exec).
        CloseDescriptorsFrom(3, report[1]);
        execve(program.c_str(), argv.data(), envp.data());
        ChildFail(report[1], kStepExec);
    }
    close(report[1]);
    int message[2] = {0, 0};
    ssize_t got;
    do {
        got = read(report[0], message, sizeof message);
    } while (got < 0 && errno == EINTR);
    close(report[0]);
    if (got == static_cast<ssize_t>(sizeof message)) {
        error = launch.argv[0] + " " + StepName(message[0]) + ": " + strerror(message[1]);
        int status = 0;
        waitpid(pid, &status, 0);
        return -1;
    }
    return pid;
}

bool WaitChild(pid_t pid, int timeoutMs, int& status) {
    const long long deadline = NowMs() + timeoutMs;
    for (;;) {
        const pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid || (done < 0 && errno == ECHILD)) {
            if (done < 0)
                status = -1;
            return true;
        }
        if (NowMs() >= deadline)
            return false;
        timespec pause{0, 20L * 1000 * 1000};
        nanosleep(&pause, nullptr);
    }
}

int StopChild(pid_t pid, int signal, int graceMs) {
    int status = -1;
    kill(pid, signal);
    if (WaitChild(pid, graceMs, status))
        return status;
    kill(pid, SIGKILL);
    WaitChild(pid, 10000, status);
    return status;
}

std::string DescribeWaitStatus(int status) {
    if (status == -1)
        return "ended";
    if (WIFEXITED(status))
        return "exited with status " + std::to_string(WEXITSTATUS(status));
    if (WIFSIGNALED(status))
        return std::string("was killed by signal ") + std::to_string(WTERMSIG(status)) + " (" +
               strsignal(WTERMSIG(status)) + ")";
    return "ended";
}

bool RunChild(const ChildLaunch& launch, int timeoutMs, std::string& error) {
    const pid_t pid = StartChild(launch, error);
    if (pid < 0)
        return false;
    int status = 0;
    if (!WaitChild(pid, timeoutMs, status)) {
        StopChild(pid, SIGTERM, 2000);
        error =
            launch.argv[0] + " did not finish within " + std::to_string(timeoutMs / 1000) + " s";
        return false;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return true;
    error = launch.argv[0] + " " + DescribeWaitStatus(status);
    return false;
}

}  // namespace calyx_dms
