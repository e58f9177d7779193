// Programs the server starts: the private database server, its initdb, the index worker.
// Each is a fresh program started by fork and exec (nothing of the threaded server runs in
// the child but the few system calls up to the exec), so it never inherits the server's
// threads, locks or sanitizer state.
#ifndef CALYX_DMS_STORE_CHILD_PROCESS_H
#define CALYX_DMS_STORE_CHILD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace calyx_dms {

struct ChildLaunch {
    std::string program;            // the file to run; "" runs argv[0]
    std::vector<std::string> argv;  // argv[0] names the program to itself
    // Extra environment entries ("NAME=value"), added to (or replacing in) the server's own.
    std::vector<std::string> environment;
    std::string outputFile;  // stdout and stderr appended here; "" keeps the server's
    int stdoutFd = -1;       // when >= 0: the child's stdout (overrides outputFile for it)
    uid_t uid = static_cast<uid_t>(-1);  // when set (with gid): the user the child runs as
    gid_t gid = static_cast<gid_t>(-1);
    int parentDeathSignal = 0;     // sent to the child when the server dies (0: none)
    bool ownProcessGroup = true;   // a terminal's Ctrl-C reaches the server only
    int niceness = 0;              // added to the child's scheduling niceness
    std::string workingDirectory;  // "" keeps the server's
};

// Starts the program; its pid, or -1 with `error` set (the program's absence and a failed
// exec are reported here too, through a close-on-exec pipe).
pid_t StartChild(const ChildLaunch& launch, std::string& error);

// Waits at most `timeoutMs` for the child to end. True when it ended (its wait status in
// `status`), false when it still runs.
bool WaitChild(pid_t pid, int timeoutMs, int& status);

// Sends `signal`, waits up to `graceMs`; then SIGKILL and waits for it. Returns the wait
// status (or -1 when the pid was not a child of this process).
int StopChild(pid_t pid, int signal, int graceMs);

// "exited with status 3", "killed by signal 9" from a wait status.
std::string DescribeWaitStatus(int status);

// Runs the program to its end; true when it exited with status 0. `error` describes a
// failure to start or a non-zero end.
bool RunChild(const ChildLaunch& launch, int timeoutMs, std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_STORE_CHILD_PROCESS_H
