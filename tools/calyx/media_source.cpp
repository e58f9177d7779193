#include "media_source.h"

#include <memory>

#include "calyx/client.h"
#include "calyx/core.h"
#include "calyx/media_db.h"
#include "calyx/platform.h"
#include "tool.h"

namespace calyx_tool {

namespace {

struct ConnectionCloser {
    void operator()(DBConnect* conn) const { ZEVODBClose(conn); }
};
using Connection = std::unique_ptr<DBConnect, ConnectionCloser>;

// The tool opens the connection itself, with the parameters MediaDB uses, so that an
// unreachable server is told apart from an empty table.
Connection Connect() {
    Connection conn(ZEVODBConnect(nullptr, "admin", nullptr, "calyx"));
    if (!conn) {
        const std::string reason = Calyx::DBConnectFailureReason();
        Fail(
            "cannot connect to the media index (database \"calyx\", user \"admin\"; "
            "PGHOST and PGPORT choose the server)" +
            (reason.empty() ? std::string() : ": " + reason));
    }
    return conn;
}

// The library inserts both texts into SQL as they stand, so user text is escaped here:
// the codec for its '...' literal, the extension as a literal word (its pattern
// characters escaped) for the E'...' regular expression.
void ApplyFilters(Calyx::MediaDB& db, const MediaQuery& query) {
    for (const std::string& codec : query.excludeCodecs)
        db.AddExcludeVideoCodec(Calyx::SQLEscapeString(codec));
    for (const std::string& ext : query.excludeExts)
        db.AddExcludeExt(
            Calyx::SQLEscapeCondition(Calyx::DMSClientChecker::EscapeRegex(ext.c_str())).c_str());
}

[[noreturn]] void QueryFailed(DBConnect* conn, const MediaQuery& query) {
    const std::string reason = Calyx::DBConnectLastError(conn);
    Fail("media index query failed on table " + Quoted(query.type) +
         (reason.empty() ? "" : ": " + reason));
}

}  // namespace

Calyx::MEDIA_TABLE_TYPE MediaTypeFromWord(const std::string& word) {
    if (word == "music")
        return Calyx::MEDIA_TABLE_MUSIC;
    if (word == "video")
        return Calyx::MEDIA_TABLE_VIDEO;
    if (word == "photo")
        return Calyx::MEDIA_TABLE_PHOTO;
    if (word == "playlist")
        return Calyx::MEDIA_TABLE_PLAYLIST;
    if (word == "directory")
        return Calyx::MEDIA_TABLE_DIRECTORY;
    UsageFail("--type " + Quoted(word) + ": expected music, video, photo, playlist or directory");
}

int CountMediaItems(const MediaQuery& query) {
    const Calyx::MEDIA_TABLE_TYPE type = MediaTypeFromWord(query.type);
    Connection conn = Connect();
    Calyx::MediaDB db(type, conn.get());
    ApplyFilters(db, query);
    // SelectTotal's statement, run here so that a failed query is reported.
    if (db.Select("COUNT(id) as TOTAL", "", 0, 0, "") < 1 || !db.NextRow())
        QueryFailed(conn.get(), query);
    return db.FetchFieldAsInt("TOTAL");
}

std::vector<ZEVO_MEDIA_INFO> ListMediaItems(const MediaQuery& query) {
    const Calyx::MEDIA_TABLE_TYPE type = MediaTypeFromWord(query.type);
    Connection conn = Connect();
    std::vector<ZEVO_MEDIA_INFO> items;
    {
        Calyx::MediaDB db(type, conn.get());
        ApplyFilters(db, query);
        int rows =
            db.Select("*", query.order.empty() ? "id" : query.order, query.offset, query.limit, "");
        if (rows < 0)
            QueryFailed(conn.get(), query);
        items.reserve(static_cast<size_t>(rows));
        while (db.NextRow()) {
            items.emplace_back();
            if (!db.FetchMediaItem(items.back()))
                items.pop_back();
        }
    }
    return items;
}

}  // namespace calyx_tool
