// A Browse page's statements as calyx-dms sends them, plain (values written into the
// text, as MediaDB's) beside prepared (values sent apart, MediaQuery's statement prepared
// once per connection), on the same connection and data in one run.
//
// The index: 100 folders of 100 songs (half the folders with a cover file). Each
// iteration reads one statement's whole result as the server does (every row's record and
// extras); the folder (or item) changes from one iteration to the next, so the plain form
// sends a new text each time, as a server browsing many folders does.
#include <libpq-fe.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "calyx/core.h"
#include "calyx/media_db.h"
#include "calyx/platform.h"
#include "common/bench_index.h"
#include "content/item_extras.h"
#include "platform/pg_handles.h"

namespace {

constexpr int kFolders = 100;
constexpr int kSongsPerFolder = 100;
constexpr int kPage = 100;
constexpr char kTitleOrder[] = "title COLLATE calyx_title ASC, id ASC";

using calyx_bench::RunSql;

// One connection with the index filled, in a schema of its own; made once per process.
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
        if (conn_ == nullptr)
            return;
        PGconn* pg = conn_->pg;
        schema_ = calyx_bench::MakeIndexSchema(pg, "calyx_browse_bench_", CALYX_SCHEMA_FILE);
        const std::string songs = std::to_string(kFolders * kSongsPerFolder);
        const bool ok =
            !schema_.empty() && calyx_bench::InsertAlbumFolders(pg, kFolders) &&
            RunSql(pg,
                   "INSERT INTO music (id, parent_id, path, title, artist, album, genre, track, "
                   "mime_type, duration, mdate) "
                   "SELECT i, 1 + i % " +
                       std::to_string(kFolders) +
                       ", '/share/Music/' || (1 + i % 100) || '/' || i || '.mp3', "
                       "'Song ' || i, 'Artist ' || (i % 200), 'Album ' || (1 + i % 100), "
                       "'Genre ' || (i % 20), i % 12, 'audio/mpeg', 200, 1600000000 + i "
                       "FROM generate_series(1, " +
                       songs + ") AS i") &&
            RunSql(pg, "ANALYZE");
        if (!ok)
            error_ = "cannot fill the index";
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

bool Ready(benchmark::State& state) {
    if (!Fixture::Get().error().empty()) {
        state.SkipWithError(Fixture::Get().error().c_str());
        return false;
    }
    return true;
}

// A query of the music table, plain or prepared, with its conditions.
std::unique_ptr<Calyx::MediaDB> MakeQuery(bool prepared) {
    if (prepared)
        return std::make_unique<Calyx::MediaQuery>(Calyx::MEDIA_TABLE_MUSIC, Fixture::Get().conn());
    return std::make_unique<Calyx::MediaDB>(Calyx::MEDIA_TABLE_MUSIC, Fixture::Get().conn());
}

// Adds `condition` with its values: written into the text for the plain form (`plain`,
// the values escaped as the server did), as $n with the values for the prepared one.
void Add(Calyx::MediaDB& db, bool prepared, const std::string& plain,
         const std::string& withPlaceholders, const std::vector<std::string>& values) {
    if (prepared)
        static_cast<Calyx::MediaQuery&>(db).AddCondition(withPlaceholders, values);
    else
        db.AddCondition(plain);
}

// A query of the shown songs whose `column` is `value` (a folder's, or one song's).
std::unique_ptr<Calyx::MediaDB> ShownSongsWhere(bool prepared, const char* column, int value) {
    auto db = MakeQuery(prepared);
    const std::string text = std::to_string(value);
    db->AddCondition("NOT hidden");
    Add(*db, prepared, std::string(column) + " = " + text, std::string(column) + " = $1", {text});
    return db;
}

int Select(Calyx::MediaDB& db, bool prepared, const std::string& fields, const std::string& orderBy,
           int limit) {
    return prepared ? static_cast<Calyx::MediaQuery&>(db).Select(fields, orderBy, 0, limit, "")
                    : db.Select(fields, orderBy, 0, limit, "");
}

// Reads every row as the server does; the number of rows.
int64_t ReadRows(Calyx::MediaDB& db) {
    auto item = std::make_unique<ZEVO_MEDIA_INFO>();
    calyx_dms::ItemExtras extras;
    int64_t rows = 0;
    while (db.NextRow()) {
        db.FetchMediaItem(*item);
        calyx_dms::ReadItemExtras(db, Calyx::MEDIA_TABLE_MUSIC, item->id, extras);
        benchmark::DoNotOptimize(item->id);
        ++rows;
    }
    return rows;
}

// The first page of a folder: its songs in title order, with their extras.
void BM_FolderPage(benchmark::State& state) {
    if (!Ready(state))
        return;
    const bool prepared = state.range(0) != 0;
    int folder = 0;
    int64_t rows = 0;
    for (auto _ : state) {
        auto db = ShownSongsWhere(prepared, "parent_id", 1 + folder);
        if (Select(*db, prepared, calyx_dms::ItemColumns(Calyx::MEDIA_TABLE_MUSIC), kTitleOrder,
                   kPage) != kSongsPerFolder) {
            state.SkipWithError("a page came back short");
            break;
        }
        rows += ReadRows(*db);
        folder = (folder + 1) % kFolders;
    }
    state.SetItemsProcessed(rows);
}
BENCHMARK(BM_FolderPage)->ArgName("prepared")->Arg(0)->Arg(1);

// A page that continues from a mark (the title and id of the row before it).
void BM_FolderPageFromMark(benchmark::State& state) {
    if (!Ready(state))
        return;
    const bool prepared = state.range(0) != 0;
    int folder = 0;
    int64_t rows = 0;
    for (auto _ : state) {
        auto db = ShownSongsWhere(prepared, "parent_id", 1 + folder);
        // Song 1000 + folder sits in the middle of its folder's title order.
        const std::string markId = std::to_string(1000 + folder);
        const std::string markTitle = "Song " + markId;
        Add(*db, prepared,
            "(title COLLATE calyx_title, id) > (E'" + Calyx::SQLEscapeCondition(markTitle) +
                "' COLLATE calyx_title, " + markId + ")",
            "(title COLLATE calyx_title, id) > ($1 COLLATE calyx_title, $2)", {markTitle, markId});
        if (Select(*db, prepared, calyx_dms::ItemColumns(Calyx::MEDIA_TABLE_MUSIC), kTitleOrder,
                   kPage) <= 0) {
            state.SkipWithError("a page came back empty");
            break;
        }
        rows += ReadRows(*db);
        folder = (folder + 1) % kFolders;
    }
    state.SetItemsProcessed(rows);
}
BENCHMARK(BM_FolderPageFromMark)->ArgName("prepared")->Arg(0)->Arg(1);

// A folder's count of shown songs.
void BM_FolderCount(benchmark::State& state) {
    if (!Ready(state))
        return;
    const bool prepared = state.range(0) != 0;
    int folder = 0;
    for (auto _ : state) {
        auto db = ShownSongsWhere(prepared, "parent_id", 1 + folder);
        if (Select(*db, prepared, "COUNT(id) AS total", "", 0) != 1 || !db->NextRow() ||
            db->FetchFieldAsInt("total") != kSongsPerFolder) {
            state.SkipWithError("a count came out wrong");
            break;
        }
        folder = (folder + 1) % kFolders;
    }
}
BENCHMARK(BM_FolderCount)->ArgName("prepared")->Arg(0)->Arg(1);

// One item by its id, with its extras (BrowseMetadata, a media request).
void BM_FindItem(benchmark::State& state) {
    if (!Ready(state))
        return;
    const bool prepared = state.range(0) != 0;
    int item = 0;
    for (auto _ : state) {
        auto db = ShownSongsWhere(prepared, "id", 1 + item);
        if (Select(*db, prepared, calyx_dms::ItemColumns(Calyx::MEDIA_TABLE_MUSIC), "", 1) != 1 ||
            ReadRows(*db) != 1) {
            state.SkipWithError("an item was not found");
            break;
        }
        item = (item + 7919) % (kFolders * kSongsPerFolder);
    }
}
BENCHMARK(BM_FindItem)->ArgName("prepared")->Arg(0)->Arg(1);

}  // namespace
