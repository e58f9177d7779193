// The media index database as the indexer writes it (libpq).
#ifndef CALYX_INDEXER_INDEX_STORE_H
#define CALYX_INDEXER_INDEX_STORE_H

#include <libpq-fe.h>
#include <stdint.h>

#include <string>
#include <unordered_map>
#include <vector>

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
// the reason in error(); statements run inside the transaction of Begin/Commit.
class IndexStore {
public:
    IndexStore() = default;
    ~IndexStore();
    IndexStore(const IndexStore&) = delete;
    IndexStore& operator=(const IndexStore&) = delete;

    // Connects (empty conninfo: database "calyx", user "admin"), applies the schema and
    // takes the run lock of the current schema (one run at a time).
    bool Open(const std::string& conninfo);

    // Every row of the five tables, by indexed path.
    bool LoadRows(std::unordered_map<std::string, IndexedRow>& rows);

    bool Begin();
    bool Commit();

    // Inserts a directory row; returns its id, or 0.
    int64_t InsertFolder(const std::string& indexedPath, const std::string& title, int64_t parentId,
                         int64_t mtime);
    bool UpdateFolderTime(int64_t id, int64_t mtime);
    // Inserts the item (existingId 0) or rewrites the row `existingId` of its table.
    bool WriteItem(const ItemRow& row, int64_t existingId);
    bool Delete(const std::string& table, int64_t id);
    // Records `cover` (a ProbeCoverFile result) as the cover of folder `folderId`, found in
    // the file `indexedPath` of that size and time; with a null `cover`, the folder has none.
    bool WriteFolderCover(int64_t folderId, const std::string& indexedPath, int64_t size,
                          int64_t mtime, const ProbedMedia* cover);
    // Inserts the subtitle (existingId 0) or rewrites the row `existingId`.
    bool WriteSubtitle(const SubtitleRow& row, int64_t existingId);

    const std::string& error() const { return error_; }

private:
    // Runs a statement with text parameters; the result when it succeeded, else null.
    PGresult* Run(const std::string& sql, const std::vector<std::string>& params);
    bool RunCommand(const std::string& sql, const std::vector<std::string>& params);

    PGconn* conn_ = nullptr;
    std::string error_;
};

// The schema script (sql/media_index.sql), built into the program.
const char* MediaIndexSchemaSql();

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_INDEX_STORE_H
