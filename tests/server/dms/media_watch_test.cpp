// The media watch on a real GLib main loop and real inotify, over a folder of the test's
// own: what it asks to index, and when.
#include <glib.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "support/test_support.h"
#include "watch/media_watch.h"

namespace calyx_dms {
namespace {

using Clock = std::chrono::steady_clock;

std::string RealPath(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? resolved : path;
}

void Write(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

class Watch : public ::testing::Test {
protected:
    void SetUp() override {
        root_ = RealPath(tmp_.path()) + "/media";
        mkdir(root_.c_str(), 0755);
        mkdir((root_ + "/sub").c_str(), 0755);
        limitFile_ = tmp_.path() + "/limit";
        Write(limitFile_, "100000\n");
    }

    void Start(unsigned rescan = 0) {
        WatchSettings settings;
        settings.folders = {root_};
        settings.rescanInterval = rescan;
        settings.limitFile = limitFile_;
        watch_ = std::make_unique<MediaWatch>(
            settings, [this](const std::vector<std::string>& p) { requests_.push_back(p); });
        watch_->Start();
    }

    // Runs the main loop for `seconds`, or until a request arrives when `untilRequest`.
    void Run(double seconds, bool untilRequest = true) {
        const size_t before = requests_.size();
        const auto end = Clock::now() + std::chrono::duration<double>(seconds);
        while (Clock::now() < end && !(untilRequest && requests_.size() > before))
            if (!g_main_context_iteration(nullptr, FALSE))
                g_usleep(10000);
    }

    // Every path asked for so far, once each.
    std::set<std::string> Asked() const {
        std::set<std::string> paths;
        for (const auto& request : requests_)
            paths.insert(request.begin(), request.end());
        return paths;
    }

    calyx_test::TempDir tmp_;
    std::string root_, limitFile_;
    std::unique_ptr<MediaWatch> watch_;
    std::vector<std::vector<std::string>> requests_;
};

TEST_F(Watch, AFileCopiedInIsAskedForOnceAboutASecondAfterItsClose) {
    Start();
    ASSERT_TRUE(watch_->watching());
    const auto written = Clock::now();
    Write(root_ + "/sub/a.mp3", "data");
    Run(3);
    ASSERT_EQ(requests_.size(), 1u);
    EXPECT_EQ(requests_[0], std::vector<std::string>{root_ + "/sub/a.mp3"});
    const double after = std::chrono::duration<double>(Clock::now() - written).count();
    EXPECT_GE(after, 0.9);
    EXPECT_LT(after, 2.0);
    Run(1.5, false);
    EXPECT_EQ(requests_.size(), 1u);  // once
}

TEST_F(Watch, AFileWrittenSlowlyIsAskedForOnlyAfterItIsClosed) {
    Start();
    FILE* file = fopen((root_ + "/slow.mkv").c_str(), "w");
    ASSERT_NE(file, nullptr);
    for (int i = 0; i < 6; ++i) {
        fputs("chunk", file);
        fflush(file);
        Run(0.5, false);
    }
    // Two seconds without a write, still open: not yet.
    Run(2, false);
    EXPECT_TRUE(requests_.empty());
    fclose(file);
    Run(3);
    ASSERT_EQ(requests_.size(), 1u);
    EXPECT_EQ(requests_[0], std::vector<std::string>{root_ + "/slow.mkv"});
}

TEST_F(Watch, AFolderMovedInIsOnePathAndItsNewSubfoldersAreWatched) {
    Start();
    const std::string outside = RealPath(tmp_.path()) + "/batch";
    mkdir(outside.c_str(), 0755);
    for (int i = 0; i < 50; ++i)
        Write(outside + "/" + std::to_string(i) + ".mp3", "x");
    ASSERT_EQ(rename(outside.c_str(), (root_ + "/batch").c_str()), 0);
    Run(3);
    ASSERT_EQ(requests_.size(), 1u);
    EXPECT_EQ(requests_[0], std::vector<std::string>{root_ + "/batch"});
    // The moved folder is watched now: a file written into it is seen.
    Write(root_ + "/batch/new.mp3", "y");
    Run(3);
    EXPECT_EQ(Asked().count(root_ + "/batch/new.mp3"), 1u);
}

TEST_F(Watch, DeletedPathsAreAskedForAtOnce) {
    Write(root_ + "/sub/gone.mp3", "x");
    Start();
    ASSERT_EQ(remove((root_ + "/sub/gone.mp3").c_str()), 0);
    ASSERT_EQ(rmdir((root_ + "/sub").c_str()), 0);
    Run(1);
    EXPECT_EQ(Asked(), (std::set<std::string>{root_ + "/sub/gone.mp3", root_ + "/sub"}));
}

TEST_F(Watch, AMediaFolderThatGoesIsAskedForAndAgainWhenItReturns) {
    Start();
    const std::string away = RealPath(tmp_.path()) + "/away";
    ASSERT_EQ(rename(root_.c_str(), away.c_str()), 0);
    Run(2);
    ASSERT_EQ(requests_.size(), 1u);
    EXPECT_EQ(requests_[0], std::vector<std::string>{root_});
    ASSERT_EQ(rename(away.c_str(), root_.c_str()), 0);
    Run(4);
    ASSERT_EQ(requests_.size(), 2u);
    EXPECT_EQ(requests_[1], std::vector<std::string>{root_});
    // Watched again after its return.
    Write(root_ + "/back.mp3", "z");
    Run(3);
    EXPECT_EQ(Asked().count(root_ + "/back.mp3"), 1u);
}

TEST_F(Watch, AWatchLimitBelowTheFoldersFallsBackToRescans) {
    Write(limitFile_, "1\n");  // two folders: the media folder and sub
    Start(1);
    EXPECT_FALSE(watch_->watching());
    Write(root_ + "/unseen.mp3", "x");
    Run(3);
    ASSERT_FALSE(requests_.empty());
    EXPECT_TRUE(requests_[0].empty());  // everything, rescanned
    EXPECT_EQ(Asked().count(root_ + "/unseen.mp3"), 0u);
}

TEST_F(Watch, CountFoldersFollowsLinksOnceAndStops) {
    mkdir((root_ + "/sub/deeper").c_str(), 0755);
    ASSERT_EQ(symlink(root_.c_str(), (root_ + "/sub/loop").c_str()), 0);
    EXPECT_EQ(CountFolders({root_}, 100), 3u);
    EXPECT_EQ(CountFolders({root_}, 2), 2u);
}

}  // namespace
}  // namespace calyx_dms
