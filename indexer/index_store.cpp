// Writing rows with parameterised statements: values never pass through SQL text.
#include "indexer/index_store.h"

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <memory>

#include "indexer/media_index_schema.h"

namespace calyx_indexer {

namespace {

struct ResultClearer {
    void operator()(PGresult* result) const { PQclear(result); }
};
using ResultPtr = std::unique_ptr<PGresult, ResultClearer>;

constexpr const char* kItemTables[] = {"video", "music", "photo", "playlist", "directory"};
// The columns of pictures made from a row's file, deleted with the row.
constexpr const char* kDerivedColumns = "cover_original, cover_thumbnail, cover_small, large";

// A LIKE pattern for every path below `indexedPath` ("\" escapes LIKE's own characters).
std::string LikeBelow(const std::string& indexedPath) {
    std::string pattern;
    for (char c : indexedPath) {
        if (c == '%' || c == '_' || c == '\\')
            pattern += '\\';
        pattern += c;
    }
    return pattern + (indexedPath == "/" ? "%" : "/%");
}

// The columns an item row writes, in the order of ItemValues.
constexpr const char* kItemColumns[] = {
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
    "thumbnail",
    "bits_per_sample",
    "cover_original",
    "cover_mime",
    "cover_width",
    "cover_height",
    "cover_thumbnail",
    "cover_small",
    "large",
};
constexpr size_t kItemColumnCount = sizeof kItemColumns / sizeof kItemColumns[0];

std::vector<std::string> ItemValues(const ItemRow& row) {
    const ProbedMedia& m = *row.media;
    using std::to_string;
    return {to_string(row.parentId),
            row.indexedPath,
            row.title,
            m.artist,
            m.album,
            m.genre,
            m.mimeType,
            to_string(row.size),
            to_string(m.duration),
            to_string(m.audioBitrate),
            to_string(m.frameBitrate),
            to_string(m.videoBitrate),
            to_string(m.frameRateNum),
            to_string(m.frameRateDen),
            to_string(m.sampleRate),
            to_string(m.channels),
            to_string(m.width),
            to_string(m.height),
            m.videoCodec,
            m.container,
            m.audioCodec,
            to_string(m.track),
            to_string(m.year),
            to_string(m.rotation),
            m.date,
            to_string(row.mtime),
            m.thumbnail,
            to_string(m.bitsPerSample),
            m.coverOriginal,
            m.coverMime,
            to_string(m.coverWidth),
            to_string(m.coverHeight),
            m.coverThumbnail,
            m.coverSmall,
            m.large};
}

// New rows sent in one COPY at most: a batch is also sent before any other statement.
constexpr size_t kRowsPerCopy = 1000;

// `value` as a field of COPY's text format (backslash escapes; no value is NULL).
void AppendCopyField(std::string& line, const std::string& value) {
    for (char c : value) {
        switch (c) {
            case '\\':
                line += "\\\\";
                break;
            case '\n':
                line += "\\n";
                break;
            case '\r':
                line += "\\r";
                break;
            case '\t':
                line += "\\t";
                break;
            default:
                line += c;
        }
    }
}

std::string CopyStatement(const std::string& table) {
    std::string columns;
    for (size_t i = 0; i < kItemColumnCount; ++i)
        columns += std::string(kItemColumns[i]) + ", ";
    return "COPY " + table + " (" + columns + "cdate) FROM STDIN";
}

std::string UpdateStatement(const std::string& table) {
    std::string sets;
    for (size_t i = 0; i < kItemColumnCount; ++i)
        sets += std::string(i ? ", " : "") + kItemColumns[i] + " = $" + std::to_string(i + 1);
    return "UPDATE " + table + " SET " + sets + " WHERE id = $" +
           std::to_string(kItemColumnCount + 1);
}

}  // namespace

IndexStore::~IndexStore() {
    if (conn_ != nullptr)
        PQfinish(conn_);
}

bool IndexStore::Open(const std::string& conninfo,
                      const std::function<void(const std::string&)>& waiting) {
    conn_ = PQconnectdb(conninfo.empty() ? "dbname=calyx user=admin" : conninfo.c_str());
    if (conn_ == nullptr || PQstatus(conn_) != CONNECTION_OK) {
        error_ = "cannot connect to the media index: " +
                 OneLine(conn_ ? PQerrorMessage(conn_) : "out of memory");
        return false;
    }
    PQsetClientEncoding(conn_, "UTF8");
    PQsetNoticeProcessor(
        conn_, [](void*, const char*) {}, nullptr);
    std::string schemaError;
    if (!ApplyMediaIndexSchema(conn_, schemaError)) {
        error_ = "cannot apply the media index schema: " + schemaError;
        return false;
    }
    // One run per database schema: a second one would race the first over the same rows.
    const char* lockKey = "hashtext('calyx index ' || current_schema())";
    ResultPtr lock(Run(std::string("SELECT pg_try_advisory_lock(") + lockKey + ")", {}));
    if (!lock)
        return false;
    if (std::string(PQgetvalue(lock.get(), 0, 0)) == "t")
        return true;
    const std::string busy = "another index run is writing this media index";
    if (!waiting) {
        error_ = busy + "; try again when it has finished";
        return false;
    }
    waiting(busy + " (the media server's or another calyx index); waiting for it to finish");
    return RunCommand(std::string("SELECT pg_advisory_lock(") + lockKey + ")", {});
}

PGresult* IndexStore::Run(const std::string& sql, const std::vector<std::string>& params) {
    // Statements see the rows written before them.
    if (waitingRowCount_ != 0 && !SendWaitingRows())
        return nullptr;
    std::vector<const char*> values;
    values.reserve(params.size());
    for (const std::string& param : params)
        values.push_back(param.c_str());
    PGresult* result = PQexecParams(conn_, sql.c_str(), static_cast<int>(values.size()), nullptr,
                                    values.data(), nullptr, nullptr, 0);
    const ExecStatusType status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        error_ = OneLine(PQerrorMessage(conn_));
        PQclear(result);
        return nullptr;
    }
    return result;
}

