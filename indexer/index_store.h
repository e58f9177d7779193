// The media index database as the indexer writes it (libpq).
#ifndef CALYX_INDEXER_INDEX_STORE_H
#define CALYX_INDEXER_INDEX_STORE_H

#include <libpq-fe.h>
#include <stdint.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "indexer/playlist_file.h"
#include "indexer/probed_media.h"

namespace calyx_indexer {

// What the index holds for one path. A folder's cover file has a row of table "cover"
// whose id is the folder's; a subtitle file one of table "subtitle".
struct IndexedRow {
    std::string table;
    int64_t id = 0;
    int64_t size = 0;
    int64_t mtime = 0;
    std::string thumbnail;
    std::vector<std::string> derived;  // other pictures made from the file (covers, large)
    std::string videoPath, language;   // subtitle: its video and language
};

// A subtitle row to write.
struct SubtitleRow {
    std::string indexedPath;
    std::string videoPath;  // indexed path of its video, or ""
    std::string language;
    std::string format;
    int64_t parentId = 0;
    int64_t size = 0;
    int64_t mtime = 0;
};

// A row to write: the probed fields and the file facts.
struct ItemRow {
    const ProbedMedia* media = nullptr;
    std::string indexedPath;
    std::string title;  // the tag title, or the file name without its extension
    int64_t parentId = 0;
    int64_t size = 0;
    int64_t mtime = 0;
};

// One connection for one run. Every method returns false (or 0) on failure and leaves
// the reason in error(); statements run inside the transaction of Begin/Commit. New item
// rows are sent in batches (COPY) before the next other statement, at Commit or once a
// batch is full, so a failed insert may be reported by a later call. Commit
// records the transaction's changes in the update ids (calyx_index_changed) first: the
// global id grows once per transaction that changed anything, and every container whose
// direct children changed takes the new value.
class IndexStore {
public:
    IndexStore() = default;
    ~IndexStore();
    IndexStore(const IndexStore&) = delete;
    IndexStore& operator=(const IndexStore&) = delete;

    // Connects (empty conninfo: database "calyx", user "admin"), applies the schema and
    // takes the run lock of the current schema (one run at a time). When another run holds
    // the lock: with `waiting` empty, fails at once; otherwise calls it once with the
    // reason and waits for that run to end.
    bool Open(const std::string& conninfo,
              const std::function<void(const std::string&)>& waiting = nullptr);

    // Every row of the five tables, by indexed path.
    bool LoadRows(std::unordered_map<std::string, IndexedRow>& rows);
    // The rows at `indexedPath`, and with `descendants` every row under it too.
    bool LoadRowsAt(const std::string& indexedPath, bool descendants,
                    std::unordered_map<std::string, IndexedRow>& rows);
    // The id of the directory row at `indexedPath`; 0 when there is none, -1 on failure.
    int64_t FolderId(const std::string& indexedPath);

    // What the index knows of a media folder: `known` false when it has no record;
    // `missingSince` 0 while present; `mountPoint` as last seen present.
    bool ReadMediaFolder(const std::string& indexedPath, bool& known, int64_t& missingSince,
                         bool& mountPoint);
    // Records a media folder as present (`missingSince` 0) or missing since then.
    bool WriteMediaFolder(const std::string& indexedPath, int64_t missingSince, bool mountPoint);
    // Records `indexedPath` as a media folder the index was filled from (kept as it is
    // when already recorded).
    bool RecordMediaFolder(const std::string& indexedPath);
    bool DeleteMediaFolder(const std::string& indexedPath);
    // Hides (or shows again) every row at and under `indexedPath`; `changed` counts them.
    bool SetHiddenUnder(const std::string& indexedPath, bool hidden, size_t& changed);

    bool Begin();
    bool Commit();
    // Refreshes the planner's statistics of the index's tables and marks their pages
    // visible to index-only scans (VACUUM (ANALYZE)); outside a transaction.
    bool Analyze();

    // Inserts a directory row; returns its id, or 0.
    int64_t InsertFolder(const std::string& indexedPath, const std::string& title, int64_t parentId,
                         int64_t mtime);
    bool UpdateFolderTime(int64_t id, int64_t mtime);
    bool UpdateFolderTitle(int64_t id, const std::string& title);
    // Inserts the item (existingId 0) or rewrites the row `existingId` of its table.
    bool WriteItem(const ItemRow& row, int64_t existingId);
    bool Delete(const std::string& table, int64_t id);
    // Records the thumbnail of the video row at `indexedPath` in folder `folderId`.
    bool SetVideoThumbnail(const std::string& indexedPath, int64_t folderId,
                           const std::string& thumbnail);
    // Records `cover` (a ProbeCoverFile result) as the cover of folder `folderId`, found in
    // the file `indexedPath` of that size and time; with a null `cover`, the folder has none.
    bool WriteFolderCover(int64_t folderId, const std::string& indexedPath, int64_t size,
                          int64_t mtime, const ProbedMedia* cover);
    // The cover file the index names for folder `folderId` ("" when none).
    bool FolderCoverFile(int64_t folderId, std::string& indexedPath);
    // The indexed paths of the videos the index holds in folder `folderId`.
    bool VideoPathsIn(int64_t folderId, std::vector<std::string>& paths);
    // Inserts the subtitle (existingId 0) or rewrites the row `existingId`.
    bool WriteSubtitle(const SubtitleRow& row, int64_t existingId);
    // Replaces the entries of the playlist row whose path is `indexedPath` (written first).
    bool WritePlaylistEntries(const std::string& indexedPath,
                              const std::vector<PlaylistEntry>& entries);

    const std::string& error() const { return error_; }

    // The update-id name of the container that lists the rows of `table` ("music",
    // "video", "photo", "playlists" for the playlist table); empty for directory.
    static std::string TableContainer(const std::string& table);
    // The update-id name of a directory row's container: "d<id>", or "folders" for 0.
    static std::string DirectoryContainer(int64_t directoryId);

private:
    // Runs a statement with text parameters; the result when it succeeded, else null.
    PGresult* Run(const std::string& sql, const std::vector<std::string>& params);
    bool RunCommand(const std::string& sql, const std::vector<std::string>& params);
    // Sends the item rows waiting to be inserted, one COPY per table.
    bool SendWaitingRows();

    bool LoadRowsWhere(const std::string& where, const std::vector<std::string>& params,
                       std::unordered_map<std::string, IndexedRow>& rows);
    // Notes a change of the children of `containers` for the next Commit.
    void Touch(std::initializer_list<std::string> containers);

    PGconn* conn_ = nullptr;
    std::string error_;
    bool changed_ = false;              // something was written since Begin
    std::set<std::string> containers_;  // containers whose children changed since Begin
    std::set<std::string> removed_;     // containers of directories deleted since Begin
    std::map<std::string, std::string> waitingRows_;  // table -> rows in COPY text format
    size_t waitingRowCount_ = 0;
};

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_INDEX_STORE_H
