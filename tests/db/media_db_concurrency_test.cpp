// Separate MediaDB (and MediaQuery) objects on separate connections run in parallel.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "calyx/media_db.h"
#include "calyx/platform.h"
#include "db_test_support.h"

using Calyx::MediaDB;
using Calyx::MediaQuery;

namespace {

class MediaDBConcurrency : public calyx_test::DbTest {};

TEST_F(MediaDBConcurrency, ObjectsOnTheirOwnConnectionsRunInParallel) {
    const int rows = 400;
    Exec(
        "INSERT INTO video (id, path, title, duration) SELECT i, '/v/' || i, 't' || i, i "
        "FROM generate_series(1, " +
        std::to_string(rows) + ") AS i");
    const int threads = 4;
    const int rounds = 5 * calyx_test::TestScale();
    std::atomic<int> mismatches{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            MediaDB db(Calyx::MEDIA_TABLE_VIDEO, nullptr);
            db.AddCondition("duration % " + std::to_string(threads) + " = " + std::to_string(t));
            for (int round = 0; round < rounds; ++round) {
                if (db.Select("*", "id", 0, 0, "") != rows / threads) {
                    ++mismatches;
                    continue;
                }
                int expected = t == 0 ? threads : t;
                ZEVO_MEDIA_INFO item;
                while (db.NextRow()) {
                    if (!db.FetchMediaItem(item) || item.id != expected ||
                        item.title != "t" + std::to_string(expected)) {
                        ++mismatches;
                    }
                    expected += threads;
                }
                if (db.SelectTotal() != rows / threads) {
                    ++mismatches;
                }
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
}

// Each connection prepares its own statements: the same texts, run with each thread's
// values at once on several connections, give each thread its own rows.
TEST_F(MediaDBConcurrency, PreparedQueriesOnTheirOwnConnectionsRunInParallel) {
    const int rows = 400;
    Exec(
        "INSERT INTO video (id, path, title, duration) SELECT i, '/v/' || i, 't' || i, i "
        "FROM generate_series(1, " +
        std::to_string(rows) + ") AS i");
    const int threads = 4;
    const int rounds = 10 * calyx_test::TestScale();
    std::atomic<int> mismatches{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            DBConnect* conn = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
            for (int round = 0; round < rounds; ++round) {
                MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn);
                db.AddCondition("duration % $1 = $2", {std::to_string(threads), std::to_string(t)});
                if (db.Select("*", "id", 0, 0, "") != rows / threads) {
                    ++mismatches;
                    continue;
                }
                int expected = t == 0 ? threads : t;
                ZEVO_MEDIA_INFO item;
                while (db.NextRow()) {
                    if (!db.FetchMediaItem(item) || item.id != expected)
                        ++mismatches;
                    expected += threads;
                }
                if (db.SelectTotal() != rows / threads)
                    ++mismatches;
            }
            ZEVODBClose(conn);
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
