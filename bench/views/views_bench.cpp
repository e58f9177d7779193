// The pages of the views (Music by Artist, Album and Genre, Photos by date) and of a
// playlist at 50,000 items: 35,000 songs (2,000 artists, 3,500 albums, 50 genres, a tenth
// with an embedded cover, half the albums' folders with a cover file) and 15,000 photos
// over 15 years, some without a date taken; one playlist of 2,000 entries.
//
// Each iteration is a Browse's whole database work for one page with nothing cached: a
// fresh stamp cache, so the update id, the count and the page are all queried. A first
// page (50 objects) and a deep one (the last 50) of each list.
#include <libpq-fe.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include "calyx/platform.h"
#include "common/bench_index.h"
#include "content/catalog.h"
#include "content/views.h"
#include "platform/pg_handles.h"
#include "store/index_connection.h"

namespace {

using calyx_dms::Catalog;
using calyx_dms::Entry;
using calyx_dms::Group;
using calyx_dms::StampCache;
using calyx_dms::View;

constexpr long long kPage = 50;

using calyx_bench::RunSql;

// The index, filled once per process in a schema of its own, and the connection the
// catalogs read it through.
class Fixture {
public:
    static Fixture& Get() {
        static Fixture fixture;
        return fixture;
    }
    calyx_dms::IndexConnection& connection() { return connection_; }
    const std::string& error() const { return error_; }
    long long playlist() const { return playlist_; }

private:
    Fixture() {
        error_ = calyx_bench::MissingServer();
        if (!error_.empty())
            return;
        DBConnect* conn = connection_.Get();
        if (conn == nullptr) {
            error_ = "cannot connect to the database calyx as admin";
            return;
        }
        PGconn* pg = conn->pg;
        schema_ = calyx_bench::MakeIndexSchema(pg, "calyx_views_bench_", CALYX_SCHEMA_FILE);
        const bool ok =
            !schema_.empty() && calyx_bench::InsertAlbumFolders(pg, 3500) &&
            RunSql(pg,
                   "INSERT INTO music (parent_id, path, title, artist, album, genre, track, "
                   "mime_type, duration, cover_original, cover_mime, cover_width, cover_height, "
                   "cover_thumbnail, cover_small, mdate) "
                   "SELECT 1 + i % 3500, '/share/Music/' || (1 + i % 3500) || '/' || i || '.mp3', "
                   "'Song ' || i, 'Artist ' || (i % 2000), 'Album ' || (i % 3500), "
                   "'Genre ' || (i % 50), i % 12, 'audio/mpeg', 200, "
                   "CASE WHEN i % 10 = 0 THEN '/c/m' || i || '.png' ELSE '' END, 'image/png', 300, "
                   "300, '/c/m' || i || '_tn.jpg', '/c/m' || i || '_sm.jpg', 1600000000 + i "
                   "FROM generate_series(1, 35000) AS i") &&
            RunSql(pg,
                   "INSERT INTO photo (path, title, mime_type, date, mdate) "
                   "SELECT '/share/Photo/' || i || '.jpg', 'Photo ' || i, 'image/jpeg', "
                   "CASE WHEN i % 20 = 0 THEN '' ELSE to_char(timestamp '2010-01-01' + "
                   "(i * 31567 % 473040000) * interval '1 second', 'YYYY-MM-DD HH24:MI:SS') END, "
                   "1262304000 + i * 31567 % 473040000 "
                   "FROM generate_series(1, 15000) AS i") &&
            RunSql(pg,
                   "INSERT INTO playlist (path, title) VALUES ('/share/Music/mix.m3u', 'mix')") &&
            RunSql(pg,
                   "INSERT INTO playlist_entry (playlist_id, position, target, kind) "
                   "SELECT p.id, i, '/share/Music/' || (1 + (i * 17) % 3500) || '/' || (i * 17) || "
                   "'.mp3', 'file' FROM playlist p, generate_series(1, 2000) AS i") &&
            RunSql(pg, "ANALYZE");
        if (!ok) {
            error_ = "cannot fill the index";
            return;
        }
        PGresult* r = PQexec(pg, "SELECT id FROM playlist");
        playlist_ = PQntuples(r) == 1 ? atoll(PQgetvalue(r, 0, 0)) : 0;
        PQclear(r);
    }
    ~Fixture() {
        if (DBConnect* conn = connection_.Get())
            RunSql(conn->pg, "DROP SCHEMA IF EXISTS " + schema_ + " CASCADE");
    }

