// Thumbnails made after indexing, one row at a time, each in a transaction of its own.
#include "indexer/missing_thumbnails.h"

#include <libpq-fe.h>

#include <initializer_list>
#include <memory>

#include "calyx/core.h"
#include "indexer/indexed_path.h"
#include "indexer/media_probe.h"
#include "indexer/thumbnail.h"

namespace calyx_indexer {

namespace {

constexpr size_t kThumbnailFailuresKept = 10;

struct StatementResultFree {
    void operator()(PGresult* result) const { PQclear(result); }
};
using StatementResult = std::unique_ptr<PGresult, StatementResultFree>;

struct ThumbnailConnectionFree {
    void operator()(PGconn* conn) const { PQfinish(conn); }
};
using ThumbnailConnection = std::unique_ptr<PGconn, ThumbnailConnectionFree>;

// Runs `sql` with text parameters; null when it failed.
StatementResult RunStatement(PGconn* conn, const char* sql,
                             std::initializer_list<std::string> params) {
    std::vector<const char*> values;
    for (const std::string& param : params)
        values.push_back(param.c_str());
    StatementResult result(PQexecParams(conn, sql, static_cast<int>(values.size()), nullptr,
                                        values.data(), nullptr, nullptr, 0));
    const ExecStatusType status = PQresultStatus(result.get());
    return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK ? std::move(result) : nullptr;
}

// The row's path when it is shown and lacks a thumbnail, else "".
std::string PathLackingThumbnail(PGconn* conn, const ThumbnailTarget& target, std::string& parent) {
    const std::string sql = "SELECT path, parent_id FROM " + target.table +
                            " WHERE id = $1 AND NOT hidden AND coalesce(thumbnail, '') = ''";
    StatementResult row = RunStatement(conn, sql.c_str(), {std::to_string(target.id)});
    if (!row || PQntuples(row.get()) != 1)
        return "";
    parent = PQgetvalue(row.get(), 0, 1);
    return PQgetvalue(row.get(), 0, 0);
}

// Records the thumbnail; true when the row took it.
bool Record(PGconn* conn, const ThumbnailTarget& target, const std::string& indexedPath,
            const std::string& parent, const std::string& thumbnail) {
    if (!RunStatement(conn, "BEGIN", {}))
        return false;
    const std::string update = "UPDATE " + target.table +
                               " SET thumbnail = $1 WHERE id = $2 AND path = $3 AND "
                               "coalesce(thumbnail, '') = ''";
    StatementResult updated =
        RunStatement(conn, update.c_str(), {thumbnail, std::to_string(target.id), indexedPath});
    const bool took = updated && std::string(PQcmdTuples(updated.get())) == "1";
    const std::string containers = "{d" + parent + "," + target.table + "}";
    if (!took || !RunStatement(conn, "SELECT calyx_index_changed($1::text[])", {containers})) {
        RunStatement(conn, "ROLLBACK", {});
        return false;
    }
    return RunStatement(conn, "COMMIT", {}) != nullptr;
}

}  // namespace

MissingThumbnailSummary MakeMissingThumbnails(const MissingThumbnailOptions& options) {
    MissingThumbnailSummary summary;
    Calyx::Error folderError;
    if (options.thumbnailDir.empty() ||
        !Calyx::MakeDirectories(options.thumbnailDir, &folderError)) {
        summary.error = "cannot make the thumbnail folder " + options.thumbnailDir;
        return summary;
    }
    ThumbnailConnection conn(PQconnectdb(options.conninfo.empty() ? "dbname=calyx user=admin"
                                                                  : options.conninfo.c_str()));
    if (!conn || PQstatus(conn.get()) != CONNECTION_OK) {
        summary.error = "cannot connect to the media index: " +
                        std::string(conn ? PQerrorMessage(conn.get()) : "out of memory");
        return summary;
    }
    PQsetClientEncoding(conn.get(), "UTF8");
    PQsetNoticeProcessor(
        conn.get(), [](void*, const char*) {}, nullptr);
    for (const ThumbnailTarget& target : options.targets) {
        if (target.table != "photo" && target.table != "video") {
            ++summary.skipped;
            continue;
        }
        std::string parent;
        const std::string indexedPath = PathLackingThumbnail(conn.get(), target, parent);
        if (indexedPath.empty()) {
            ++summary.skipped;
            continue;
        }
        const std::string thumbnail = options.thumbnailDir + "/" + ThumbnailFileName(indexedPath);
        const std::string why = WriteThumbnailOf(DecodeIndexedPath(indexedPath), thumbnail);
        if (!why.empty()) {
            ++summary.failed;
            if (summary.failures.size() < kThumbnailFailuresKept)
                summary.failures.push_back(indexedPath + ": " + why);
            continue;
        }
        if (Record(conn.get(), target, indexedPath, parent, thumbnail))
            ++summary.made;
        else
            ++summary.skipped;  // changed meanwhile: the next index run sees to it
    }
    return summary;
}

}  // namespace calyx_indexer
