#include "content/bookmarks.h"

#include <stdlib.h>

#include <memory>

#include "calyx/platform.h"

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

const char* MediaServerSchemaSql() {
    return R"sql(
CREATE TABLE IF NOT EXISTS bookmark (
    client_mac text   NOT NULL,
    video_id   bigint NOT NULL REFERENCES video (id) ON DELETE CASCADE,
    position   bigint NOT NULL CHECK (position > 0),
    updated    timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY (client_mac, video_id)
);
CREATE INDEX IF NOT EXISTS bookmark_video ON bookmark (video_id);
)sql";
}

bool ApplyServerSchema(DBConnect* conn, std::string& error) {
    // Two servers starting at once on one index would race over CREATE ... IF NOT EXISTS.
    if (!Execute(conn, std::string("BEGIN; SELECT pg_advisory_xact_lock(hashtext('calyx-dms "
                                   "schema ' || current_schema())); ") +
                           MediaServerSchemaSql() + " COMMIT;")) {
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
