// Separate MediaDB objects on separate connections run in parallel.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "calyx/media_db.h"
#include "db_test_support.h"

using Calyx::MediaDB;

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

}  // namespace
