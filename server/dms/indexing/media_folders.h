// The folders the server indexes and shows at the top of its Folders container, from its
// three sources: the --media flags (or the configuration file's "media" lines), and per
// media type the library's media folders and index folder configuration.
#ifndef CALYX_DMS_INDEXING_MEDIA_FOLDERS_H
#define CALYX_DMS_INDEXING_MEDIA_FOLDERS_H

#include <string>
#include <vector>

namespace calyx_dms {

// Which kinds of media a folder is indexed for (a bit set).
enum MediaKinds : unsigned {
    kMusicKind = 1,  // music and playlists
    kVideoKind = 2,
    kPhotoKind = 4,
    kAllKinds = 7,
};

struct MediaFolder {
    std::string path;   // absolute, without a final "/"
    std::string title;  // the name shown at the top of the Folders container
    unsigned kinds = kAllKinds;
    std::string source;  // "--media", "the library's music folders", ...: for messages
};

// Combines the sources, in this order: each folder of `given` (made absolute against the
// working folder, shown under its own name, every kind), then the library's folders of
// music, video and photo (GetIndexLoacationPath, shown under the names it gives, then the
// type's share link DMSGetMediaFolderPath under the type word; indexed for that type only). A
// folder named twice (the same folder after resolving links) is listed once, where it first came,
// under the first name given for it; its kinds add up. Folders that are missing or not folders are
// left out with a line in `problems`.
std::vector<MediaFolder> CombineMediaFolders(const std::vector<std::string>& given,
                                             std::vector<std::string>& problems);

// The kinds as words for a message: "music, video, photo" or "every kind".
std::string DescribeKinds(unsigned kinds);

}  // namespace calyx_dms

#endif  // CALYX_DMS_INDEXING_MEDIA_FOLDERS_H
