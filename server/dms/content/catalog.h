// What the index holds, in ContentDirectory terms: object ids and the pages of children
// of each container. Reads the media index through MediaDB only, never writes it.
#ifndef CALYX_DMS_CATALOG_H
#define CALYX_DMS_CATALOG_H

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "calyx/media_db.h"
#include "calyx/types.h"
#include "content/item_extras.h"
#include "content/views.h"
#include "store/index_connection.h"

namespace calyx_dms {

// Object ids: "0" the root; "music", "video", "photo" every item of a table; "folders"
// the top directories; "d<id>" a directory row; "m<id>", "v<id>", "p<id>" an item;
// "s<id>" a subtitle file shown as an item (its table is the video table's);
// "playlists" every playlist, "l<id>" a playlist row; the lists of a view ("artists",
// ...) and its groups ("ar<hex>", "y2018", ...: content/views.h).
struct ObjectId {
    enum Kind {
        kRoot,
        kTable,
        kFolders,
        kDirectory,
        kItem,
        kSubtitle,
        kPlaylists,
        kPlaylist,
        kViewList,
        kGroup
    } kind = kRoot;
    Calyx::MEDIA_TABLE_TYPE table = Calyx::MEDIA_TABLE_MUSIC;
    long long id = 0;
    View view = View::kArtist;  // kViewList, kGroup
    std::string value;          // kGroup: the group's value
};

// False for text that is not one of the forms above.
bool ParseObjectId(const std::string& text, ObjectId& out);
std::string FormatObjectId(const ObjectId& id);
// "music", "video", "photo" or "d<id>" / "folders" for a directory's parent.
std::string ContainerIdOf(Calyx::MEDIA_TABLE_TYPE table);
char TableLetter(Calyx::MEDIA_TABLE_TYPE table);
bool TableOfLetter(char letter, Calyx::MEDIA_TABLE_TYPE& table);

// Condition of every read: hidden rows belong to a media folder that is gone for now.
inline constexpr char kShownRows[] = "NOT hidden";
// The order of a listing by title (the default order, and that of "+dc:title").
inline constexpr char kTitleOrder[] = "title COLLATE calyx_title ASC, id ASC";

// One source of children: the rows of `table` that pass `condition` (SQL, may be ""), or
// with `subtitles` the subtitle files of videos that pass it. The condition's values are
// written $1, $2, ... in it and given in `values`, sent apart from the statement (which is
// then prepared once per connection, whatever the values).
struct Listing {
    Calyx::MEDIA_TABLE_TYPE table;
    std::string condition;
    bool subtitles = false;
    std::vector<std::string> values = {};
};

// The SQL name of a table of the index ("music", "video", "photo", "directory", "playlist").
const char* SqlTableOf(Calyx::MEDIA_TABLE_TYPE table);

// A container whose update id changed, as ContainerUpdateIDs names it.
struct ContainerUpdate {
    std::string container;
    long long updateId;
};

// A row of the index with the table it came from, the columns the record has no field
// for, and what the index holds beside it. A subtitle shown as an item has `subtitle` set,
// the video table, its id, folder, path and size in `info` and its facts as the one entry
// of `extras.subtitles`.
struct Entry {
    Calyx::MEDIA_TABLE_TYPE table;
    ZEVO_MEDIA_INFO info;
    int bitsPerSample = 0;  // of the audio samples (0: unknown or a lossy codec)
    ItemExtras extras;
    bool subtitle = false;
};

// A group of a view: its value, its number of items and (albums) its cover: the
// embedded picture of one of its songs, else the cover file of one of their folders.
struct Group {
    std::string value;
    long long count = 0;     // its items
    long long children = 0;  // its container's children: its items, or a year's months
    CoverFacts cover;
};

// `condition` with its values, as part of a key of the counts and marks kept.
std::string ConditionKey(const std::string& condition, const std::vector<std::string>& values);
// Adds `condition` with its `values` to `db` (without values: as the plain condition).
void AddListingCondition(Calyx::MediaQuery& db, const std::string& condition,
                         const std::vector<std::string>& values);

// The update-id name of an object's container: a view's containers follow their table's.
std::string UpdateContainerOf(const ObjectId& id);

// The current row of `db` (a Select of ItemColumns(entry.table)) into `entry.info`, the
// columns beyond the record and the row's extras; false when the row cannot be read.
bool FetchEntry(Calyx::MediaDB& db, Entry& entry);

// A position in a listing ordered by title: the title and id of the row before it.
struct PageMark {
    std::string title;
    long long id = 0;
};

// The last SystemUpdateID read, and the row counts and container update ids seen since,
// shared by the catalogs of every connection: the update id is read at most once per
// period whatever the number of connections, and a page needs one statement instead of
// two while the index stays as it is.
class StampCache {
public:
    // The stamp read less than `period` ago, or -1.
    long long Recent(std::chrono::steady_clock::duration period);
    // A freshly read stamp; every count kept so far is dropped.
    void Store(long long stamp);
    // A read of the stamp failed (the database is away): no stamp is recent until the next
    // read succeeds, and the counts are dropped.
    void Forget();
    // The count kept for `key` while `stamp` is the current stamp, or -1.
    long long FindCount(long long stamp, const std::string& key);
    void StoreCount(long long stamp, const std::string& key, long long count);
    // Where a listing's page ended: the title and id of the row before `key`'s position,
    // kept while the index keeps the update id `stamp` (a client walking a container in
    // order asks next for the page that starts there). False when none is kept.
    bool FindMark(long long stamp, const std::string& key, PageMark& mark);
    void StoreMark(long long stamp, const std::string& key, const PageMark& mark);

private:
    // Search conditions make keys without end: past this many the counts start afresh.
    static constexpr size_t kMaxCounts = 4096;
    std::mutex mutex_;
    long long stamp_ = -1;
    std::chrono::steady_clock::time_point at_;
    std::unordered_map<std::string, long long> counts_;
    // Kept across re-reads of an unchanged stamp (unlike the counts): a mark only says
    // where to continue in the listing's order, which stays right while nothing changes.
    static constexpr size_t kMaxMarks = 4096;
    long long markStamp_ = -1;
    std::unordered_map<std::string, PageMark> marks_;
};

class Catalog {
public:
    // `connection` (borrowed) serves every query of this catalog, one thread at a time;
    // while it cannot be made, every query fails (-1). `stamps` (borrowed) may be shared
    // between threads.
    Catalog(IndexConnection& connection, StampCache& stamps)
        : connection_(&connection), stamps_(&stamps) {}
    // The connection, for the server's own table (bookmarks) on the same thread; null while
    // the database server cannot be reached.
    DBConnect* Connection() { return connection_->Get(); }

