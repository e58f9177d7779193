// Which file the server opens for a row of the index. A file is served only when its
// resolved path lies inside one of the media folders the index was filled from (the
// index records them in media_folder), unless links out of the folders are allowed
// (--follow-links); the resolved path itself is opened, and the opened file is checked to
// be that path, so a link swapped in between is caught. A file whose size or modification
// time differs from what the index recorded has changed since it was indexed and is
// refused until it is indexed again.
#ifndef CALYX_DMS_CONTENT_SERVED_FILE_H
#define CALYX_DMS_CONTENT_SERVED_FILE_H

#include <sys/stat.h>

#include <chrono>
#include <string>
#include <vector>

#include "calyx/types.h"
#include "store/index_connection.h"

namespace calyx_dms {

// The status of a file that changed since it was indexed.
constexpr unsigned kChangedSinceIndexed = 409;  // Conflict

// Whether `path` (resolved, absolute) is `root` or lies below it.
bool PathInside(const std::string& path, const std::string& root);

class ServedFiles {
public:
    // `connection` (borrowed; used on the main loop only) reads the media folders.
    ServedFiles(IndexConnection& connection, bool followLinks)
        : connection_(&connection), followLinks_(followLinks) {}

    // Opens the media file `path` of a row that recorded `indexedSize` bytes and
    // modification time `indexedMtime` (0: not recorded, not compared). Returns the open
    // descriptor with `st` filled, or -1 with `status` the HTTP status to answer: 404 for
    // no such regular file, 403 for a file outside the media folders, 409 for one that
    // changed since it was indexed, 503 when the media folders cannot be read.
    int OpenMedia(const std::string& path, long long indexedSize, long long indexedMtime,
                  struct stat& st, unsigned& status);
    // Opens a thumbnail the indexer wrote: never through a link.
    static int OpenThumbnail(const std::string& path, struct stat& st, unsigned& status);

private:
    // The media folders, resolved; read again when older than a few seconds.
    bool Roots(std::vector<std::string>& roots);

    IndexConnection* connection_;
    bool followLinks_;
    std::vector<std::string> roots_;
    std::chrono::steady_clock::time_point read_{};
    bool haveRead_ = false;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_SERVED_FILE_H
