#include "content/media_facts.h"

#include "common/library_clock.h"
#include "indexer/indexed_path.h"

namespace calyx_dms {

namespace {

// The DLNA image profile of a JPEG by its size.
std::string JpegProfile(const ZEVO_MEDIA_INFO& info) {
    if (info.resolutionx <= 640 && info.resolutiony <= 480)
        return "JPEG_SM";
    if (info.resolutionx <= 1024 && info.resolutiony <= 768)
        return "JPEG_MED";
    return "JPEG_LRG";
}

}  // namespace

const char* UpnpClassOf(Calyx::MEDIA_TABLE_TYPE table) {
    switch (table) {
        case Calyx::MEDIA_TABLE_MUSIC:
            return "object.item.audioItem.musicTrack";
        case Calyx::MEDIA_TABLE_VIDEO:
            return "object.item.videoItem";
        case Calyx::MEDIA_TABLE_PHOTO:
            return "object.item.imageItem.photo";
        default:
            break;
    }
    return "object.container.storageFolder";
}

std::string MimeOf(const ZEVO_MEDIA_INFO& info) {
    return info.mime_type[0] ? info.mime_type : "application/octet-stream";
}

std::string FilePathOf(const ZEVO_MEDIA_INFO& info) {
    return calyx_indexer::DecodeIndexedPath(info.path);
}

std::string DlnaFeatures(const Entry& entry, ClientVisit& visit) {
    const ZEVO_MEDIA_INFO& info = entry.info;
    std::string pn;
    const std::string mime = MimeOf(info);
    if (entry.table == Calyx::MEDIA_TABLE_VIDEO) {
        LibraryTimer timer(visit.libraryNanos);
        pn = visit.checker->getVideoProfileName(&info);
    } else if (mime == "audio/mpeg") {
        pn = "MP3";
    } else if (mime == "image/jpeg") {
        pn = JpegProfile(info);
    }
    const char* flags =
        entry.table == Calyx::MEDIA_TABLE_PHOTO ? kInteractiveFlags : kStreamingFlags;
    return pn.empty() ? flags : "DLNA.ORG_PN=" + pn + ";" + flags;
}

}  // namespace calyx_dms
