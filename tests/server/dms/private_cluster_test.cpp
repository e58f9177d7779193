// The server's private PostgreSQL cluster with Debian's real server programs: made on first
// use, reused, a stale pid file and a postmaster left running handled, and gone soon after
// its server is killed.
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "store/child_process.h"
#include "store/private_cluster.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

using calyx_dms::ClusterSettings;
using calyx_dms::FindRecordedPostmaster;
using calyx_dms::FindServerPrograms;
using calyx_dms::PrivateCluster;
using calyx_dms::RecordedPostmaster;

void MakeProgram(const std::string& path) {
    ASSERT_EQ(system(("mkdir -p \"$(dirname '" + path + "')\"").c_str()), 0);
    std::ofstream(path) << "#!/bin/sh\n";
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
}

bool Alive(pid_t pid) {
    return kill(pid, 0) == 0;
}

// Waits up to `seconds` for the process to be gone (a child is reaped).
bool GoneWithin(pid_t pid, int seconds) {
    for (int i = 0; i < seconds * 20; ++i) {
        waitpid(pid, nullptr, WNOHANG);
        if (!Alive(pid))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

// True when the database "calyx" answers as the user "admin" on the cluster's socket.
bool Answers(const PrivateCluster& cluster) {
    const std::string conninfo = "host='" + cluster.socketFolder() +
                                 "' port=" + std::to_string(cluster.port()) +
                                 " user=admin dbname=calyx";
    PGconn* conn = PQconnectdb(conninfo.c_str());
    const bool ok = PQstatus(conn) == CONNECTION_OK;
    PQfinish(conn);
    return ok;
}

TEST(PrivateClusterPrograms, TheNewestCompleteVersionIsChosen) {
    TempDir root;
    MakeProgram(root.file("usr/lib/postgresql/9.6/bin/initdb"));
    MakeProgram(root.file("usr/lib/postgresql/9.6/bin/postgres"));
    MakeProgram(root.file("usr/lib/postgresql/13/bin/initdb"));
    MakeProgram(root.file("usr/lib/postgresql/13/bin/postgres"));
    MakeProgram(root.file("usr/lib/postgresql/16/bin/psql"));  // a client only
    std::string error;
    EXPECT_EQ(FindServerPrograms("", error, root.path()),
              root.path() + "/usr/lib/postgresql/13/bin");
    EXPECT_EQ(FindServerPrograms(root.file("usr/lib/postgresql/9.6/bin"), error, root.path()),
              root.file("usr/lib/postgresql/9.6/bin"));
    EXPECT_EQ(FindServerPrograms(root.file("usr/lib/postgresql/16/bin"), error, root.path()), "");
    EXPECT_NE(error.find("--pg-bindir"), std::string::npos) << error;
    TempDir empty;
    error.clear();
    EXPECT_EQ(FindServerPrograms("", error, empty.path()), "");
    EXPECT_NE(error.find("install the package postgresql"), std::string::npos) << error;
}

TEST(PrivateClusterSocket, ALongStateFolderGetsAShortSocketFolder) {
    EXPECT_EQ(calyx_dms::SocketFolderFor("/var/lib/calyx/postgresql", 999),
              "/var/lib/calyx/postgresql/run");
    TempDir tmp;
    ScopedEnv tmpdir("TMPDIR", tmp.path().c_str());
    const std::string deep = "/srv/" + std::string(120, 'x') + "/postgresql";
    const std::string folder = calyx_dms::SocketFolderFor(deep, 999);
    EXPECT_LE(folder.size() + sizeof("/.s.PGSQL.5432") - 1, 107u) << folder;
    EXPECT_EQ(folder.rfind(tmp.path() + "/calyx-999-", 0), 0u) << folder;
    EXPECT_EQ(calyx_dms::SocketFolderFor(deep, 999), folder) << "the same folder every time";
    EXPECT_NE(calyx_dms::SocketFolderFor(deep + "2", 999), folder);
}

TEST(PrivateClusterPidFile, OnlyALivePostgresInTheFolderCounts) {
    TempDir data;
    EXPECT_EQ(FindRecordedPostmaster(data.path()).state, RecordedPostmaster::kNone);
    // This test's own pid: a live process, but no postgres working in the folder.
    std::ofstream(data.file("postmaster.pid")) << getpid() << "\n" << data.path() << "\n";
    EXPECT_EQ(FindRecordedPostmaster(data.path()).state, RecordedPostmaster::kStale);
    std::ofstream(data.file("postmaster.pid")) << "not a pid\n";
    EXPECT_EQ(FindRecordedPostmaster(data.path()).state, RecordedPostmaster::kStale);
}

class PrivateClusterRun : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() == 0)
            GTEST_SKIP() << "PostgreSQL does not run as root (make test runs this as a user)";
        std::string error;
        settings_.programs = FindServerPrograms("", error);
        if (settings_.programs.empty())
            GTEST_SKIP() << error;
        settings_.folder = state_.file("postgresql");
    }

    TempDir state_;
    ClusterSettings settings_;
};

