// The `res` elements and album art of a row, as one client is to see them. The DIDL-Lite
// writer prints them and the HTTP handlers answer with the same DLNA features, so what a
// Browse announces and what a GET answers cannot differ.
//
// A row's resources are made in two steps. Sources append every form the server has of
// the row (the file, its picture forms, its cover, its subtitles: AddOriginal, ...); then
// ChooseResources keeps and orders what the client's profile asks for. A new kind of
// resource (a transcoded form, say) is one more source with the role that says how
// options treat it; ChooseResources needs no change for it.
#ifndef CALYX_DMS_CONTENT_RESOURCES_H
#define CALYX_DMS_CONTENT_RESOURCES_H

#include <string>
#include <utility>
#include <vector>

#include "clients/client_road.h"
#include "content/catalog.h"

namespace calyx_dms {

// One <res> of a row.
struct Resource {
    enum class Role {
        kOriginal,     // the file itself
        kReplacement,  // another form of the whole item (a transcode): after the original
                       // with xmres, in the original's place without it
        kExtra,        // a picture of the item (thumbnail, large form, cover): only with
                       // xmres (the cover also with xalbart)
        kSubtitle,     // a subtitle file: exactly with videosrt, whatever xmres says
    };
    enum class Kind { kFile, kThumbnail, kLarge, kCover, kSubtitle, kTranscode };

    Role role = Role::kOriginal;
    Kind kind = Kind::kFile;
    std::string url;       // absolute
    std::string mime;      // third field of the protocolInfo
    std::string features;  // fourth field ("DLNA.ORG_PN=...;DLNA.ORG_OP=..." or "*")
    // Attributes of the element in print order (duration, size, resolution, ...).
    std::vector<std::pair<std::string, std::string>> attributes;
    // Attributes already escaped, each with a leading blank, printed after `attributes`
    // (the DIDL writer's metadata of the file's own res).
    std::string rawAttributes;
};

// A picture announced as upnp:albumArtURI, with its dlna:profileID.
struct AlbumArt {
    std::string url;
    std::string profile;  // "JPEG_TN", ...
};

// The client's capability option `option` (Calyx::Agent::AGENT_CAPOPT_...).
bool HasOption(const ClientVisit& visit, unsigned option);

// Every res of `entry` for the client of `visit`, in print order. `baseUrl` is
// "http://host:port" as the client reached the server.
// `alternatives` (transcoded forms, made by the caller: content does not know them)
// follow the file.
std::vector<Resource> ResourcesFor(const Entry& entry, const std::string& baseUrl,
                                   ClientVisit& visit, std::vector<Resource> alternatives = {});

// The album art of `entry` (an item or a directory row) for the client of `visit`.
std::vector<AlbumArt> AlbumArtFor(const Entry& entry, const std::string& baseUrl,
                                  ClientVisit& visit);

// The album art of a cover (an album's, say) for the client of `visit`; empty when the
// cover has no form the client can be given.
std::vector<AlbumArt> CoverAlbumArt(const CoverFacts& cover, const std::string& baseUrl,
                                    const ClientVisit& visit);

// The sources, in the order ResourcesFor calls them; each appends what the row has.
void AddOriginal(const Entry& entry, const std::string& baseUrl, ClientVisit& visit,
                 std::vector<Resource>& out);
void AddPictureForms(const Entry& entry, const std::string& baseUrl, ClientVisit& visit,
                     std::vector<Resource>& out);
void AddCover(const Entry& entry, const std::string& baseUrl, ClientVisit& visit,
              std::vector<Resource>& out);
void AddSubtitles(const Entry& entry, const std::string& baseUrl, std::vector<Resource>& out);

// Keeps and orders the candidates of `entry` as the client's options say (see the table
// of options in docs/server.md).
std::vector<Resource> ChooseResources(const Entry& entry, std::vector<Resource> candidates,
                                      const ClientVisit& visit);

// The DLNA profile of a picture by type and size (JPEG_SM/MED/LRG, PNG_...), or "".
std::string PictureProfile(const std::string& mime, int width, int height);

// The MIME type of a subtitle format ("srt": "text/srt").
std::string SubtitleMime(const std::string& format);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_RESOURCES_H
