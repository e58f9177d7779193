// Reading whole result pages of a 100,000-row "video" table: MediaDB (Select, then
// NextRow and FetchMediaItem on every row) beside a plain libpq loop over the same
// statement and columns, which is the floor.
//
// Two page kinds: OFFSET pages (as a Browse with a starting index reads them; the server's
// cost of skipping rows grows with the offset) and keyset pages ("id > n", where the
// server's share is smallest and the client's work shows most).
#include <libpq-fe.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include "calyx/media_db.h"
#include "calyx/platform.h"
#include "common/bench_index.h"
#include "platform/pg_handles.h"

namespace {

constexpr int kRows = 100000;
constexpr int kPageRows = 1000;
constexpr int kPages = kRows / kPageRows;

const char* const kMediaColumns[] = {"id",
                                     "parent_id",
                                     "path",
                                     "title",
                                     "artist",
                                     "album",
                                     "genre",
                                     "mime_type",
                                     "filesize",
                                     "duration",
                                     "audio_bitrate",
                                     "frame_bitrate",
                                     "video_bitrate",
                                     "frame_rate_num",
                                     "frame_rate_den",
                                     "samplerate",
                                     "channel",
                                     "resolutionx",
                                     "resolutiony",
                                     "video_codec",
                                     "container_type",
                                     "audio_codec",
                                     "track",
                                     "year",
                                     "rotation",
                                     "date",
                                     "mdate",
                                     "cdate",
                                     "thumbnail"};

using calyx_bench::RunSql;

// One connection with the table filled, in a schema of its own; made once per process.
class Fixture {
public:
    static Fixture& Get() {
        static Fixture fixture;
        return fixture;
    }
    DBConnect* conn() const { return conn_; }
    const std::string& error() const { return error_; }

private:
    Fixture() {
        conn_ = calyx_bench::ConnectToIndexServer(error_);
        if (conn_ == nullptr) {
            return;
        }
        PGconn* pg = conn_->pg;
        schema_ = calyx_bench::MakeIndexSchema(pg, "calyx_bench_", CALYX_SCHEMA_FILE);
        bool ok = !schema_.empty() &&
                  RunSql(pg,
                         "INSERT INTO video (id, parent_id, path, title, artist, album, genre, "
                         "mime_type, filesize, duration, audio_bitrate, frame_bitrate, "
                         "video_bitrate, frame_rate_num, frame_rate_den, samplerate, channel, "
                         "resolutionx, resolutiony, video_codec, container_type, audio_codec, "
                         "track, year, rotation, date, mdate, cdate, thumbnail) "
                         "SELECT i, i / 100, '/share/Video/Series ' || (i / 100) || "
                         "'/Episode ' || i || '.mkv', 'Episode ' || i, 'Studio ' || (i % 50), "
                         "'Series ' || (i / 100), 'Drama', 'video/x-matroska', "
                         "1000000000 + i * 1000, 1800 + i % 3600, 192000, 8000000, 7800000, "
                         "24000, 1001, 48000, 6, 1920, 1080, 'h264', 'matroska', 'ac3', i % 24, "
                         "2000 + i % 24, 0, '2019-07-14 18:30:05', 1563121805 + i, "
                         "1563200000 + i, '/share/.thumbs/' || i || '.jpg' "
                         "FROM generate_series(1, " +
                             std::to_string(kRows) + ") AS i") &&
                  RunSql(pg, "ANALYZE video") &&
                  // Warm the server's and the system's caches, so the first benchmark
                  // does not pay for them alone.
                  RunSql(pg, "SELECT * FROM video ORDER BY id");
        if (!ok) {
            error_ = "cannot set up the video table";
        }
    }
    ~Fixture() {
        if (conn_ != nullptr) {
            RunSql(conn_->pg, "DROP SCHEMA IF EXISTS " + schema_ + " CASCADE");
            ZEVODBClose(conn_);
        }
    }

    DBConnect* conn_ = nullptr;
    std::string schema_;
    std::string error_;
};

enum PageKind { kOffsetPages = 0, kKeysetPages = 1 };

// The statement MediaDB builds for page `page`, for the libpq floor to send verbatim.
std::string PageStatement(PageKind kind, int page) {
    if (kind == kOffsetPages) {
        std::string sql = "SELECT * FROM video  ORDER BY id  LIMIT 1000 ";
        if (page != 0) {
            sql += " OFFSET " + std::to_string(page * kPageRows) + " ";
        }
        return sql;
    }
    return "SELECT * FROM video  WHERE id > " + std::to_string(page * kPageRows) +
           "  ORDER BY id  LIMIT 1000 ";
}

bool Ready(benchmark::State& state) {
    const Fixture& fixture = Fixture::Get();
    if (!fixture.error().empty()) {
        state.SkipWithError(fixture.error().c_str());
        return false;
    }
    return true;
}

void BM_MediaDBPages(benchmark::State& state) {
    if (!Ready(state)) {
        return;
    }
    PageKind kind = static_cast<PageKind>(state.range(0));
    int page = 0;
    int64_t rows = 0;
    ZEVO_MEDIA_INFO item;
    for (auto _ : state) {
        Calyx::MediaDB db(Calyx::MEDIA_TABLE_VIDEO, Fixture::Get().conn());
        int offset = 0;
        if (kind == kOffsetPages) {
            offset = page * kPageRows;
        } else {
            db.AddCondition("id > " + std::to_string(page * kPageRows));
        }
        if (db.Select("*", "id", offset, kPageRows, "") != kPageRows) {
            state.SkipWithError("a page came back short");
            break;
        }
        while (db.NextRow()) {
            db.FetchMediaItem(item);
            benchmark::DoNotOptimize(item);
            ++rows;
        }
        page = (page + 1) % kPages;
    }
    state.SetItemsProcessed(rows);
}

void BM_LibpqPagesFloor(benchmark::State& state) {
    if (!Ready(state)) {
        return;
    }
    PageKind kind = static_cast<PageKind>(state.range(0));
    PGconn* pg = Fixture::Get().conn()->pg;
    constexpr int kColumns = sizeof kMediaColumns / sizeof kMediaColumns[0];
    int page = 0;
    int64_t rows = 0;
    for (auto _ : state) {
        PGresult* r = PQexec(pg, PageStatement(kind, page).c_str());
        if (PQresultStatus(r) != PGRES_TUPLES_OK || PQntuples(r) != kPageRows) {
            PQclear(r);
            state.SkipWithError("a page came back short");
            break;
        }
        int columns[kColumns];
        for (int c = 0; c < kColumns; ++c) {
            columns[c] = PQfnumber(r, kMediaColumns[c]);
        }
        int n = PQntuples(r);
        for (int row = 0; row < n; ++row) {
            for (int c = 0; c < kColumns; ++c) {
                const char* value = PQgetvalue(r, row, columns[c]);
                benchmark::DoNotOptimize(value);
            }
            ++rows;
        }
        PQclear(r);
        page = (page + 1) % kPages;
    }
    state.SetItemsProcessed(rows);
}

// Whole passes over the table: 100 pages per pass.
BENCHMARK(BM_MediaDBPages)
    ->ArgName("keyset")
    ->Arg(kOffsetPages)
    ->Arg(kKeysetPages)
    ->Iterations(3 * kPages)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibpqPagesFloor)
    ->ArgName("keyset")
    ->Arg(kOffsetPages)
    ->Arg(kKeysetPages)
    ->Iterations(3 * kPages)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