    // Rows of the listings one after another, ordered by `orderBy` within each: the total
    // count in `total`, and the rows from `offset` on, at most `limit`, handed to `row` one
    // at a time (the entry is reused: a row is about 10 KiB, a page of them would be
    // megabytes per request). Returns the number of rows handed over, or -1 when a query
    // fails.
    long long Page(const std::vector<Listing>& listings, const std::string& orderBy,
                   long long offset, long long limit, const std::function<void(const Entry&)>& row,
                   long long& total);
    // The rows of all `listings` as one list in `orderBy` order (over the columns title,
    // date and id; ties between tables in table order): a folder's songs, videos and photos
    // together. Counts, paging and the result as for Page.
    long long MergedPage(const std::vector<Listing>& listings, const std::string& orderBy,
                         long long offset, long long limit,
                         const std::function<void(const Entry&)>& row, long long& total);
    // The groups of `view` under `within` (a year for months, else ""), in value order: the
    // number of groups in `total`, those from `offset` on, at most `limit`, handed to
    // `row`. Returns the number handed over, or -1 when a query fails.
    long long GroupPage(View view, const std::string& within, long long offset, long long limit,
                        const std::function<void(const Group&)>& row, long long& total);
    // The group `value` of `view`: 1 found (with its count and cover), 0 none, -1 failed.
    int FindGroup(View view, const std::string& value, Group& group);
    // The items of playlist `id` in the playlist's order, of the tables in `tables` only:
    // entries that name no shown item of those tables are left out; a file named twice is
    // listed twice. Counts, paging and the result as for Page.
    long long PlaylistPage(long long id, const std::vector<Calyx::MEDIA_TABLE_TYPE>& tables,
                           long long offset, long long limit,
                           const std::function<void(const Entry&)>& row, long long& total);
    // Number of rows of `table` that pass `condition` (with the `values` of its $1, $2,
    // ...); -1 when the query fails. Kept until the update id is next read, so a count may
    // be up to a stamp period old. Hidden rows (of a media folder that is gone for the
    // moment) are never counted, listed or found.
    long long Count(Calyx::MEDIA_TABLE_TYPE table, const std::string& condition,
                    const std::vector<std::string>& values = {});
    // The row `id` of `table`. 0 when there is none, -1 when the query fails, 1 found.
    int Find(Calyx::MEDIA_TABLE_TYPE table, long long id, ZEVO_MEDIA_INFO& info);
    // The same, with the columns beyond the record and the row's extras; `entry.table` is
    // set to `table`.
    int Find(Calyx::MEDIA_TABLE_TYPE table, long long id, Entry& entry);
    // The subtitle file `id`, as Entry describes it; as Find.
    int FindSubtitle(long long id, Entry& entry);
    // The stored SystemUpdateID, which only ever grows; -1 when the query fails. Read at
    // most once per kStampSeconds for every connection together.
    long long SystemUpdateId();
    // The SystemUpdateID last read by any catalog, when read less than `age` ago; else -1.
    // Never queries (for the main loop).
    long long RecentSystemUpdateId(std::chrono::steady_clock::duration age) {
        return stamps_->Recent(age);
    }
    // The stored update id of `container` ("0", "music", "folders", "d<id>", ...; 0 for one
    // never changed), kept like the counts; -1 when the query fails.
    long long ContainerUpdateId(const std::string& container);
    // Reads the SystemUpdateID afresh (and keeps it for the other catalogs), the time of its
    // last change (`changedAt`, seconds since the epoch, 0: never) and the containers whose
    // update id is above `since`, lowest first, at most `limit` of them. Returns the
    // SystemUpdateID, or -1 when a query fails.
    long long ReadUpdates(long long since, size_t limit, std::vector<ContainerUpdate>& changed,
                          long long& changedAt);

private:
    static constexpr int kStampSeconds = 1;
    // The count of `sql` (which selects a column "value"; `values` for its $1, ...) kept
    // under `key` like Count's.
    long long CachedNumber(const std::string& key, const std::string& sql,
                           const std::vector<std::string>& values);
    // The rows named by `keys` (table letter, id) handed to `row` in that order; a key
    // whose row is gone meanwhile is skipped. The number handed over, or -1.
    long long HandRows(const std::vector<std::pair<char, long long>>& keys,
                       const std::function<void(const Entry&)>& row);
    long long CountSubtitles(const std::string& condition, const std::vector<std::string>& values);
    // Runs the statement of the page of `listing` from `first`, at most `wanted` rows, in
    // `db` (replaced when a first attempt from a mark came out short); its row count or -1.
    int SelectPage(std::unique_ptr<Calyx::MediaQuery>& db, const Listing& listing,
                   const std::string& orderBy, long long first, long long wanted);
    // The subtitle rows that pass `condition` (with `values`), `offset` on, at most `limit`
    // (0: all), each handed to `row`; the number handed, or -1.
    long long SubtitleRows(const std::string& condition, const std::vector<std::string>& values,
                           long long offset, long long limit,
                           const std::function<void(const Entry&)>& row);
    // The connection, or null while the database server cannot be reached.
    DBConnect* Conn() { return connection_->Get(); }

    IndexConnection* connection_;
    StampCache* stamps_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CATALOG_H
