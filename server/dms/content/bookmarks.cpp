#include "content/bookmarks.h"

#include <stdlib.h>

#include <memory>

#include "calyx/platform.h"
#include "indexer/media_index_schema.h"

namespace calyx_dms {

namespace {

struct ResultFree {
    void operator()(DBResult* result) const { ZEVODBFreeResult(result); }
};
using ResultPtr = std::unique_ptr<DBResult, ResultFree>;

// `text` as a quoted SQL literal ('' when it cannot be escaped).
std::string Literal(const std::string& text) {
    char* escaped = ZEVODBEscapeStrAlloc(text.c_str());
    std::string literal = std::string("'") + (escaped ? escaped : "") + "'";
    free(escaped);
    return literal;
}

bool Execute(DBConnect* conn, const std::string& sql, ResultPtr* out = nullptr) {
    DBResult* result = nullptr;
    if (ZEVODBExecute(conn, sql.c_str(), &result) != 0)
        return false;
    if (out)
        out->reset(result);
    else
        ZEVODBFreeResult(result);
    return true;
}

}  // namespace

bool ApplyServerSchema(DBConnect* conn, std::string& error) {
    if (!Execute(conn, calyx_indexer::MediaServerSchemaTransaction())) {
        Execute(conn, "ROLLBACK");
        error = "cannot create the bookmark table in the media index database";
        return false;
    }
    return true;
}

int SetBookmark(DBConnect* conn, const std::string& mac, long long videoId, long long seconds) {
    const std::string id = std::to_string(videoId);
    if (seconds <= 0)
        return Execute(conn, "DELETE FROM bookmark WHERE client_mac = " + Literal(mac) +
                                 " AND video_id = " + id)
                   ? 1
                   : -1;
    ResultPtr result;
    if (!Execute(conn,
                 "INSERT INTO bookmark (client_mac, video_id, position) SELECT " + Literal(mac) +
                     ", id, " + std::to_string(seconds) + " FROM video WHERE id = " + id +
                     " ON CONFLICT (client_mac, video_id) DO UPDATE SET position = "
                     "EXCLUDED.position, updated = now() RETURNING video_id",
                 &result))
        return -1;
    return ZEVODBNumRows(result.get()) == 1 ? 1 : 0;
}

bool BookmarksOf(DBConnect* conn, const std::string& mac,
                 std::unordered_map<long long, long long>& out) {
    out.clear();
    ResultPtr result;
    if (!Execute(conn, "SELECT video_id, position FROM bookmark WHERE client_mac = " + Literal(mac),
                 &result))
        return false;
    DBRow row{};
    while (ZEVODBFetchRow(result.get(), &row) == 0) {
        const char* id = ZEVODBFetchField(result.get(), row, "video_id");
        const char* position = ZEVODBFetchField(result.get(), row, "position");
        if (id && position)
            out[strtoll(id, nullptr, 10)] = strtoll(position, nullptr, 10);
    }
    return true;
}

}  // namespace calyx_dms
