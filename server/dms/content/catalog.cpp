#include "content/catalog.h"

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>

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

bool ParseObjectId(const std::string& text, ObjectId& out) {
    if (text == "0") {
        out = ObjectId{};
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
        case ObjectId::kDirectory:
        case ObjectId::kItem:
            break;
    }
    return TableLetter(id.table) + std::to_string(id.id);
}

long long Catalog::Count(Calyx::MEDIA_TABLE_TYPE table, const std::string& condition) {
    const long long stamp = UpdateStamp();
    const std::string key = std::string(1, TableLetter(table)) + condition;
    long long count = stamp < 0 ? -1 : stamps_->FindCount(stamp, key);
    if (count >= 0)
        return count;
    Calyx::MediaDB db(table, conn_);
    db.AddCondition(condition);
    if (db.Select("COUNT(id) AS total", "", 0, 0, "") < 1 || !db.NextRow())
        return -1;
    count = strtoll(db.FetchField("total").c_str(), nullptr, 10);
    if (stamp >= 0)
        stamps_->StoreCount(stamp, key, count);
    return count;
}

long long Catalog::Page(const std::vector<Listing>& listings, const std::string& orderBy,
                        long long offset, long long limit,
                        const std::function<void(const Entry&)>& row, long long& total) {
    total = 0;
    long long handed = 0;
    auto entry = std::make_unique<Entry>();
    for (const Listing& listing : listings) {
        long long count = listing.subtitles ? CountSubtitles(listing.condition)
                                            : Count(listing.table, listing.condition);
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
            const long long rows = SubtitleRows(listing.condition, first, wanted, row);
            if (rows < 0)
                return -1;
            handed += rows;
            continue;
        }
        Calyx::MediaDB db(listing.table, conn_);
        db.AddCondition(listing.condition);
        if (db.Select(ItemColumns(listing.table), orderBy, static_cast<int>(first),
                      static_cast<int>(wanted), "") < 0)
            return -1;
        entry->table = listing.table;
        while (db.NextRow()) {
            if (!db.FetchMediaItem(entry->info))
                continue;
            ReadItemExtras(db, listing.table, entry->info.id, entry->extras);
            row(*entry);
            ++handed;
        }
    }
    return handed;
}

int Catalog::Find(Calyx::MEDIA_TABLE_TYPE table, long long id, Entry& entry) {
    Calyx::MediaDB db(table, conn_);
    db.AddCondition("id = " + std::to_string(id));
    int rows = db.Select(ItemColumns(table), "", 0, 1, "");
    if (rows < 0)
        return -1;
    entry.table = table;
    entry.subtitle = false;
    if (rows == 0 || !db.NextRow() || !db.FetchMediaItem(entry.info))
        return 0;
    ReadItemExtras(db, table, id, entry.extras);
    return 1;
}

long long Catalog::CountSubtitles(const std::string& condition) {
    const long long stamp = UpdateStamp();
    const std::string key = "s" + condition;
    long long count = stamp < 0 ? -1 : stamps_->FindCount(stamp, key);
    if (count >= 0)
        return count;
    Calyx::MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn_);
    if (db.Execute("SELECT COUNT(id) AS total FROM subtitle WHERE video_path <> ''" +
                   (condition.empty() ? "" : " AND " + condition)) < 1 ||
        !db.NextRow())
        return -1;
    count = strtoll(db.FetchField("total").c_str(), nullptr, 10);
    if (stamp >= 0)
        stamps_->StoreCount(stamp, key, count);
    return count;
}

long long Catalog::SubtitleRows(const std::string& condition, long long offset, long long limit,
                                const std::function<void(const Entry&)>& row) {
    Calyx::MediaDB db(Calyx::MEDIA_TABLE_VIDEO, conn_);
    std::string sql =
        "SELECT id, parent_id, path, language, format, filesize FROM subtitle WHERE "
        "video_path <> ''" +
        (condition.empty() ? "" : " AND " + condition) + " ORDER BY path, id";
    if (limit > 0)
        sql += " LIMIT " + std::to_string(limit);
    if (offset > 0)
        sql += " OFFSET " + std::to_string(offset);
    if (db.Execute(sql) < 0)
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
    long long found = SubtitleRows("id = " + std::to_string(id), 0, 1,
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

long long Catalog::UpdateStamp() {
    long long recent = stamps_->Recent(std::chrono::seconds(kStampSeconds));
    if (recent >= 0)
        return recent;
    long long stamp = 0;
    for (const TableName& t : kTables) {
        Calyx::MediaDB db(t.table, conn_);
        if (db.Select("COUNT(id) + COALESCE(MAX(id), 0) + COALESCE(MAX(mdate), 0) AS stamp", "", 0,
                      0, "") < 1 ||
            !db.NextRow())
            return -1;
        stamp += strtoll(db.FetchField("stamp").c_str(), nullptr, 10);
    }
    stamp %= 2147483647;
    stamps_->Store(stamp);
    return stamp;
}

}  // namespace calyx_dms
