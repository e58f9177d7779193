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
// /transcode/<table letter>/<id>/<target token>.<ext>
inline constexpr char kTranscodePrefix[] = "/transcode/";

inline bool IsControlPath(const char* path) {
    return strcmp(path, kContentDirectoryControl) == 0 ||
           strcmp(path, kConnectionManagerControl) == 0 || strcmp(path, kRegistrarControl) == 0;
}

inline bool IsMediaPath(const char* path) {
    return strncmp(path, kMediaPrefix, strlen(kMediaPrefix)) == 0 ||
           strncmp(path, kThumbPrefix, strlen(kThumbPrefix)) == 0 ||
           strncmp(path, kTranscodePrefix, strlen(kTranscodePrefix)) == 0;
}

}  // namespace calyx_dms

#endif  // CALYX_DMS_SERVER_PATHS_H
