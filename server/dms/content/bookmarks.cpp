#include "content/bookmarks.h"

#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

#include "calyx/platform.h"
#include "indexer/media_index_schema.h"

namespace calyx_dms {

namespace {

struct ResultFree {
    void operator()(DBResult* result) const { ZEVODBFreeResult(result); }
};
using ResultPtr = std::unique_ptr<DBResult, ResultFree>;

// Runs `sql` with `values` for its $1, $2, ... (sent apart from the text: every client
// shares one statement, prepared once per connection).
bool Execute(DBConnect* conn, const std::string& sql, const std::vector<std::string>& values = {},
             ResultPtr* out = nullptr) {
    std::vector<const char*> texts;
    texts.reserve(values.size());
    for (const std::string& value : values)
        texts.push_back(value.c_str());
    DBResult* result = nullptr;
    const int failed = values.empty()
                           ? ZEVODBExecute(conn, sql.c_str(), &result)
                           : ZEVODBExecuteCached(conn, sql.c_str(), static_cast<int>(texts.size()),
                                                 texts.data(), &result);
    if (failed != 0)
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
        return Execute(conn, "DELETE FROM bookmark WHERE client_mac = $1 AND video_id = $2",
                       {mac, id})
                   ? 1
                   : -1;
    ResultPtr result;
    if (!Execute(conn,
                 "INSERT INTO bookmark (client_mac, video_id, position) SELECT $1::text, id, "
                 "$2::bigint FROM "
                 "video WHERE id = $3 ON CONFLICT (client_mac, video_id) DO UPDATE SET position = "
                 "EXCLUDED.position, updated = now() RETURNING video_id",
                 {mac, std::to_string(seconds), id}, &result))
        return -1;
    return ZEVODBNumRows(result.get()) == 1 ? 1 : 0;
}

bool BookmarksOf(DBConnect* conn, const std::string& mac,
                 std::unordered_map<long long, long long>& out) {
    out.clear();
    ResultPtr result;
    if (!Execute(conn, "SELECT video_id, position FROM bookmark WHERE client_mac = $1", {mac},
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
