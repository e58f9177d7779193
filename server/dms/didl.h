// DIDL-Lite answers made for one client: its video profiles name DLNA.ORG_PN, its offend
// chars are removed from titles, durations and dates use the library's UPnP forms.
#ifndef CALYX_DMS_DIDL_H
#define CALYX_DMS_DIDL_H

#include <string>

#include "catalog.h"
#include "client_road.h"

namespace calyx_dms {

// The longer side of announced thumbnails (DLNA JPEG_TN).
inline constexpr int kThumbnailSide = 160;

// The fourth field of a protocolInfo (and the contentFeatures.dlna.org value) for a row
// served to the client of `visit`.
std::string DlnaFeatures(const Entry& entry, ClientVisit& visit);
// The MIME type the index gives for a row (application/octet-stream when it has none).
std::string MimeOf(const ZEVO_MEDIA_INFO& info);
// The stored path decoded to the file system path.
std::string FilePathOf(const ZEVO_MEDIA_INFO& info);

class DidlWriter {
public:
    // `baseUrl` is "http://host:port" as the client reached the server.
    DidlWriter(std::string baseUrl, ClientVisit& visit);

    void Container(const std::string& id, const std::string& parentId, const std::string& title,
                   long long childCount, const char* upnpClass);
    void Item(const Entry& entry, const std::string& parentId);
    // The whole document; the writer is done afterwards.
    std::string Finish();

private:
    std::string Title(const std::string& text);

    std::string baseUrl_;
    ClientVisit& visit_;
    std::string out_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_DIDL_H
