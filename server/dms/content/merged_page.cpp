// A page of rows from several tables ordered as one list: one statement orders the keys of
// every table together and pages them; then each table's rows of the page are read in
// that order and handed over merged, so no more than one row is held at a time.
#include <stdlib.h>

#include <algorithm>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "content/catalog.h"

namespace calyx_dms {

namespace {

// "'m'" for music: the key of a table in the ordering statement.
std::string TableKey(Calyx::MEDIA_TABLE_TYPE table) {
    return std::string("'") + TableLetter(table) + "'";
}

// The statement that orders the keys of every listing together, into `sql` with its
// values (the listings' in turn, then the limit and offset: every page of a folder shares
// one statement). False when a listing's placeholders do not match its values.
bool KeyStatement(const std::vector<Listing>& listings, const std::string& orderBy, long long first,
                  long long wanted, std::string& sql, std::vector<std::string>& values) {
    sql = "SELECT t, id FROM (";
    values.clear();
    for (size_t i = 0; i < listings.size(); ++i) {
        const Listing& listing = listings[i];
        sql += (i ? " UNION ALL " : "") + std::string("SELECT ") + TableKey(listing.table) +
               "::text AS t, id, title, date FROM " + SqlTableOf(listing.table) + " WHERE " +
               kShownRows;
        std::string condition = listing.condition;
        if (!listing.values.empty() && !Calyx::ShiftPlaceholders(listing.condition, values.size(),
                                                                 listing.values.size(), condition))
            return false;
        values.insert(values.end(), listing.values.begin(), listing.values.end());
        if (!condition.empty())
            sql += " AND (" + condition + ")";
    }
    values.push_back(std::to_string(wanted));
    values.push_back(std::to_string(first));
    sql += ") AS merged ORDER BY " + orderBy + ", t LIMIT $" + std::to_string(values.size() - 1) +
           " OFFSET $" + std::to_string(values.size());
    return true;
}

}  // namespace

long long Catalog::MergedPage(const std::vector<Listing>& listings, const std::string& orderBy,
                              long long offset, long long limit,
                              const std::function<void(const Entry&)>& row, long long& total) {
    total = 0;
    std::vector<Listing> filled;  // the listings that hold rows
    for (const Listing& listing : listings) {
        const long long count = Count(listing.table, listing.condition, listing.values);
        if (count < 0)
            return -1;
        total += count;
        if (count > 0)
            filled.push_back(listing);
    }
    // Rows of one table alone (a folder of songs): that table's own ordered index pages
    // them, where ordering the tables together would sort every row.
    if (filled.size() == 1)
        return Page(filled, orderBy, offset, limit, row, total);
    const long long wanted = std::min(limit, total - offset);
    if (listings.empty() || wanted <= 0)
        return 0;

    // The page's keys, in order.
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    std::vector<std::pair<char, long long>> keys;
    {
        std::string sql;
        std::vector<std::string> values;
        if (!KeyStatement(listings, orderBy, offset, wanted, sql, values))
            return -1;
        Calyx::MediaQuery db(listings[0].table, conn);
        if (db.Execute(sql, values) < 0)
            return -1;
        while (db.NextRow())
            keys.emplace_back(db.FetchField("t")[0],
                              strtoll(db.FetchField("id").c_str(), nullptr, 10));
    }
    return HandRows(keys, row);
}

long long Catalog::HandRows(const std::vector<std::pair<char, long long>>& keys,
                            const std::function<void(const Entry&)>& row) {
    DBConnect* conn = Conn();
    if (conn == nullptr)
        return -1;
    // Each table's rows of the page, in the page's order (a row named twice comes twice).
    // The result sets are complete once a statement has run, so reading them in turn on
    // one connection is safe.
    std::map<char, std::unique_ptr<Calyx::MediaQuery>> cursors;
    std::map<char, std::string> ids;
    for (const auto& key : keys) {
        std::string& list = ids[key.first];
        list += (list.empty() ? "" : ",") + std::to_string(key.second);
    }
    for (const auto& [letter, list] : ids) {
        Calyx::MEDIA_TABLE_TYPE table;
        if (!TableOfLetter(letter, table))
            continue;
        const std::string name = SqlTableOf(table);
        auto db = std::make_unique<Calyx::MediaQuery>(table, conn);
        if (db->Execute("SELECT " + ItemColumns(table) + " FROM " + name +
                            " JOIN unnest($1::bigint[]) WITH ORDINALITY AS page_key(key_id, "
                            "key_n) ON " +
                            name + ".id = page_key.key_id ORDER BY page_key.key_n",
                        {"{" + list + "}"}) < 0)
            return -1;
        cursors[letter] = std::move(db);
    }
    auto entry = std::make_unique<Entry>();
    std::map<char, bool> pending;  // a row read but not handed over yet, per table
    long long handed = 0;
    for (const auto& key : keys) {
        auto cursor = cursors.find(key.first);
        if (cursor == cursors.end() || !TableOfLetter(key.first, entry->table))
            continue;
        // A row removed since the keys were read is missing from its table's rows: its
        // key is skipped and the row read stays for the next key of that table.
        if (!pending[key.first] && !cursor->second->NextRow())
            continue;
        pending[key.first] = true;
        if (strtoll(cursor->second->FetchField("id").c_str(), nullptr, 10) != key.second)
            continue;
        pending[key.first] = false;
        if (!FetchEntry(*cursor->second, *entry))
            continue;
        row(*entry);
        ++handed;
    }
    return handed;
}

}  // namespace calyx_dms
