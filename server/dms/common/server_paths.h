// The HTTP paths the server answers, in one place.
#ifndef CALYX_DMS_SERVER_PATHS_H
#define CALYX_DMS_SERVER_PATHS_H

#include <string.h>

namespace calyx_dms {

inline constexpr char kDescriptionPath[] = "/description.xml";
inline constexpr char kContentDirectoryControl[] = "/ContentDirectory/control";
inline constexpr char kConnectionManagerControl[] = "/ConnectionManager/control";
inline constexpr char kRegistrarControl[] = "/X_MS_MediaReceiverRegistrar/control";
// The device description served to clients that want another model name.
inline constexpr char kMsDescriptionFile[] = "/description-ms.xml";
inline constexpr char kMediaPrefix[] = "/media/";  // /media/<table letter>/<id>.<ext>
inline constexpr char kThumbPrefix[] = "/thumb/";  // /thumb/<table letter>/<id>.jpg
// /cover/<m|v|d>/<id>/<tn.jpg|sm.jpg|orig.<ext>>: the cover held by a row.
inline constexpr char kCoverPrefix[] = "/cover/";
inline constexpr char kLargePrefix[] = "/large/";        // /large/p/<id>.jpg
inline constexpr char kSubtitlePrefix[] = "/subtitle/";  // /subtitle/<id>.<format>
// /transcode/<table letter>/<id>/<target token>.<ext>
inline constexpr char kTranscodePrefix[] = "/transcode/";

inline bool IsControlPath(const char* path) {
    return strcmp(path, kContentDirectoryControl) == 0 ||
           strcmp(path, kConnectionManagerControl) == 0 || strcmp(path, kRegistrarControl) == 0;
}

inline bool IsMediaPath(const char* path) {
    for (const char* prefix : {kMediaPrefix, kThumbPrefix, kCoverPrefix, kLargePrefix,
                               kSubtitlePrefix, kTranscodePrefix})
        if (strncmp(path, prefix, strlen(prefix)) == 0)
            return true;
    return false;
}

}  // namespace calyx_dms

#endif  // CALYX_DMS_SERVER_PATHS_H
