// DIDL-Lite answers made for one client: its video profiles name DLNA.ORG_PN, its offend
// chars are removed from titles, durations and dates use the library's UPnP forms.
#ifndef CALYX_DMS_DIDL_H
#define CALYX_DMS_DIDL_H

#include <string>
#include <unordered_map>
#include <utility>

#include <vector>

#include "clients/client_road.h"
#include "content/catalog.h"
#include "content/resources.h"
#include "transcode/transcode_choice.h"

namespace calyx_dms {

class DidlWriter {
public:
    // `baseUrl` is "http://host:port" as the client reached the server.
    DidlWriter(std::string baseUrl, ClientVisit& visit);

    void Container(const std::string& id, const std::string& parentId, const std::string& title,
                   long long childCount, const char* upnpClass,
                   const std::vector<AlbumArt>& art = {});
    // A directory row as a storage folder, with its album art.
    void Folder(const Entry& entry, const std::string& parentId, const std::string& title);
    // An item of a media row, or of a subtitle file (Entry::subtitle).
    void Item(const Entry& entry, const std::string& parentId);
    // Video id -> seconds: videos with a position carry it as `sec:dcmInfo` "BM=<seconds>",
    // where Samsung televisions read the point to resume from.
    void SetResumePositions(std::unordered_map<long long, long long> positions) {
        resumePositions_ = std::move(positions);
    }
    // The whole document; the writer is done afterwards.
    std::string Finish();
    // Where the first object starts in the document (its opening tag's end), and where
    // each object written so far ends, in order: a listing kept whole is cut there.
    size_t ObjectsStart() const { return objectsStart_; }
    const std::vector<size_t>& ObjectEnds() const { return objectEnds_; }
    // Object ids of the photos and videos written without the thumbnail the index lacks,
    // for a client that has them made after the answer (photoforcebgthumb); else empty.
    std::vector<std::string> TakeMissingThumbnails() { return std::move(missingThumbnails_); }

private:
    std::string Title(const std::string& text);
    void SubtitleItem(const Entry& entry, const std::string& parentId);
    void AlbumArtElements(const std::vector<AlbumArt>& art);
    // One transcoded form of the item `info`, as a res that takes the file's place.
    Resource TranscodedRes(const TranscodeOffer& offer, const ZEVO_MEDIA_INFO& info);

    std::string baseUrl_;
    ClientVisit& visit_;
    std::string out_;
    std::unordered_map<long long, long long> resumePositions_;
    std::vector<std::string> missingThumbnails_;
    size_t objectsStart_ = 0;
    std::vector<size_t> objectEnds_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_DIDL_H
