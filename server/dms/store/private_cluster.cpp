#include "store/private_cluster.h"

#include <dirent.h>
#include <errno.h>
#include <ftw.h>
#include <libpq-fe.h>
#include <pwd.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "store/child_process.h"

namespace calyx_dms {

namespace {

constexpr off_t kServerLogLimit = off_t{8} * 1024 * 1024;  // a longer log is moved to server.log.1
constexpr int kStopGraceMs = 30000;

bool IsExecutable(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

bool HasServerPrograms(const std::string& folder) {
    return IsExecutable(folder + "/initdb") && IsExecutable(folder + "/postgres");
}

// "15", "9.6" and "16beta1" compare as their numbers, the newest last.
bool OlderVersion(const std::string& a, const std::string& b) {
    const double va = strtod(a.c_str(), nullptr), vb = strtod(b.c_str(), nullptr);
    return va != vb ? va < vb : a < b;
}

std::string ReadWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string FirstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

std::string LinkTarget(const std::string& link) {
    char target[4096];
    const ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
    return n < 0 ? "" : std::string(target, static_cast<size_t>(n));
}

std::string RealPath(const std::string& path) {
    char* real = realpath(path.c_str(), nullptr);
    std::string result = real ? real : path;
    free(real);
    return result;
}

bool MakeFolder(const std::string& path, mode_t mode, std::string& error) {
    std::string partial;
    size_t from = 0;
    while (from != std::string::npos) {
        const size_t slash = path.find('/', from + 1);
        partial = path.substr(0, slash);
        from = slash;
        if (partial.empty())
            continue;
        if (mkdir(partial.c_str(), from == std::string::npos ? mode : 0755) != 0 &&
            errno != EEXIST) {
            error = "cannot create " + partial + ": " + strerror(errno);
            return false;
        }
    }
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        error = path + " is not a folder";
        return false;
    }
    return true;
}

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

// Removes a folder and everything in it (symbolic links are removed, never followed).
void RemoveTree(const std::string& path) {
    nftw(path.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

uint32_t Fnv1a(const std::string& text) {
    uint32_t hash = 2166136261u;
    for (unsigned char c : text)
        hash = (hash ^ c) * 16777619u;
    return hash;
}

// The first line of a pid file as a pid, or 0.
pid_t PidOfFile(const std::string& path) {
    std::ifstream in(path);
    long pid = 0;
    if (!(in >> pid) || pid <= 0)
        return 0;
    return static_cast<pid_t>(pid);
}

// A live process; one that has ended but is not reaped yet (a zombie) counts as gone.
bool ProcessExists(pid_t pid) {
    if (kill(pid, 0) != 0 && errno != EPERM)
        return false;
    const std::string stat = ReadWhole("/proc/" + std::to_string(pid) + "/stat");
    const size_t close = stat.rfind(')');
    return close == std::string::npos || close + 2 >= stat.size() || stat[close + 2] != 'Z';
}

// A stale lock file (the pid it names is gone, or is some other program) is removed:
// PostgreSQL would refuse to start while its pid names any live process.
void RemoveIfStale(const std::string& lockFile, bool stale) {
    if (stale)
        unlink(lockFile.c_str());
}

void SleepMs(int ms) {
    timespec pause{ms / 1000, static_cast<long>(ms % 1000) * 1000000L};
    nanosleep(&pause, nullptr);
}

}  // namespace

std::string FindServerPrograms(const std::string& requested, std::string& error,
                               const std::string& root) {
    if (!requested.empty()) {
        if (HasServerPrograms(requested))
            return requested;
        error =
            "--pg-bindir " + requested + " holds no PostgreSQL server programs (initdb, postgres)";
        return "";
    }
    const std::string base = root + "/usr/lib/postgresql";
    std::vector<std::string> versions;
    if (DIR* dir = opendir(base.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name != "." && name != ".." && HasServerPrograms(base + "/" + name + "/bin"))
                versions.push_back(name);
        }
        closedir(dir);
    }
    if (versions.empty()) {
        error =
            "the PostgreSQL server programs are not installed (no "
            "/usr/lib/postgresql/*/bin/initdb): "
            "install the package postgresql, name them with --pg-bindir, or name a database "
            "server with --database";
        return "";
    }
    std::sort(versions.begin(), versions.end(), OlderVersion);
    return base + "/" + versions.back() + "/bin";
}

std::string SocketFolderFor(const std::string& clusterFolder, uid_t uid) {
    std::string preferred = clusterFolder + "/run";
    if (preferred.size() <= kMaxSocketFolderLength)
        return preferred;
    const char* tmp = getenv("TMPDIR");
    std::string base = tmp != nullptr && tmp[0] == '/' ? tmp : "/tmp";
    char name[64];
    snprintf(name, sizeof name, "/calyx-%u-%08x", static_cast<unsigned>(uid), Fnv1a(clusterFolder));
    if (base.size() + strlen(name) > kMaxSocketFolderLength)
        base = "/tmp";
    return base + name;
}

RecordedPostmaster FindRecordedPostmaster(const std::string& dataFolder) {
    RecordedPostmaster found;
    found.pid = PidOfFile(dataFolder + "/postmaster.pid");
    if (found.pid == 0) {
        found.state = access((dataFolder + "/postmaster.pid").c_str(), F_OK) == 0
                          ? RecordedPostmaster::kStale
                          : RecordedPostmaster::kNone;
        return found;
    }
    const std::string proc = "/proc/" + std::to_string(found.pid);
    // A postmaster works in its data folder; a pid reused by another program does not.
    const bool ours = ProcessExists(found.pid) &&
                      FirstLine(ReadWhole(proc + "/comm")) == "postgres" &&
                      LinkTarget(proc + "/cwd") == RealPath(dataFolder);
    found.state = ours ? RecordedPostmaster::kRunning : RecordedPostmaster::kStale;
    return found;
}

PrivateCluster::PrivateCluster(ClusterSettings settings) : settings_(std::move(settings)) {}

PrivateCluster::~PrivateCluster() {
    Stop();
    // A socket folder in a shared temporary folder goes with the server (it is empty now).
    if (socketInTmp_)
        rmdir(socketFolder_.c_str());
}

bool PrivateCluster::Start(std::string& error) {
    history_.clear();
    std::string versionText;
    {
        // The major version names the data folder: a newer PostgreSQL starts a new one.
        int fds[2];
        if (pipe(fds) != 0) {
            error = std::string("cannot start postgres: ") + strerror(errno);
            return false;
        }
        ChildLaunch launch;
        launch.argv = {settings_.programs + "/postgres", "-V"};
        launch.stdoutFd = fds[1];
        launch.ownProcessGroup = false;
        const pid_t pid = StartChild(launch, error);
        close(fds[1]);
        char buffer[256];
        ssize_t n;
        while ((n = read(fds[0], buffer, sizeof buffer)) > 0)
            versionText.append(buffer, static_cast<size_t>(n));
        close(fds[0]);
        int status = 0;
        if (pid < 0 || !WaitChild(pid, 10000, status)) {
            if (pid >= 0)
                StopChild(pid, SIGKILL, 0);
            return false;
        }
    }
    // "postgres (PostgreSQL) 15.18 (Debian ...)": the number before the first dot.
    const size_t digit = versionText.find_first_of("0123456789");
    const std::string major =
        digit == std::string::npos
            ? ""
            : versionText.substr(digit, versionText.find_first_not_of("0123456789", digit) - digit);
    if (major.empty()) {
        error =
            settings_.programs + "/postgres -V did not name a version: " + FirstLine(versionText);
        return false;
    }
    if (!PrepareUser(error) || !PrepareFolders(major, error))
        return false;
    if (access((dataFolder_ + "/PG_VERSION").c_str(), F_OK) != 0) {
        if (!InitDb(error))
            return false;
        history_ = "created";
    } else {
        history_ = "reused";
    }
    if (!HandleLeftover(error))
        return false;
    // A killed server's backends may hold the old shared memory for a moment longer.
    for (int attempt = 0;; ++attempt) {
        if (!StartServer(error))
            return false;
        if (WaitReady(error))
            break;
        Stop();
        if (attempt >= 4 || error.find("shared memory") == std::string::npos)
            return false;
        SleepMs(1000);
    }
    if (!CreateDatabase(error)) {
        Stop();
        return false;
    }
    return true;
}

bool PrivateCluster::PrepareUser(std::string& error) {
    if (geteuid() != 0)
        return true;
    // PostgreSQL refuses to run as root: the cluster runs as the service's user.
    const passwd* user = getpwnam(settings_.serviceUser.c_str());
    if (user == nullptr) {
        error = "PostgreSQL does not run as root, and there is no user \"" + settings_.serviceUser +
                "\" to run the private database as: run calyx-dms as an unprivileged user, "
                "create that user (adduser --system --group " +
                settings_.serviceUser +
                "; the calyx-dms package does), or name a database server "
                "with --database";
        return false;
    }
    uid_ = user->pw_uid;
    gid_ = user->pw_gid;
    return true;
}

bool PrivateCluster::PrepareFolders(const std::string& major, std::string& error) {
    if (!MakeFolder(settings_.folder, 0700, error))
        return false;
    const uid_t owner = uid_ != static_cast<uid_t>(-1) ? uid_ : geteuid();
    if (uid_ != static_cast<uid_t>(-1) && chown(settings_.folder.c_str(), uid_, gid_) != 0) {
        error = "cannot give " + settings_.folder + " to the user " + settings_.serviceUser + ": " +
                strerror(errno);
        return false;
    }
    dataFolder_ = settings_.folder + "/" + major;
    socketFolder_ = SocketFolderFor(RealPath(settings_.folder), owner);
    socketInTmp_ = socketFolder_ != RealPath(settings_.folder) + "/run";
    if (mkdir(socketFolder_.c_str(), 0700) != 0 && errno != EEXIST) {
        error = "cannot create the socket folder " + socketFolder_ + ": " + strerror(errno);
        return false;
    }
    if (uid_ != static_cast<uid_t>(-1) && lchown(socketFolder_.c_str(), uid_, gid_) != 0) {
        error = "cannot give " + socketFolder_ + " to the user " + settings_.serviceUser + ": " +
                strerror(errno);
        return false;
    }
    // A folder in a shared /tmp must be ours alone: nobody else may place the socket.
    struct stat st {};
    if (lstat(socketFolder_.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != owner ||
        (st.st_mode & 077) != 0) {
        error = "the socket folder " + socketFolder_ +
                " is not a private folder of the database's user (mode 0700)";
        return false;
    }
    return true;
}

bool PrivateCluster::InitDb(std::string& error) {
    // Made aside and renamed when complete, so that a cluster is never half made.
    const std::string fresh = dataFolder_ + ".new";
    RemoveTree(fresh);
    ChildLaunch launch;
    launch.argv = {settings_.programs + "/initdb",
                   "-D",
                   fresh,
                   "-U",
                   "admin",
                   "-A",
                   "trust",
                   "-E",
                   "UTF8",
                   "--locale=C.UTF-8",
                   "--no-instructions"};
    launch.outputFile = settings_.folder + "/initdb.log";
    unlink(launch.outputFile.c_str());
    launch.uid = uid_;
    launch.gid = gid_;
    launch.workingDirectory = settings_.folder;
    if (!RunChild(launch, 300000, error)) {
        error += ":\n" + ReadWhole(launch.outputFile);
        RemoveTree(fresh);
        return false;
    }
    if (rename(fresh.c_str(), dataFolder_.c_str()) != 0) {
        error = "cannot rename " + fresh + ": " + strerror(errno);
        return false;
    }
    return true;
}

bool PrivateCluster::HandleLeftover(std::string& error) {
    RecordedPostmaster recorded = FindRecordedPostmaster(dataFolder_);
    if (recorded.state == RecordedPostmaster::kRunning) {
        // Left by a server that was killed: stop it, so that the one we start is our
        // child and ends with us.
        kill(recorded.pid, SIGINT);
        for (int waited = 0; waited < kStopGraceMs && ProcessExists(recorded.pid); waited += 50)
            SleepMs(50);
        if (ProcessExists(recorded.pid)) {
            kill(recorded.pid, SIGQUIT);
            for (int waited = 0; waited < 5000 && ProcessExists(recorded.pid); waited += 50)
                SleepMs(50);
        }
        if (ProcessExists(recorded.pid)) {
            error = "a PostgreSQL server (pid " + std::to_string(recorded.pid) +
                    ") left running on " + dataFolder_ + " does not stop";
            return false;
        }
        history_ += ", stopped a server left running";
        recorded = FindRecordedPostmaster(dataFolder_);
    }
    RemoveIfStale(dataFolder_ + "/postmaster.pid", recorded.state == RecordedPostmaster::kStale);
    const std::string socketLock = socketFolder_ + "/.s.PGSQL." + std::to_string(kPort) + ".lock";
    const pid_t lockPid = PidOfFile(socketLock);
    RemoveIfStale(socketLock, lockPid != 0 && !ProcessExists(lockPid));
    return true;
}

bool PrivateCluster::StartServer(std::string& error) {
    const std::string log = settings_.folder + "/server.log";
    struct stat st {};
    if (stat(log.c_str(), &st) == 0 && st.st_size > kServerLogLimit)
        rename(log.c_str(), (log + ".1").c_str());
    ChildLaunch launch;
    launch.argv = {settings_.programs + "/postgres",
                   "-D",
                   dataFolder_,
                   "-p",
                   std::to_string(kPort),
                   "-c",
                   "listen_addresses=",
                   "-c",
                   "unix_socket_directories=\"" + socketFolder_ + "\"",
                   "-c",
                   "unix_socket_permissions=0700"};
    launch.outputFile = log;
    launch.uid = uid_;
    launch.gid = gid_;
    // A server that outlives us would keep the cluster locked: fast shutdown if we die.
    launch.parentDeathSignal = SIGINT;
    launch.workingDirectory = dataFolder_;
    logOffset_ = stat(log.c_str(), &st) == 0 ? st.st_size : 0;
    pid_ = StartChild(launch, error);
    return pid_ > 0;
}

bool PrivateCluster::WaitReady(std::string& error) {
    const std::string conninfo = "host='" + socketFolder_ + "' port=" + std::to_string(kPort) +
                                 " user=admin dbname=postgres connect_timeout=5";
    for (int waited = 0; waited < settings_.startSeconds * 1000; waited += 100) {
        int status = 0;
        if (WaitChild(pid_, 0, status)) {
            pid_ = -1;
            error = "the PostgreSQL server " + DescribeWaitStatus(status) + " at start:\n" +
                    ServerLogTail();
            return false;
        }
        if (PQping(conninfo.c_str()) == PQPING_OK)
            return true;
        SleepMs(100);
    }
    error = "the PostgreSQL server did not accept connections within " +
            std::to_string(settings_.startSeconds) + " s:\n" + ServerLogTail();
    return false;
}

bool PrivateCluster::CreateDatabase(std::string& error) {
    const std::string conninfo = "host='" + socketFolder_ + "' port=" + std::to_string(kPort) +
                                 " user=admin dbname=postgres";
    std::unique_ptr<PGconn, decltype(&PQfinish)> conn(PQconnectdb(conninfo.c_str()), PQfinish);
    if (!conn || PQstatus(conn.get()) != CONNECTION_OK) {
        error = std::string("cannot connect to the private database server: ") +
                (conn ? PQerrorMessage(conn.get()) : "out of memory");
        return false;
    }
    std::unique_ptr<PGresult, decltype(&PQclear)> found(
        PQexec(conn.get(), "SELECT 1 FROM pg_database WHERE datname = 'calyx'"), PQclear);
    if (PQresultStatus(found.get()) != PGRES_TUPLES_OK) {
        error = std::string("cannot read the database list: ") + PQerrorMessage(conn.get());
        return false;
    }
    if (PQntuples(found.get()) > 0)
        return true;
    std::unique_ptr<PGresult, decltype(&PQclear)> made(
        PQexec(conn.get(), "CREATE DATABASE calyx ENCODING 'UTF8' TEMPLATE template0"), PQclear);
    if (PQresultStatus(made.get()) != PGRES_COMMAND_OK) {
        error = std::string("cannot create the database \"calyx\": ") + PQerrorMessage(conn.get());
        return false;
    }
    return true;
}

void PrivateCluster::Stop() {
    if (pid_ <= 0)
        return;

    int status = 0;
    kill(pid_, SIGINT);
    if (!WaitChild(pid_, kStopGraceMs, status)) {
        kill(pid_, SIGQUIT);
        if (!WaitChild(pid_, 5000, status)) {
            kill(pid_, SIGKILL);
            WaitChild(pid_, 5000, status);
        }
    }
    pid_ = -1;
}

bool PrivateCluster::Alive(std::string& why) {
    if (pid_ <= 0) {
        why = "the PostgreSQL server is not running";
        return false;
    }
    int status = 0;
    if (!WaitChild(pid_, 0, status))
        return true;
    pid_ = -1;
    why = "the PostgreSQL server " + DescribeWaitStatus(status) + ":\n" + ServerLogTail();
    return false;
}

std::string PrivateCluster::ServerLogTail() const {
    std::string text = ReadWhole(settings_.folder + "/server.log");
    if (static_cast<off_t>(text.size()) >= logOffset_)
        text.erase(0, static_cast<size_t>(logOffset_));
    // The last lines say why; a few of them are enough.
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (!line.empty())
            lines.push_back(line);
    std::string tail;
    for (size_t i = lines.size() > 8 ? lines.size() - 8 : 0; i < lines.size(); ++i)
        tail += (tail.empty() ? "" : "\n") + lines[i];
    return tail;
}

}  // namespace calyx_dms
