// The container ids that Windows Media Player and the Xbox ask for without browsing to
// them first ("4": all music, "15": videos, ...).
#ifndef CALYX_DMS_CONTENT_WELL_KNOWN_IDS_H
#define CALYX_DMS_CONTENT_WELL_KNOWN_IDS_H

#include <string>

namespace calyx_dms {

// The server's own id for a well-known container id; any other text is returned as it
// is. The music views are the server's lists of groups: "5" genres, "6" artists, "7"
// albums, "F" playlists (these clients search them for containers of their class).
std::string OwnContainerId(const std::string& id);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_WELL_KNOWN_IDS_H
