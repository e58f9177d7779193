// The server's own PostgreSQL cluster, used when no database server is named: Debian's
// server programs run a cluster kept under the server's state folder, reachable only
// through a Unix socket in a folder of the server's user, and stopped with the server.
#ifndef CALYX_DMS_STORE_PRIVATE_CLUSTER_H
#define CALYX_DMS_STORE_PRIVATE_CLUSTER_H

#include <sys/types.h>

#include <string>

namespace calyx_dms {

// The folder of PostgreSQL's server programs: `requested` when not empty (it must hold
// initdb and postgres), else the newest /usr/lib/postgresql/<version>/bin that does (under
// `root`, for tests). "" with `error` saying what to install when there is none.
std::string FindServerPrograms(const std::string& requested, std::string& error,
                               const std::string& root = "");

// The longest folder path whose socket file (".s.PGSQL.<port>" in it) fits a Unix socket
// address (107 bytes).
constexpr size_t kMaxSocketFolderLength = 107 - sizeof("/.s.PGSQL.5432") + 1;

// The socket folder for a cluster kept in `clusterFolder`: "<clusterFolder>/run" when its
// socket path fits, else "<tmp>/calyx-<uid>-<hash of clusterFolder>" (tmp: $TMPDIR or
// /tmp). Only the path; nothing is created.
std::string SocketFolderFor(const std::string& clusterFolder, uid_t uid);

// A postmaster recorded in a data folder's postmaster.pid.
struct RecordedPostmaster {
    enum State { kNone, kRunning, kStale } state = kNone;
    pid_t pid = 0;
};

// kRunning when the pid file names a live postgres process working in `dataFolder` (one a
// killed server left behind), kStale when it names a process that is gone or is another
// program, kNone without a pid file.
RecordedPostmaster FindRecordedPostmaster(const std::string& dataFolder);

struct ClusterSettings {
    std::string folder;                 // the cluster's folder, "<state>/postgresql"
    std::string programs;               // FindServerPrograms's folder
    std::string serviceUser = "calyx";  // the user the cluster runs as when started by root
    int startSeconds = 60;              // how long the server may take to accept connections
};

class PrivateCluster {
public:
    explicit PrivateCluster(ClusterSettings settings);
    ~PrivateCluster();  // Stop()
    PrivateCluster(const PrivateCluster&) = delete;
    PrivateCluster& operator=(const PrivateCluster&) = delete;

    // Makes the cluster on first use (initdb with the role "admin"), stops a postmaster a
    // killed server left behind, starts the server and waits until it accepts
    // connections, and creates the database "calyx". False with `error` (the programs'
    // own words included) when any step fails; nothing is left running then.
    bool Start(std::string& error);

    // Fast shutdown: connections are ended, the server writes its checkpoint and exits.
    // Waits for it (at most 30 s, then it is killed).
    void Stop();

    // False (with `why`) when the server started by Start has ended since.
    bool Alive(std::string& why);

    const std::string& socketFolder() const { return socketFolder_; }
    int port() const { return kPort; }
    const std::string& dataFolder() const { return dataFolder_; }
    pid_t pid() const { return pid_; }
    // What the last start did first: "created", "reused" (and "stopped a leftover").
    const std::string& history() const { return history_; }

private:
    static constexpr int kPort = 5432;  // names the socket file only: there is no TCP

    bool PrepareUser(std::string& error);
    bool PrepareFolders(const std::string& major, std::string& error);
    bool InitDb(std::string& error);
    bool HandleLeftover(std::string& error);
    bool StartServer(std::string& error);
    bool WaitReady(std::string& error);
    bool CreateDatabase(std::string& error);
    std::string ServerLogTail() const;

    ClusterSettings settings_;
    std::string dataFolder_;
    std::string socketFolder_;
    std::string history_;
    pid_t pid_ = -1;
    off_t logOffset_ = 0;                 // where this start's lines begin in server.log
    bool socketInTmp_ = false;            // the socket folder is a temporary folder's, not ours
    uid_t uid_ = static_cast<uid_t>(-1);  // set when the cluster runs as another user
    gid_t gid_ = static_cast<gid_t>(-1);
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_STORE_PRIVATE_CLUSTER_H