bool IndexStore::RunCommand(const std::string& sql, const std::vector<std::string>& params) {
    return ResultPtr(Run(sql, params)) != nullptr;
}

bool IndexStore::SendWaitingRows() {
    std::map<std::string, std::string> batches;
    batches.swap(waitingRows_);
    waitingRowCount_ = 0;
    for (const auto& [table, lines] : batches) {
        ResultPtr started(PQexec(conn_, CopyStatement(table).c_str()));
        if (PQresultStatus(started.get()) != PGRES_COPY_IN) {
            error_ = OneLine(PQerrorMessage(conn_));
            return false;
        }
        const bool sent = PQputCopyData(conn_, lines.data(), static_cast<int>(lines.size())) == 1 &&
                          PQputCopyEnd(conn_, nullptr) == 1;
        bool ok = sent;
        // Every result of the COPY is read, so that the connection takes statements again
        // (a connection still copying, after a failed send, is given up).
        while (PGresult* result = PQgetResult(conn_)) {
            const ExecStatusType status = PQresultStatus(result);
            PQclear(result);
            ok = ok && status == PGRES_COMMAND_OK;
            if (status == PGRES_COPY_IN || status == PGRES_COPY_BOTH)
                break;
        }
        if (!ok) {
            error_ = OneLine(PQerrorMessage(conn_));
            return false;
        }
    }
    return true;
}

bool IndexStore::LoadRows(std::unordered_map<std::string, IndexedRow>& rows) {
    return LoadRowsWhere("", {}, rows);
}

bool IndexStore::LoadRowsAt(const std::string& indexedPath, bool descendants,
                            std::unordered_map<std::string, IndexedRow>& rows) {
    if (!descendants)
        return LoadRowsWhere(" WHERE path = $1", {indexedPath}, rows);
    return LoadRowsWhere(" WHERE path = $1 OR path LIKE $2", {indexedPath, LikeBelow(indexedPath)},
                         rows);
}

