// The fixed MIME table of the index: by kind and container, for photos by codec.
#include <string.h>

#include "indexer/indexer.h"

namespace calyx_indexer {

namespace {

struct MimeEntry {
    const char* kind;
    const char* name;  // container (video, music) or codec (photo)
    const char* mime;
};

// docs/media-index.md lists this table; keep the two in step.
constexpr MimeEntry kMimeTable[] = {
    {"video", "matroska", "video/x-matroska"},
    {"video", "mp4", "video/mp4"},
    {"video", "mpegts", "video/mp2t"},
    {"video", "mpeg", "video/mpeg"},
    {"video", "mpegvideo", "video/mpeg"},
    {"video", "avi", "video/x-msvideo"},
    {"video", "asf", "video/x-ms-asf"},
    {"video", "flv", "video/x-flv"},
    {"video", "ogg", "video/ogg"},
    {"video", "dv", "video/x-dv"},
    {"video", "nut", "video/x-nut"},
    {"video", "rm", "application/vnd.rn-realmedia"},
    {"video", "wtv", "video/x-ms-wtv"},
    {"video", "mxf", "application/mxf"},
    {"music", "mp3", "audio/mpeg"},
    {"music", "flac", "audio/flac"},
    {"music", "mp4", "audio/mp4"},
    {"music", "aac", "audio/aac"},
    {"music", "ogg", "audio/ogg"},
    {"music", "wav", "audio/wav"},
    {"music", "w64", "audio/wav"},
    {"music", "aiff", "audio/aiff"},
    {"music", "asf", "audio/x-ms-wma"},
    {"music", "matroska", "audio/x-matroska"},
    {"music", "ac3", "audio/ac3"},
    {"music", "eac3", "audio/eac3"},
    {"music", "dts", "audio/vnd.dts"},
    {"music", "ape", "audio/x-ape"},
    {"music", "wv", "audio/x-wavpack"},
    {"music", "dsf", "audio/x-dsf"},
    {"music", "mpegts", "audio/mp2t"},
    {"music", "mpeg", "audio/mpeg"},
    {"photo", "mjpeg", "image/jpeg"},
    {"photo", "png", "image/png"},
    {"photo", "gif", "image/gif"},
    {"photo", "bmp", "image/bmp"},
    {"photo", "tiff", "image/tiff"},
    {"photo", "webp", "image/webp"},
    {"playlist", "m3u", "audio/x-mpegurl"},
    {"playlist", "m3u8", "audio/x-mpegurl"},
    {"playlist", "pls", "audio/x-scpls"},
};

}  // namespace

std::string MediaMimeType(const std::string& kind, const std::string& container,
                          const std::string& codec) {
    const std::string& name = kind == "photo" ? codec : container;
    for (const MimeEntry& entry : kMimeTable) {
        if (kind == entry.kind && name == entry.name)
            return entry.mime;
    }
    return "application/octet-stream";
}

std::vector<std::string> DefaultCoverNames() {
    return {"cover.jpg", "folder.jpg", "cover.png", "folder.png", "front.jpg", "albumart.jpg"};
}

}  // namespace calyx_indexer
