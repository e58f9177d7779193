// The pages of the views and of playlists, counted and paged by the database: a page
// reads its own rows only, whatever the size of the index.
#include <stdlib.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "content/catalog.h"

namespace calyx_dms {

namespace {

// `condition`, whose placeholders $1, ... stand for `more`, renumbered to follow `values`,
// to which `more` is appended.
std::string Following(const std::string& condition, const std::vector<std::string>& more,
                      std::vector<std::string>& values) {
    std::string numbered = condition;
    if (!more.empty() && !Calyx::ShiftPlaceholders(condition, values.size(), more.size(), numbered))
        return "false";  // cannot be: the conditions are the views' own
    values.insert(values.end(), more.begin(), more.end());
    return numbered;
}

// The groups of `view` under `within` (and only `*only` when given), with their counts
// (with `countGroups` also the number of groups in the column "groups"), ordered by value
// and paged; an album also with the cover of one of its songs (own: an
// embedded picture) and of one of their folders (a cover file), looked up for the page's
// albums only. The year and the group are values of the statement, in `values`.
std::string GroupStatement(View view, const std::string& within, const std::string* only,
                           long long offset, long long limit, std::vector<std::string>& values,
                           bool countGroups = false) {
    const std::string value = GroupValueSql(view);
    const char* table = SqlTableOf(ViewTable(view));
    std::string where = kShownRows;
    values.clear();
    std::vector<std::string> more;
    const std::string condition = GroupsWithinValue(view, within, more);
    if (!condition.empty())
        where += " AND " + Following(condition, more, values);
    if (only != nullptr) {
        more.clear();
        const std::string group = GroupValueCondition(view, *only, more);
        where += " AND " + Following(group, more, values);
    }
    std::string inner = "SELECT " + value + " AS value, count(*) AS n";
    if (countGroups)  // every group's, before the page is cut: one pass for both
        inner += ", count(*) OVER () AS groups";
    if (view == View::kYear)
        inner += ", count(DISTINCT " + GroupValueSql(View::kMonth) + ") AS months";
    inner += std::string(" FROM ") + table + " WHERE " + where + " GROUP BY " + value +
             " ORDER BY " + value + " COLLATE calyx_title, " + value + " LIMIT " +
             std::to_string(limit) + " OFFSET " + std::to_string(offset);
    std::string sql = "SELECT g.*";
    if (view == View::kAlbum) {
        // The album's songs; '' stands for songs without the tag.
        const std::string songs =
            "NOT m.hidden AND (m.album = g.value OR (g.value = '' AND m.album IS NULL))";
        sql += ", (SELECT " + CoverTextSql("m") + " FROM music m WHERE " + songs +
               " AND m.cover_original <> '' ORDER BY m.id LIMIT 1) AS own_cover, (SELECT " +
               CoverTextSql("d") +
               " FROM directory d WHERE d.id = (SELECT min(m.parent_id) FROM music m WHERE " +
               songs +
               " AND EXISTS (SELECT 1 FROM directory x WHERE x.id = m.parent_id AND "
               "x.cover_original <> ''))) AS folder_cover";
    }
    return sql + " FROM (" + inner + ") AS g ORDER BY g.value COLLATE calyx_title, g.value";
}

// The current row of a GroupStatement into `group`.
void ReadGroup(Calyx::MediaDB& db, View view, Group& group) {
    group = Group{};
    group.value = db.FetchField("value");
    group.count = strtoll(db.FetchField("n").c_str(), nullptr, 10);
    group.children =
        view == View::kYear ? strtoll(db.FetchField("months").c_str(), nullptr, 10) : group.count;
    ParseCoverText(db.FetchField("own_cover"), 'm', group.cover);
    if (group.cover.owner == 0)
        ParseCoverText(db.FetchField("folder_cover"), 'd', group.cover);
}

}  // namespace

long long Catalog::CachedNumber(const std::string& key, const std::string& sql,
                                const std::vector<std::string>& values) {
    const long long stamp = SystemUpdateId();
    long long number = stamp < 0 ? -1 : stamps_->FindCount(stamp, key);
    if (number >= 0)
        return number;
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    Calyx::MediaQuery db(Calyx::MEDIA_TABLE_MUSIC, conn);
    if (db.Execute(sql, values) < 1 || !db.NextRow())
        return -1;
    number = strtoll(db.FetchField("value").c_str(), nullptr, 10);
    if (stamp >= 0)
        stamps_->StoreCount(stamp, key, number);
    return number;
}

long long Catalog::GroupPage(View view, const std::string& within, long long offset,
                             long long limit, const std::function<void(const Group&)>& row,
                             long long& total) {
    // The number of groups comes with the first page read under a stamp: a list that is
    // browsed page after page is counted once, and its first page costs one statement.
    const std::string key = "g" + std::string(ViewListId(view)) + within;
    const long long stamp = SystemUpdateId();
    total = stamp < 0 ? -1 : stamps_->FindCount(stamp, key);
    const bool counted = total >= 0;
    const long long wanted = counted ? std::min(limit, total - offset) : std::max(limit, 1LL);
    if (wanted <= 0)
        return 0;
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    Calyx::MediaQuery db(ViewTable(view), conn);
    std::vector<std::string> values;
    const std::string sql = GroupStatement(view, within, nullptr, offset, wanted, values, !counted);
    if (db.Execute(sql, values) < 0)
        return -1;
    long long handed = 0;
    Group group;
    while (db.NextRow()) {
        if (!counted && handed == 0)
            total = strtoll(db.FetchField("groups").c_str(), nullptr, 10);
        if (handed >= limit)
            break;  // the row read for the count only
        ReadGroup(db, view, group);
        row(group);
        ++handed;
    }
    if (!counted && handed == 0 && total < 0) {
        // Past the last group: no row told the number.
        values.clear();
        const std::string condition = GroupsWithinValue(view, within, values);
        if (db.Execute("SELECT count(*) AS value FROM (SELECT 1 FROM " +
                           std::string(SqlTableOf(ViewTable(view))) + " WHERE " + kShownRows +
                           (condition.empty() ? "" : " AND " + condition) + " GROUP BY " +
                           GroupValueSql(view) + ") AS g",
                       values) < 1 ||
            !db.NextRow())
            return -1;
        total = strtoll(db.FetchField("value").c_str(), nullptr, 10);
    }
    if (stamp >= 0 && !counted)
        stamps_->StoreCount(stamp, key, total);
    return handed;
}

int Catalog::FindGroup(View view, const std::string& value, Group& group) {
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    Calyx::MediaQuery db(ViewTable(view), conn);
    // A month is found under its own year only.
    const std::string within = view == View::kMonth ? value.substr(0, 4) : "";
    std::vector<std::string> values;
    const std::string sql = GroupStatement(view, within, &value, 0, 1, values);
    if (db.Execute(sql, values) < 0)
        return -1;
    if (!db.NextRow())
        return 0;
    ReadGroup(db, view, group);
    return 1;
}

long long Catalog::PlaylistPage(long long id, const std::vector<Calyx::MEDIA_TABLE_TYPE>& tables,
                                long long offset, long long limit,
                                const std::function<void(const Entry&)>& row, long long& total) {
    total = 0;
    if (tables.empty())
        return 0;
    // Each entry with the shown item of its path, in the tables asked for.
    std::string items;
    std::string key = "l" + std::to_string(id);
    for (Calyx::MEDIA_TABLE_TYPE table : tables) {
        key += TableLetter(table);
        items += std::string(items.empty() ? "" : " UNION ALL ") + "SELECT '" + TableLetter(table) +
                 "'::text AS t, id FROM " + SqlTableOf(table) + " WHERE path = e.target AND " +
                 kShownRows;
    }
    const std::string from =
        " FROM playlist_entry e CROSS JOIN LATERAL (" + items + ") AS k WHERE e.playlist_id = $1";
    const std::vector<std::string> values = {std::to_string(id)};
    total = CachedNumber(key, "SELECT count(*) AS value" + from, values);
    if (total < 0)
        return -1;
    const long long wanted = std::min(limit, total - offset);
    if (wanted <= 0)
        return 0;
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    std::vector<std::pair<char, long long>> keys;
    {
        Calyx::MediaQuery db(Calyx::MEDIA_TABLE_PLAYLIST, conn);
        if (db.Execute("SELECT k.t, k.id" + from + " ORDER BY e.position, k.t LIMIT " +
                           std::to_string(wanted) + " OFFSET " + std::to_string(offset),
                       values) < 0)
            return -1;
        while (db.NextRow())
            keys.emplace_back(db.FetchField("t")[0],
                              strtoll(db.FetchField("id").c_str(), nullptr, 10));
    }
    return HandRows(keys, row);
}

}  // namespace calyx_dms