int64_t IndexStore::FolderId(const std::string& indexedPath) {
    ResultPtr result(Run("SELECT id FROM directory WHERE path = $1", {indexedPath}));
    if (!result)
        return -1;
    return PQntuples(result.get()) == 0 ? 0 : strtoll(PQgetvalue(result.get(), 0, 0), nullptr, 10);
}

bool IndexStore::ReadMediaFolder(const std::string& indexedPath, bool& known, int64_t& missingSince,
                                 bool& mountPoint) {
    ResultPtr result(
        Run("SELECT COALESCE(missing_since, 0), mount_point FROM media_folder WHERE path = $1",
            {indexedPath}));
    if (!result)
        return false;
    known = PQntuples(result.get()) == 1;
    missingSince = known ? strtoll(PQgetvalue(result.get(), 0, 0), nullptr, 10) : 0;
    mountPoint = known && std::string(PQgetvalue(result.get(), 0, 1)) == "t";
    return true;
}

bool IndexStore::WriteMediaFolder(const std::string& indexedPath, int64_t missingSince,
                                  bool mountPoint) {
    return RunCommand(
        "INSERT INTO media_folder (path, missing_since, mount_point) VALUES ($1, NULLIF($2, 0), "
        "$3) ON CONFLICT (path) DO UPDATE SET missing_since = EXCLUDED.missing_since, "
        "mount_point = EXCLUDED.mount_point",
        {indexedPath, std::to_string(missingSince), mountPoint ? "true" : "false"});
}

bool IndexStore::RecordMediaFolder(const std::string& indexedPath) {
    return RunCommand("INSERT INTO media_folder (path) VALUES ($1) ON CONFLICT (path) DO NOTHING",
                      {indexedPath});
}

bool IndexStore::DeleteMediaFolder(const std::string& indexedPath) {
    return RunCommand("DELETE FROM media_folder WHERE path = $1", {indexedPath});
}

bool IndexStore::SetHiddenUnder(const std::string& indexedPath, bool hidden, size_t& changed) {
    changed = 0;
    for (const char* table : kItemTables) {
        ResultPtr result(Run(std::string("UPDATE ") + table +
                                 " SET hidden = $3 WHERE (path = $1 OR path LIKE $2) AND "
                                 "hidden <> $3",
                             {indexedPath, LikeBelow(indexedPath), hidden ? "true" : "false"}));
        if (!result)
            return false;
        const size_t rows = strtoull(PQcmdTuples(result.get()), nullptr, 10);
        changed += rows;
        if (rows > 0)  // every listing may have lost or regained rows
            Touch({TableContainer(table), table == std::string("directory") ? "folders" : "", "0"});
    }
    return true;
}

