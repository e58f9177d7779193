// Resume positions that clients (Samsung televisions) store with X_SetBookmark: one per
// client MAC and video, in a table of the server's own in the media index database. The
// one table the server writes; rows go with their video (deleted with it).
#ifndef CALYX_DMS_CONTENT_BOOKMARKS_H
#define CALYX_DMS_CONTENT_BOOKMARKS_H

#include <string>
#include <unordered_map>

#include "calyx/types.h"

namespace calyx_dms {

// Creates the server's tables (the bookmark table; sql/media_server.sql) when missing, as
// `calyx db init` does. False with `error` set when that fails (the
// index's own tables must exist first).
bool ApplyServerSchema(DBConnect* conn, std::string& error);

// Stores `seconds` as the resume position of video `videoId` for client `mac`; 0 removes
// it (played from the start, or to the end). 1 when stored, 0 when no such video exists,
// -1 when the statement fails.
int SetBookmark(DBConnect* conn, const std::string& mac, long long videoId, long long seconds);

// Video id -> resume position in seconds, of every bookmark of client `mac`. False when
// the query fails.
bool BookmarksOf(DBConnect* conn, const std::string& mac,
                 std::unordered_map<long long, long long>& out);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_BOOKMARKS_H
