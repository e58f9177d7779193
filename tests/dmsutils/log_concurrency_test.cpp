// Many threads logging across several rotations: no line lost, split or interleaved.
#include <dirent.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "calyx/core.h"
#include "dmsutils/log_internal.h"
#include "support/test_support.h"

using calyx_test::Gunzip;
using calyx_test::ReadFile;
using calyx_test::SplitLines;
using calyx_test::TempDir;

namespace {}  // namespace

TEST(LogThreads, EightWritersAcrossRotations) {
    constexpr int kThreads = 8;
    const int linesPerThread = 20000 * calyx_test::TestScale();
    const std::string payload(48, 'p');
    TempDir dir;
    std::string path = dir.file("dms.log");
    ASSERT_EQ(Calyx::DMSLOGInit(path.c_str()), 1);
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_DEBUG);

    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([t, linesPerThread, &payload] {
            for (int i = 0; i < linesPerThread; ++i) {
                Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG, "writer %d line %07d %s end\n", t, i,
                                 payload.c_str());
            }
        });
    }
    // One thread changes the level meanwhile; it never filters the writers' level out.
    std::thread leveler([] {
        for (int i = 0; i < 1000; ++i) {
            Calyx::DMSLOGSetLevel(i % 2 ? Calyx::DMSLOG_DEBUG
                                        : static_cast<Calyx::DMSLOG_LEVEL>(3));
        }
    });
    for (auto& w : writers) {
        w.join();
    }
    leveler.join();
    Calyx::DMSLogClose();
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);

    std::string all;
    int archives = 0;
    for (int n = 1;; ++n) {
        std::string archive = path + "." + std::to_string(n) + ".gz";
        if (!calyx_test::FileExists(archive)) {
            break;
        }
        all += Gunzip(archive);
        ++archives;
    }
    all += ReadFile(path);
    EXPECT_GE(archives, 2);

    std::vector<std::vector<bool>> seen(kThreads, std::vector<bool>(linesPerThread, false));
    size_t count = 0;
    for (const std::string& line : SplitLines(all)) {
        int t = -1;
        int i = -1;
        char rest[128] = {};
        // "Mon D hh:mm:ss writer T line NNNNNNN payload end"
        size_t at = line.find(" writer ");
        ASSERT_NE(at, std::string::npos) << line;
        ASSERT_EQ(sscanf(line.c_str() + at, " writer %d line %d %127s", &t, &i, rest), 3) << line;
        ASSERT_TRUE(t >= 0 && t < kThreads && i >= 0 && i < linesPerThread) << line;
        ASSERT_EQ(line.substr(line.size() - 4), " end") << line;
        ASSERT_EQ(std::string(rest), payload) << line;
        ASSERT_FALSE(seen[t][i]) << "duplicate " << line;
        seen[t][i] = true;
        ++count;
    }
    EXPECT_EQ(count, static_cast<size_t>(kThreads) * linesPerThread);
}