bool IndexStore::LoadRowsWhere(const std::string& where, const std::vector<std::string>& params,
                               std::unordered_map<std::string, IndexedRow>& rows) {
    for (const char* table : kItemTables) {
        ResultPtr result(Run(std::string("SELECT id, path, filesize, mdate, thumbnail, ") +
                                 kDerivedColumns + " FROM " + table + where,
                             params));
        if (!result)
            return false;
        const int count = PQntuples(result.get());
        rows.reserve(rows.size() + static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) {
            IndexedRow& row = rows[PQgetvalue(result.get(), i, 1)];
            row.table = table;
            row.id = strtoll(PQgetvalue(result.get(), i, 0), nullptr, 10);
            row.size = strtoll(PQgetvalue(result.get(), i, 2), nullptr, 10);
            row.mtime = strtoll(PQgetvalue(result.get(), i, 3), nullptr, 10);
            row.thumbnail = PQgetvalue(result.get(), i, 4);
            for (int column = 5; column < 9; ++column)
                if (!PQgetisnull(result.get(), i, column))
                    row.derived.emplace_back(PQgetvalue(result.get(), i, column));
        }
    }
    // Cover files (a file that was a row of its own before keeps that row here: the run
    // removes it when it finds the file to be a cover).
    // The same condition on the cover file's path: `where` is " WHERE <condition on path>".
    std::string coverWhere = " WHERE cover_file <> ''";
    if (!where.empty()) {
        std::string condition = where.substr(where.find("WHERE") + 5);
        for (size_t at = condition.find("path"); at != std::string::npos;
             at = condition.find("path", at + 10))
            condition.replace(at, 4, "cover_file");
        coverWhere += " AND (" + condition + ")";
    }
    ResultPtr covers(Run(std::string("SELECT id, cover_file, cover_size, cover_mtime, ") +
                             kDerivedColumns + " FROM directory" + coverWhere,
                         params));
    if (!covers)
        return false;
    for (int i = 0; i < PQntuples(covers.get()); ++i) {
        auto [found, added] = rows.try_emplace(PQgetvalue(covers.get(), i, 1));
        if (!added)
            continue;
        IndexedRow& row = found->second;
        row.table = "cover";
        row.id = strtoll(PQgetvalue(covers.get(), i, 0), nullptr, 10);
        row.size = strtoll(PQgetvalue(covers.get(), i, 2), nullptr, 10);
        row.mtime = strtoll(PQgetvalue(covers.get(), i, 3), nullptr, 10);
        for (int column = 4; column < 8; ++column)
            if (!PQgetisnull(covers.get(), i, column))
                row.derived.emplace_back(PQgetvalue(covers.get(), i, column));
    }
    ResultPtr subtitles(Run(
        "SELECT id, path, filesize, mdate, video_path, language FROM subtitle" + where, params));
    if (!subtitles)
        return false;
    for (int i = 0; i < PQntuples(subtitles.get()); ++i) {
        IndexedRow& row = rows[PQgetvalue(subtitles.get(), i, 1)];
        row.table = "subtitle";
        row.id = strtoll(PQgetvalue(subtitles.get(), i, 0), nullptr, 10);
        row.size = strtoll(PQgetvalue(subtitles.get(), i, 2), nullptr, 10);
        row.mtime = strtoll(PQgetvalue(subtitles.get(), i, 3), nullptr, 10);
        row.videoPath = PQgetvalue(subtitles.get(), i, 4);
        row.language = PQgetvalue(subtitles.get(), i, 5);
    }
    return true;
}

std::string IndexStore::TableContainer(const std::string& table) {
    if (table == "playlist")
        return "playlists";
    return table == "music" || table == "video" || table == "photo" ? table : "";
}

std::string IndexStore::DirectoryContainer(int64_t directoryId) {
    return directoryId > 0 ? "d" + std::to_string(directoryId) : "folders";
}

void IndexStore::Touch(std::initializer_list<std::string> containers) {
    changed_ = true;
    for (const std::string& container : containers)
        if (!container.empty())
            containers_.insert(container);
}

namespace {

// A text array literal: container names are letters and digits only.
std::string ArrayLiteral(const std::set<std::string>& names) {
    std::string literal = "{";
    for (const std::string& name : names)
        literal += (literal.size() > 1 ? "," : "") + name;
    return literal + "}";
}

}  // namespace

bool IndexStore::Begin() {
    changed_ = false;
    containers_.clear();
    removed_.clear();
    return RunCommand("BEGIN", {});
}

bool IndexStore::Analyze() {
    return RunCommand("VACUUM (ANALYZE) music, video, photo, playlist, directory, subtitle", {});
}

bool IndexStore::Commit() {
    if (changed_) {
        for (const std::string& gone : removed_)
            containers_.erase(gone);
        if (!removed_.empty() &&
            !RunCommand("DELETE FROM container_update WHERE container = ANY($1::text[])",
                        {ArrayLiteral(removed_)}))
            return false;
        if (!RunCommand("SELECT calyx_index_changed($1::text[])", {ArrayLiteral(containers_)}))
            return false;
        changed_ = false;
        containers_.clear();
        removed_.clear();
    }
    return RunCommand("COMMIT", {});
}