    calyx_dms::IndexConnection connection_;
    std::string schema_;
    std::string error_;
    long long playlist_ = 0;
};

bool Ready(benchmark::State& state) {
    if (!Fixture::Get().error().empty()) {
        state.SkipWithError(Fixture::Get().error().c_str());
        return false;
    }
    return true;
}

struct ViewCase {
    View view;
    const char* within;  // a year for months
};

const ViewCase kViews[] = {{View::kArtist, ""},
                           {View::kAlbum, ""},
                           {View::kGenre, ""},
                           {View::kYear, ""},
                           {View::kMonth, "2018"}};

// The groups of a view: range(0) the view, range(1) 0 for the first page, 1 for the last.
void BM_GroupPage(benchmark::State& state) {
    if (!Ready(state))
        return;
    const ViewCase& view = kViews[state.range(0)];
    const bool deep = state.range(1) != 0;
    long long total = 0;
    long long groups = 0;
    {
        StampCache stamps;
        Catalog(Fixture::Get().connection(), stamps)
            .GroupPage(
                view.view, view.within, 0, 0, [](const Group&) {}, total);
    }
    const long long offset = deep ? std::max(0LL, total - kPage) : 0;
    for (auto _ : state) {
        StampCache stamps;
        Catalog catalog(Fixture::Get().connection(), stamps);
        long long seen = 0;
        const long long handed = catalog.GroupPage(
            view.view, view.within, offset, kPage,
            [](const Group& group) { benchmark::DoNotOptimize(group.count); }, seen);
        if (handed <= 0 || seen != total) {
            state.SkipWithError("a page came back empty");
            break;
        }
        groups += handed;
    }
    state.counters["groups"] = static_cast<double>(total);
    state.SetItemsProcessed(groups);
}

// The items of a group (range(0): 0 a genre of 700 songs, 1 a month of 2018) or of the
// playlist (2); range(1) as above.
void BM_ItemPage(benchmark::State& state) {
    if (!Ready(state))
        return;
    const int which = static_cast<int>(state.range(0));
    const bool deep = state.range(1) != 0;
    const View view = which == 0 ? View::kGenre : View::kMonth;
    const std::string value = which == 0 ? "Genre 7" : "2018-05";
    auto page = [&](Catalog& catalog, long long offset, long long limit, long long& total) {
        auto row = [](const Entry& entry) { benchmark::DoNotOptimize(entry.info.id); };
        if (which == 2)
            return catalog.PlaylistPage(Fixture::Get().playlist(), {Calyx::MEDIA_TABLE_MUSIC},
                                        offset, limit, row, total);
        return catalog.Page({{calyx_dms::ViewTable(view), calyx_dms::GroupCondition(view, value)}},
                            calyx_dms::GroupItemOrder(view), offset, limit, row, total);
    };
    long long total = 0;
    {
        StampCache stamps;
        Catalog catalog(Fixture::Get().connection(), stamps);
        page(catalog, 0, 0, total);
    }
    const long long offset = deep ? std::max(0LL, total - kPage) : 0;
    long long items = 0;
    for (auto _ : state) {
        StampCache stamps;
        Catalog catalog(Fixture::Get().connection(), stamps);
        long long seen = 0;
        const long long handed = page(catalog, offset, kPage, seen);
        if (handed <= 0 || seen != total) {
            state.SkipWithError("a page came back empty");
            break;
        }
        items += handed;
    }
    state.counters["items"] = static_cast<double>(total);
    state.SetItemsProcessed(items);
}

BENCHMARK(BM_GroupPage)
    ->ArgNames({"view", "deep"})
    ->ArgsProduct({{0, 1, 2, 3, 4}, {0, 1}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ItemPage)
    ->ArgNames({"list", "deep"})
    ->ArgsProduct({{0, 1, 2}, {0, 1}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
