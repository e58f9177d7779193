// What a row of the index is, as clients are told: its file, MIME type, UPnP class and
// DLNA features. Shared by the DIDL-Lite writer and the media handler, so that what a
// Browse announces and what a GET answers cannot differ.
#ifndef CALYX_DMS_CONTENT_MEDIA_FACTS_H
#define CALYX_DMS_CONTENT_MEDIA_FACTS_H

#include <string>

#include "calyx/types.h"
#include "clients/client_road.h"
#include "content/catalog.h"

namespace calyx_dms {

// DLNA flags of a resource streamed (audio, video) or shown at once (images).
inline constexpr char kStreamingFlags[] =
    "DLNA.ORG_OP=01;DLNA.ORG_CI=0;DLNA.ORG_FLAGS=01700000000000000000000000000000";
inline constexpr char kInteractiveFlags[] =
    "DLNA.ORG_OP=01;DLNA.ORG_CI=0;DLNA.ORG_FLAGS=00f00000000000000000000000000000";

// The UPnP class of the items of a table ("object.item.videoItem", ...).
const char* UpnpClassOf(Calyx::MEDIA_TABLE_TYPE table);
// The MIME type the index gives for a row (application/octet-stream when it has none).
std::string MimeOf(const ZEVO_MEDIA_INFO& info);
// The stored path decoded to the file system path.
std::string FilePathOf(const ZEVO_MEDIA_INFO& info);
// The fourth field of a protocolInfo (and the contentFeatures.dlna.org value) for a row
// served to the client of `visit`: the video profile its checker picks, MP3, or the JPEG
// profile by size, then the flags.
std::string DlnaFeatures(const Entry& entry, ClientVisit& visit);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_MEDIA_FACTS_H