int64_t IndexStore::InsertFolder(const std::string& indexedPath, const std::string& title,
                                 int64_t parentId, int64_t mtime) {
    ResultPtr result(
        Run("INSERT INTO directory (parent_id, path, title, mdate, cdate) VALUES ($1, $2, $3, $4, "
            "$5) RETURNING id",
            {std::to_string(parentId), indexedPath, title, std::to_string(mtime),
             std::to_string(time(nullptr))}));
    const int64_t id = result ? strtoll(PQgetvalue(result.get(), 0, 0), nullptr, 10) : 0;
    if (id != 0)  // a new child of its parent, and a container of its own
        Touch({DirectoryContainer(parentId), DirectoryContainer(id), parentId == 0 ? "0" : ""});
    return id;
}

bool IndexStore::UpdateFolderTime(int64_t id, int64_t mtime) {
    Touch({});
    return RunCommand("UPDATE directory SET mdate = $2 WHERE id = $1",
                      {std::to_string(id), std::to_string(mtime)});
}

bool IndexStore::UpdateFolderTitle(int64_t id, const std::string& title) {
    return RunCommand("UPDATE directory SET title = $2 WHERE id = $1 AND title IS DISTINCT FROM $2",
                      {std::to_string(id), title});
}

bool IndexStore::WriteItem(const ItemRow& row, int64_t existingId) {
    const std::string table = MediaTableName(row.media->kind);
    std::vector<std::string> values = ItemValues(row);
    const std::string container = TableContainer(table);
    // A new item also changes the child count the root shows for its table.
    Touch({container,
           container.empty() || row.parentId == 0 ? "" : DirectoryContainer(row.parentId),
           container.empty() || existingId != 0 ? "" : "0"});
    if (existingId == 0) {
        // A bulk run inserts thousands of rows: one COPY per batch costs the server far
        // less than parsing and planning an INSERT for each.
        values.push_back(std::to_string(time(nullptr)));
        std::string& lines = waitingRows_[table];
        for (size_t i = 0; i < values.size(); ++i) {
            if (i != 0)
                lines += '\t';
            AppendCopyField(lines, values[i]);
        }
        lines += '\n';
        return ++waitingRowCount_ < kRowsPerCopy || SendWaitingRows();
    }
    values.push_back(std::to_string(existingId));
    return RunCommand(UpdateStatement(table), values);
}

bool IndexStore::SetVideoThumbnail(const std::string& indexedPath, int64_t folderId,
                                   const std::string& thumbnail) {
    // The item shows its thumbnail in its folder and in the videos' views.
    Touch({DirectoryContainer(folderId), "video"});
    return RunCommand(
        "UPDATE video SET thumbnail = $2 WHERE path = $1 AND thumbnail IS DISTINCT FROM $2",
        {indexedPath, thumbnail});
}

bool IndexStore::WriteFolderCover(int64_t folderId, const std::string& indexedPath, int64_t size,
                                  int64_t mtime, const ProbedMedia* cover) {
    const ProbedMedia none;
    const ProbedMedia& c = cover ? *cover : none;
    using std::to_string;
    // The folder's songs and videos show its cover; so does the folder in its parent.
    Touch({DirectoryContainer(folderId), "music", "video"});
    return RunCommand(
        "UPDATE directory SET cover_file = $2, cover_size = $3, cover_mtime = $4, "
        "cover_original = $5, cover_mime = $6, cover_width = $7, cover_height = $8, "
        "cover_thumbnail = $9, cover_small = $10 WHERE id = $1",
        {to_string(folderId), cover ? indexedPath : "", to_string(cover ? size : 0),
         to_string(cover ? mtime : 0), c.coverOriginal, c.coverMime, to_string(c.coverWidth),
         to_string(c.coverHeight), c.coverThumbnail, c.coverSmall});
}

bool IndexStore::FolderCoverFile(int64_t folderId, std::string& indexedPath) {
    ResultPtr result(Run("SELECT COALESCE(cover_file, '') FROM directory WHERE id = $1",
                         {std::to_string(folderId)}));
    if (!result)
        return false;
    indexedPath = PQntuples(result.get()) == 1 ? PQgetvalue(result.get(), 0, 0) : "";
    return true;
}

