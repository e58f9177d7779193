#include "content/catalog.h"

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>

#include "calyx/core.h"
#include "calyx/platform.h"

namespace calyx_dms {

namespace {

struct TableName {
    Calyx::MEDIA_TABLE_TYPE table;
    char letter;
    const char* container;
};

const TableName kTables[] = {
    {Calyx::MEDIA_TABLE_MUSIC, 'm', "music"},
    {Calyx::MEDIA_TABLE_VIDEO, 'v', "video"},
    {Calyx::MEDIA_TABLE_PHOTO, 'p', "photo"},
    {Calyx::MEDIA_TABLE_DIRECTORY, 'd', "folders"},
};

// A positive decimal id with nothing after it.
bool ParseId(const std::string& text, long long& id) {
    if (text.empty() || text.size() > 18 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return false;
    id = strtoll(text.c_str(), nullptr, 10);
    return id > 0;
}

}  // namespace

bool FetchEntry(Calyx::MediaDB& db, Entry& entry) {
    if (!db.FetchMediaItem(entry.info))
        return false;
    entry.bitsPerSample = db.FetchFieldAsInt("bits_per_sample");
    entry.subtitle = false;
    ReadItemExtras(db, entry.table, entry.info.id, entry.extras);
    return true;
}

const char* SqlTableOf(Calyx::MEDIA_TABLE_TYPE table) {
    switch (table) {
        case Calyx::MEDIA_TABLE_MUSIC:
            return "music";
        case Calyx::MEDIA_TABLE_VIDEO:
            return "video";
        case Calyx::MEDIA_TABLE_DIRECTORY:
            return "directory";
        case Calyx::MEDIA_TABLE_PLAYLIST:
            return "playlist";
        case Calyx::MEDIA_TABLE_PHOTO:
            break;
    }
    return "photo";
}

bool ParseObjectId(const std::string& text, ObjectId& out) {
    if (text == "0") {
        out = ObjectId{};
        return true;
    }
    if (text == "playlists") {
        out = ObjectId{};
        out.kind = ObjectId::kPlaylists;
        out.table = Calyx::MEDIA_TABLE_PLAYLIST;
        return true;
    }
    if (!text.empty() && text[0] == 'l' && ParseId(text.substr(1), out.id)) {
        out.kind = ObjectId::kPlaylist;
        out.table = Calyx::MEDIA_TABLE_PLAYLIST;
        return true;
    }
    if (ParseViewListId(text, out.view)) {
        out.kind = ObjectId::kViewList;
        out.table = ViewTable(out.view);
        return true;
    }
    if (ParseGroupId(text, out.view, out.value)) {
        out.kind = ObjectId::kGroup;
        out.table = ViewTable(out.view);
        return true;
    }
    if (!text.empty() && text[0] == 's' && ParseId(text.substr(1), out.id)) {
        out.kind = ObjectId::kSubtitle;
        out.table = Calyx::MEDIA_TABLE_VIDEO;
        return true;
    }
    for (const TableName& t : kTables) {
        if (text == t.container) {
            out.kind =
                t.table == Calyx::MEDIA_TABLE_DIRECTORY ? ObjectId::kFolders : ObjectId::kTable;
            out.table = t.table;
            return true;
        }
        if (!text.empty() && text[0] == t.letter && ParseId(text.substr(1), out.id)) {
            out.kind =
                t.table == Calyx::MEDIA_TABLE_DIRECTORY ? ObjectId::kDirectory : ObjectId::kItem;
            out.table = t.table;
            return true;
        }
    }
    return false;
}

char TableLetter(Calyx::MEDIA_TABLE_TYPE table) {
    for (const TableName& t : kTables)
        if (t.table == table)
            return t.letter;
    return '?';
}

bool TableOfLetter(char letter, Calyx::MEDIA_TABLE_TYPE& table) {
    for (const TableName& t : kTables) {
        if (t.letter == letter && t.table != Calyx::MEDIA_TABLE_DIRECTORY) {
            table = t.table;
            return true;
        }
    }
    return false;
}

std::string ContainerIdOf(Calyx::MEDIA_TABLE_TYPE table) {
    for (const TableName& t : kTables)
        if (t.table == table)
            return t.container;
    return "0";
}

std::string FormatObjectId(const ObjectId& id) {
    switch (id.kind) {
        case ObjectId::kRoot:
            return "0";
        case ObjectId::kTable:
        case ObjectId::kFolders:
            return ContainerIdOf(id.table);
        case ObjectId::kSubtitle:
            return "s" + std::to_string(id.id);
        case ObjectId::kPlaylists:
            return "playlists";
        case ObjectId::kPlaylist:
            return "l" + std::to_string(id.id);
        case ObjectId::kViewList:
            return ViewListId(id.view);
        case ObjectId::kGroup:
            return GroupId(id.view, id.value);
        case ObjectId::kDirectory:
        case ObjectId::kItem:
            break;
    }
    return TableLetter(id.table) + std::to_string(id.id);
}

std::string UpdateContainerOf(const ObjectId& id) {
    if (id.kind == ObjectId::kViewList || id.kind == ObjectId::kGroup)
        return ContainerIdOf(id.table);
    return FormatObjectId(id);
}

namespace {

// A subtitle is shown as an item while its video is.
const char kShownSubtitle[] = "video_path IN (SELECT path FROM video WHERE NOT hidden)";

// The column "value" of the first row of `sql` (run with `parameter` for its $1 if given) as
// a number; -1 when the query fails, 0 for no row.
long long QueryNumber(DBConnect* conn, const std::string& sql, const char* parameter = nullptr) {
    DBResult* result = nullptr;
    const int failed = parameter != nullptr
                           ? ZEVODBExecuteCached(conn, sql.c_str(), 1, &parameter, &result)
                           : ZEVODBExecute(conn, sql.c_str(), &result);
    if (failed != 0)
        return -1;
    DBRow row{};
    long long value = 0;
    if (ZEVODBFetchRow(result, &row) == 0) {
        const char* text = ZEVODBFetchField(result, row, "value");
        value = text ? strtoll(text, nullptr, 10) : 0;
    }
    ZEVODBFreeResult(result);
    return value;
}

}  // namespace

std::string ConditionKey(const std::string& condition, const std::vector<std::string>& values) {
    std::string key = condition;
    for (const std::string& value : values)
        key += "\x1f" + std::to_string(value.size()) + ":" + value;
    return key;
}

void AddListingCondition(Calyx::MediaQuery& db, const std::string& condition,
                         const std::vector<std::string>& values) {
    if (values.empty())
        db.AddCondition(condition);
    else
        db.AddCondition(condition, values);
}

long long Catalog::Count(Calyx::MEDIA_TABLE_TYPE table, const std::string& condition,
                         const std::vector<std::string>& values) {
    const long long stamp = SystemUpdateId();
    const std::string key = std::string(1, TableLetter(table)) + ConditionKey(condition, values);
    long long count = stamp < 0 ? -1 : stamps_->FindCount(stamp, key);
    if (count >= 0)
        return count;
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    Calyx::MediaQuery db(table, conn);
    db.AddCondition(kShownRows);
    AddListingCondition(db, condition, values);
    if (db.Select("COUNT(id) AS total", "", 0, 0, "") < 1 || !db.NextRow())
        return -1;
    count = strtoll(db.FetchField("total").c_str(), nullptr, 10);
    if (stamp >= 0)
        stamps_->StoreCount(stamp, key, count);
    return count;
}

namespace {

// The key of a mark: the listing and the position in it.
std::string MarkKey(const Listing& listing, long long position) {
    return std::string(1, TableLetter(listing.table)) + "|" +
           ConditionKey(listing.condition, listing.values) + "|" + std::to_string(position);
}

// A condition that holds for the rows of one page of `listing` alone (picked by ids; an
// array, so that the rows are then fetched by their primary key, not by a join that reads
// the whole listing again). Its placeholders are the listing's.
std::string PageKeys(const Listing& listing, const std::string& orderBy, long long first,
                     long long wanted) {
    std::string sql = std::string("id = ANY(ARRAY(SELECT id FROM ") + SqlTableOf(listing.table) +
                      " WHERE " + kShownRows;
    if (!listing.condition.empty())
        sql += " AND (" + listing.condition + ")";
    return sql + " ORDER BY " + orderBy + " LIMIT " + std::to_string(wanted) + " OFFSET " +
           std::to_string(first) + "))";
}

}  // namespace

long long Catalog::Page(const std::vector<Listing>& listings, const std::string& orderBy,
                        long long offset, long long limit,
                        const std::function<void(const Entry&)>& row, long long& total) {
    total = 0;
    long long handed = 0;
    auto entry = std::make_unique<Entry>();
    for (const Listing& listing : listings) {
        long long count = listing.subtitles
                              ? CountSubtitles(listing.condition, listing.values)
                              : Count(listing.table, listing.condition, listing.values);
        if (count < 0)
            return -1;
        long long first = std::max(0LL, offset - total);
        total += count;
        // Counted and selected in two statements: rows added in between must not make a
        // page longer than its TotalMatches.
        long long wanted = std::min(limit - handed, count - first);
        if (first >= count || wanted <= 0)
            continue;
        if (listing.subtitles) {
            const long long rows =
                SubtitleRows(listing.condition, listing.values, first, wanted, row);
            if (rows < 0)
                return -1;
            handed += rows;
            continue;
        }
        DBConnect* conn = Conn();
        if (conn == nullptr)
            return -1;
        auto db = std::make_unique<Calyx::MediaQuery>(listing.table, conn);
        const int rows = SelectPage(db, listing, orderBy, first, wanted);
        if (rows < 0)
            return -1;
        entry->table = listing.table;
        PageMark last;
        while (db->NextRow()) {
            last.title = db->FetchField("title");
            last.id = strtoll(db->FetchField("id").c_str(), nullptr, 10);
            if (!FetchEntry(*db, *entry))
                continue;
            row(*entry);
            ++handed;
        }
        // Where the next page of an in-order walk starts. An empty title may be an SQL
        // NULL, which no mark can stand for.
        const long long stamp = SystemUpdateId();
        if (orderBy == kTitleOrder && rows == wanted && !last.title.empty() && stamp >= 0)
            stamps_->StoreMark(stamp, MarkKey(listing, first + wanted), last);
    }
    return handed;
}

int Catalog::SelectPage(std::unique_ptr<Calyx::MediaQuery>& db, const Listing& listing,
                        const std::string& orderBy, long long first, long long wanted) {
    // A page that starts where an earlier one ended continues from that row (the title
    // index finds it at once, where an offset walks every row before it). Rows without a
    // title sort last and are not found that way: a page that comes out short is asked
    // for again by its offset.
    const long long stamp = SystemUpdateId();
    PageMark mark;
    if (first > 0 && orderBy == kTitleOrder && stamp >= 0 &&
        stamps_->FindMark(stamp, MarkKey(listing, first), mark)) {
        db->AddCondition(kShownRows);
        AddListingCondition(*db, listing.condition, listing.values);
        db->AddCondition("(title COLLATE calyx_title, id) > ($1 COLLATE calyx_title, $2)",
                         {mark.title, std::to_string(mark.id)});
        const int rows =
            db->Select(ItemColumns(listing.table), orderBy, 0, static_cast<int>(wanted), "");
        if (rows < 0 || rows == wanted)
            return rows;
        db = std::make_unique<Calyx::MediaQuery>(listing.table, Conn());
    }
    db->AddCondition(kShownRows);
    AddListingCondition(*db, listing.condition, listing.values);
    // The page's rows are picked by a narrow statement first: rows skipped by an offset
    // are then neither read whole nor given their extras (subselects per row).
    const bool narrowed = first > 0 && !orderBy.empty();
    if (narrowed)
        AddListingCondition(*db, PageKeys(listing, orderBy, first, wanted), listing.values);
    return db->Select(ItemColumns(listing.table), orderBy, narrowed ? 0 : static_cast<int>(first),
                      static_cast<int>(wanted), "");
}

int Catalog::Find(Calyx::MEDIA_TABLE_TYPE table, long long id, Entry& entry) {
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    Calyx::MediaQuery db(table, conn);
    db.AddCondition(kShownRows);
    db.AddCondition("id = $1", {std::to_string(id)});
    int rows = db.Select(ItemColumns(table), "", 0, 1, "");
    if (rows < 0)
        return -1;
    entry.table = table;
    return rows > 0 && db.NextRow() && FetchEntry(db, entry) ? 1 : 0;
}

long long Catalog::CountSubtitles(const std::string& condition,
                                  const std::vector<std::string>& values) {
    const long long stamp = SystemUpdateId();
    const std::string key = "s" + ConditionKey(condition, values);
    long long count = stamp < 0 ? -1 : stamps_->FindCount(stamp, key);
    if (count >= 0)
        return count;
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    Calyx::MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn);
    if (db.Execute(std::string("SELECT COUNT(id) AS total FROM subtitle WHERE ") + kShownSubtitle +
                       (condition.empty() ? "" : " AND " + condition),
                   values) < 1 ||
        !db.NextRow())
        return -1;
    count = strtoll(db.FetchField("total").c_str(), nullptr, 10);
    if (stamp >= 0)
        stamps_->StoreCount(stamp, key, count);
    return count;
}

long long Catalog::SubtitleRows(const std::string& condition,
                                const std::vector<std::string>& values, long long offset,
                                long long limit, const std::function<void(const Entry&)>& row) {
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    Calyx::MediaQuery db(Calyx::MEDIA_TABLE_VIDEO, conn);
    std::string sql =
        std::string("SELECT id, parent_id, path, language, format, filesize FROM subtitle WHERE ") +
        kShownSubtitle + (condition.empty() ? "" : " AND " + condition) + " ORDER BY path, id";
    if (limit > 0)
        sql += " LIMIT " + std::to_string(limit);
    if (offset > 0)
        sql += " OFFSET " + std::to_string(offset);
    if (db.Execute(sql, values) < 0)
        return -1;
    auto entry = std::make_unique<Entry>();
    entry->table = Calyx::MEDIA_TABLE_VIDEO;
    entry->subtitle = true;
    long long handed = 0;
    while (db.NextRow()) {
        ZEVO_MEDIA_INFO& info = entry->info;
        info = ZEVO_MEDIA_INFO{};
        info.id = strtoll(db.FetchField("id").c_str(), nullptr, 10);
        info.parent_id = strtoll(db.FetchField("parent_id").c_str(), nullptr, 10);
        info.filesize = strtoll(db.FetchField("filesize").c_str(), nullptr, 10);
        snprintf(info.path, sizeof info.path, "%s", db.FetchField("path").c_str());
        entry->extras = ItemExtras{};
        entry->extras.subtitles.push_back(
            {info.id, db.FetchField("format"), db.FetchField("language")});
        row(*entry);
        ++handed;
    }
    return handed;
}

int Catalog::FindSubtitle(long long id, Entry& entry) {
    long long found = SubtitleRows("id = $1", {std::to_string(id)}, 0, 1,
                                   [&entry](const Entry& row) { entry = row; });
    return found < 0 ? -1 : found > 0 ? 1 : 0;
}

long long StampCache::Recent(std::chrono::steady_clock::duration period) {
    std::lock_guard<std::mutex> lock(mutex_);
    return stamp_ >= 0 && std::chrono::steady_clock::now() - at_ < period ? stamp_ : -1;
}

void StampCache::Store(long long stamp) {
    std::lock_guard<std::mutex> lock(mutex_);
    stamp_ = stamp;
    at_ = std::chrono::steady_clock::now();
    // Dropped even when the stamp is the same: a change the stamp cannot see (a row moved
    // to another folder) is then at most one period old here too.
    counts_.clear();
}

void StampCache::Forget() {
    std::lock_guard<std::mutex> lock(mutex_);
    stamp_ = -1;
    counts_.clear();
}

long long StampCache::FindCount(long long stamp, const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stamp != stamp_)
        return -1;
    auto found = counts_.find(key);
    return found == counts_.end() ? -1 : found->second;
}