TEST_F(PrivateClusterRun, MadeOnceReusedAndStoppedWithItsServer) {
    pid_t first = 0;
    std::string data;
    {
        PrivateCluster cluster(settings_);
        std::string error;
        ASSERT_TRUE(cluster.Start(error)) << error;
        EXPECT_EQ(cluster.history(), "created");
        EXPECT_TRUE(Answers(cluster));
        EXPECT_EQ(cluster.socketFolder(), settings_.folder + "/run");
        struct stat st {};
        ASSERT_EQ(stat(cluster.socketFolder().c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0700u);
        first = cluster.pid();
        data = cluster.dataFolder();
    }
    EXPECT_FALSE(Alive(first)) << "stopped with its owner";
    EXPECT_NE(access((data + "/postmaster.pid").c_str(), F_OK), 0) << "a clean shutdown";

    // A pid file naming a live process that is no postgres (this test): removed.
    std::ofstream(data + "/postmaster.pid") << getpid() << "\n";
    PrivateCluster again(settings_);
    std::string error;
    ASSERT_TRUE(again.Start(error)) << error;
    EXPECT_EQ(again.history(), "reused");
    EXPECT_TRUE(Answers(again));
}

TEST_F(PrivateClusterRun, APostmasterLeftRunningIsStoppedAndReplaced) {
    std::string data;
    {
        PrivateCluster made(settings_);
        std::string error;
        ASSERT_TRUE(made.Start(error)) << error;
        data = made.dataFolder();
    }
    // A postmaster on the cluster that this process did not start as its own: what a
    // killed server leaves when its parent-death signal could not stop it.
    calyx_dms::ChildLaunch launch;
    launch.argv = {settings_.programs + "/postgres",
                   "-D",
                   data,
                   "-c",
                   "listen_addresses=",
                   "-c",
                   "unix_socket_directories=" + settings_.folder + "/run"};
    launch.outputFile = state_.file("leftover.log");
    std::string error;
    const pid_t leftover = calyx_dms::StartChild(launch, error);
    ASSERT_GT(leftover, 0) << error;
    for (int i = 0; i < 200 && FindRecordedPostmaster(data).state != RecordedPostmaster::kRunning;
         ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_EQ(FindRecordedPostmaster(data).state, RecordedPostmaster::kRunning);

    PrivateCluster cluster(settings_);
    ASSERT_TRUE(cluster.Start(error)) << error;
    EXPECT_NE(cluster.history().find("stopped a server left running"), std::string::npos)
        << cluster.history();
    EXPECT_TRUE(GoneWithin(leftover, 5));
    EXPECT_NE(cluster.pid(), leftover);
    EXPECT_TRUE(Answers(cluster));
}

TEST_F(PrivateClusterRun, ItsServerEndsSoonAfterTheOwnerIsKilled) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t owner = fork();
    ASSERT_GE(owner, 0);
    if (owner == 0) {
        close(ready[0]);
        PrivateCluster cluster(settings_);
        std::string error;
        const pid_t postmaster = cluster.Start(error) ? cluster.pid() : 0;
        ssize_t ignored = write(ready[1], &postmaster, sizeof postmaster);
        (void)ignored;
        pause();  // until killed
        _exit(0);
    }
    close(ready[1]);
    pid_t postmaster = 0;
    ASSERT_EQ(read(ready[0], &postmaster, sizeof postmaster),
              static_cast<ssize_t>(sizeof postmaster));
    close(ready[0]);
    ASSERT_GT(postmaster, 0);
    ASSERT_TRUE(Alive(postmaster));
    kill(owner, SIGKILL);
    waitpid(owner, nullptr, 0);
    EXPECT_TRUE(GoneWithin(postmaster, 20)) << "the postmaster outlived its killed server";

    // The next server starts on the same cluster.
    PrivateCluster next(settings_);
    std::string error;
    ASSERT_TRUE(next.Start(error)) << error;
    EXPECT_TRUE(Answers(next));
}

}  // namespace
}  // namespace calyx_test