bool IndexStore::VideoPathsIn(int64_t folderId, std::vector<std::string>& paths) {
    ResultPtr result(
        Run("SELECT path FROM video WHERE parent_id = $1", {std::to_string(folderId)}));
    if (!result)
        return false;
    for (int i = 0; i < PQntuples(result.get()); ++i)
        paths.emplace_back(PQgetvalue(result.get(), i, 0));
    return true;
}

bool IndexStore::WriteSubtitle(const SubtitleRow& row, int64_t existingId) {
    using std::to_string;
    std::vector<std::string> values = {
        to_string(row.parentId), row.indexedPath,     row.videoPath, row.language, row.format,
        to_string(row.size),     to_string(row.mtime)};
    // Subtitles are res of their video, and items beside it.
    Touch({DirectoryContainer(row.parentId), "video"});
    if (existingId == 0)
        return RunCommand(
            "INSERT INTO subtitle (parent_id, path, video_path, language, format, filesize, "
            "mdate) VALUES ($1, $2, $3, $4, $5, $6, $7)",
            values);
    values.push_back(to_string(existingId));
    return RunCommand(
        "UPDATE subtitle SET parent_id = $1, path = $2, video_path = $3, language = $4, "
        "format = $5, filesize = $6, mdate = $7 WHERE id = $8",
        values);
}

bool IndexStore::WritePlaylistEntries(const std::string& indexedPath,
                                      const std::vector<PlaylistEntry>& entries) {
    ResultPtr found(Run("SELECT id FROM playlist WHERE path = $1", {indexedPath}));
    if (!found)
        return false;
    if (PQntuples(found.get()) != 1) {
        error_ = "the playlist row of " + indexedPath + " is missing";
        return false;
    }
    const std::string id = PQgetvalue(found.get(), 0, 0);
    Touch({"l" + id});
    if (!RunCommand("DELETE FROM playlist_entry WHERE playlist_id = $1", {id}))
        return false;
    // Many rows per statement: a playlist of thousands of entries stays a few statements.
    constexpr size_t kRowsPerStatement = 200;
    for (size_t first = 0; first < entries.size(); first += kRowsPerStatement) {
        std::string sql =
            "INSERT INTO playlist_entry (playlist_id, position, target, kind, title) VALUES ";
        std::vector<std::string> params = {id};
        const size_t last = std::min(entries.size(), first + kRowsPerStatement);
        for (size_t i = first; i < last; ++i) {
            const PlaylistEntry& entry = entries[i];
            const size_t n = params.size();
            sql += (i > first ? ", " : "") + std::string("($1, ") + std::to_string(i + 1) + ", $" +
                   std::to_string(n + 1) + ", $" + std::to_string(n + 2) + ", $" +
                   std::to_string(n + 3) + ")";
            params.push_back(entry.target);
            params.push_back(entry.kind == PlaylistEntry::Kind::kFile      ? "file"
                             : entry.kind == PlaylistEntry::Kind::kMissing ? "missing"
                                                                           : "url");
            params.push_back(entry.title);
        }
        if (!RunCommand(sql, params))
            return false;
    }
    return true;
}

bool IndexStore::Delete(const std::string& table, int64_t id) {
    ResultPtr result(
        Run("DELETE FROM " + table + " WHERE id = $1 RETURNING parent_id", {std::to_string(id)}));
    if (!result)
        return false;
    if (PQntuples(result.get()) == 0)
        return true;
    const int64_t parentId = strtoll(PQgetvalue(result.get(), 0, 0), nullptr, 10);
    if (table == "directory") {
        Touch({DirectoryContainer(parentId), parentId == 0 ? "0" : ""});
        removed_.insert(DirectoryContainer(id));
        return true;
    }
    const std::string container = TableContainer(table);
    Touch({container, container.empty() || parentId == 0 ? "" : DirectoryContainer(parentId),
           container.empty() ? "" : "0"});
    return true;
}

}  // namespace calyx_indexer