void StampCache::StoreCount(long long stamp, const std::string& key, long long count) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stamp != stamp_)
        return;  // counted under a stamp that has since been replaced
    if (counts_.size() >= kMaxCounts)
        counts_.clear();
    counts_[key] = count;
}

bool StampCache::FindMark(long long stamp, const std::string& key, PageMark& mark) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stamp != markStamp_)
        return false;
    auto found = marks_.find(key);
    if (found == marks_.end())
        return false;
    mark = found->second;
    return true;
}

void StampCache::StoreMark(long long stamp, const std::string& key, const PageMark& mark) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stamp != markStamp_) {
        marks_.clear();
        markStamp_ = stamp;
    }
    if (marks_.size() >= kMaxMarks)
        marks_.clear();
    marks_[key] = mark;
}

long long Catalog::SystemUpdateId() {
    long long recent = stamps_->Recent(std::chrono::seconds(kStampSeconds));
    if (recent >= 0)
        return recent;
    long long id = QueryNumber(Conn(), "SELECT system_update_id AS value FROM index_update");
    if (id >= 0)
        stamps_->Store(id);
    else
        stamps_->Forget();
    return id;
}

long long Catalog::ReadUpdates(long long since, size_t limit, std::vector<ContainerUpdate>& changed,
                               long long& changedAt) {
    DBResult* ids = nullptr;
    if (ZEVODBExecute(Conn(),
                      "SELECT system_update_id, COALESCE(changed_at, 0) AS changed_at FROM "
                      "index_update",
                      &ids) != 0) {
        stamps_->Forget();
        return -1;
    }
    DBRow first{};
    long long id = -1;
    if (ZEVODBFetchRow(ids, &first) == 0) {
        const char* value = ZEVODBFetchField(ids, first, "system_update_id");
        const char* at = ZEVODBFetchField(ids, first, "changed_at");
        id = value ? strtoll(value, nullptr, 10) : -1;
        changedAt = at ? strtoll(at, nullptr, 10) : 0;
    }
    ZEVODBFreeResult(ids);
    if (id < 0) {
        stamps_->Forget();
        return -1;
    }
    stamps_->Store(id);
    if (limit == 0)
        return id;
    DBResult* result = nullptr;
    const std::string sql = "SELECT container, update_id FROM container_update WHERE update_id > " +
                            std::to_string(since) + " ORDER BY update_id, container LIMIT " +
                            std::to_string(limit);
    if (ZEVODBExecute(Conn(), sql.c_str(), &result) != 0)
        return -1;
    DBRow row{};
    while (ZEVODBFetchRow(result, &row) == 0) {
        const char* container = ZEVODBFetchField(result, row, "container");
        const char* value = ZEVODBFetchField(result, row, "update_id");
        if (container && value)
            changed.push_back({container, strtoll(value, nullptr, 10)});
    }
    ZEVODBFreeResult(result);
    return id;
}

long long Catalog::ContainerUpdateId(const std::string& container) {
    const long long stamp = SystemUpdateId();
    const std::string key = "u" + container;
    long long id = stamp < 0 ? -1 : stamps_->FindCount(stamp, key);
    if (id >= 0)
        return id;
    id = QueryNumber(Conn(), "SELECT update_id AS value FROM container_update WHERE container = $1",
                     container.c_str());
    if (id >= 0 && stamp >= 0)
        stamps_->StoreCount(stamp, key, id);
    return id;
}

}  // namespace calyx_dms
