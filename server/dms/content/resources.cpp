// Sources append, ChooseResources decides: one place says what each option changes.
#include "content/resources.h"

#include <algorithm>

#include "calyx/client.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "common/library_clock.h"
#include "common/server_paths.h"
#include "content/media_facts.h"

namespace calyx_dms {

namespace {

// Longest sides of the picture forms the indexer makes.
constexpr int kThumbnailSide = 160;
constexpr int kLargeSide = 1920;

std::string Id(const Entry& entry) {
    return std::to_string(entry.info.id);
}

std::string Features(const std::string& pn, const char* flags) {
    return pn.empty() ? flags : "DLNA.ORG_PN=" + pn + ";" + flags;
}

// "WxH" of a picture scaled to `side`, or "" when the size is unknown.
std::string ScaledResolution(int width, int height, int side, ClientVisit& visit) {
    if (width <= 0 || height <= 0)
        return "";
    int w = 0, h = 0;
    {
        LibraryTimer timer(visit.libraryNanos);
        Calyx::DMSGetThumbnailRes(width, height, &w, &h, side);
    }
    return std::to_string(w) + "x" + std::to_string(h);
}

Resource Picture(Resource::Kind kind, std::string url, std::string mime, const std::string& pn,
                 const std::string& resolution) {
    Resource r;
    r.role = Resource::Role::kExtra;
    r.kind = kind;
    r.url = std::move(url);
    r.mime = std::move(mime);
    r.features = Features(pn, kInteractiveFlags);
    if (!resolution.empty())
        r.attributes.emplace_back("resolution", resolution);
    return r;
}

// The file name extension of a picture type ("jpg" for JPEG).
std::string PictureExtension(const std::string& mime) {
    if (mime == "image/jpeg")
        return "jpg";
    const size_t slash = mime.find('/');
    return slash == std::string::npos ? "img" : mime.substr(slash + 1);
}

std::string CoverUrl(const CoverFacts& cover, const std::string& baseUrl, const std::string& form) {
    return baseUrl + kCoverPrefix + std::string(1, cover.owner) + "/" + std::to_string(cover.id) +
           "/" + form;
}

// The cover as this client wants it: the original with origcover (when DLNA names its
// type), else the JPEG_TN form (or the original when no scaled form was made).
AlbumArt CoverArt(const CoverFacts& cover, const std::string& baseUrl, const ClientVisit& visit) {
    const std::string originalProfile = PictureProfile(cover.mime, cover.width, cover.height);
    const std::string original = CoverUrl(cover, baseUrl, "orig." + PictureExtension(cover.mime));
    if ((HasOption(visit, Calyx::Agent::AGENT_CAPOPT_ORIGCOVER) || !cover.scaled) &&
        !originalProfile.empty())
        return {original, originalProfile};
    if (!cover.scaled)
        return {};
    return {CoverUrl(cover, baseUrl, "tn.jpg"), "JPEG_TN"};
}

bool IsPhoto(const Entry& entry) {
    return entry.table == Calyx::MEDIA_TABLE_PHOTO;
}

// Whether the client is to see a candidate of this kind (before the original's place is
// settled).
bool Wanted(const Resource& r, const ClientVisit& visit) {
    if (r.role == Resource::Role::kOriginal)
        return true;  // the file, or the form that stands in its place
    switch (r.kind) {
        case Resource::Kind::kThumbnail:
            return HasOption(visit, Calyx::Agent::AGENT_CAPOPT_XMRES);
        case Resource::Kind::kLarge:
            return HasOption(visit, Calyx::Agent::AGENT_CAPOPT_PHOTOWITHXLTHUMB);
        case Resource::Kind::kCover:
            return HasOption(visit, Calyx::Agent::AGENT_CAPOPT_XMRES) ||
                   HasOption(visit, Calyx::Agent::AGENT_CAPOPT_XALBART);
        case Resource::Kind::kSubtitle:
            return HasOption(visit, Calyx::Agent::AGENT_CAPOPT_VIDEOSRT);
        case Resource::Kind::kFile:
        case Resource::Kind::kTranscode:
            break;
    }
    return true;
}

}  // namespace

bool HasOption(const ClientVisit& visit, unsigned option) {
    return visit.checker && (visit.checker->m_capability & option) != 0;
}

std::string PictureProfile(const std::string& mime, int width, int height) {
    if (width <= 0 || height <= 0 || width > 4096 || height > 4096)
        return "";
    if (mime == "image/jpeg") {
        if (width <= 640 && height <= 480)
            return "JPEG_SM";
        if (width <= 1024 && height <= 768)
            return "JPEG_MED";
        return "JPEG_LRG";
    }
    if (mime == "image/png")
        return width <= 160 && height <= 160 ? "PNG_TN" : "PNG_LRG";
    return "";
}

std::string SubtitleMime(const std::string& format) {
    static const struct {
        const char* format;
        const char* mime;
    } kTypes[] = {
        {"srt", "text/srt"},   {"ass", "text/x-ass"},  {"ssa", "text/x-ssa"},
        {"sub", "text/x-sub"}, {"smi", "smi/caption"}, {"vtt", "text/vtt"},
    };
    for (const auto& type : kTypes)
        if (format == type.format)
            return type.mime;
    return "application/octet-stream";
}

void AddOriginal(const Entry& entry, const std::string& baseUrl, ClientVisit& visit,
                 std::vector<Resource>& out) {
    const ZEVO_MEDIA_INFO& info = entry.info;
    Resource r;
    r.role = Resource::Role::kOriginal;
    r.kind = Resource::Kind::kFile;
    const std::string ext = Calyx::StringToLower(Calyx::FileGetFileExt(FilePathOf(info)));
    r.url = baseUrl + kMediaPrefix + TableLetter(entry.table) + "/" + Id(entry) +
            (ext.empty() ? "" : "." + Calyx::URLEncode(ext));
    r.mime = MimeOf(info);
    r.features = DlnaFeatures(entry, visit);
    {
        LibraryTimer timer(visit.libraryNanos);
        if (info.duration > 0 && !IsPhoto(entry))
            r.attributes.emplace_back("duration", Calyx::DMSFormatUPNPDuration(info.duration));
    }
    if (info.filesize > 0)
        r.attributes.emplace_back("size", std::to_string(info.filesize));
    if (info.resolutionx > 0 && info.resolutiony > 0)
        r.attributes.emplace_back("resolution", std::to_string(info.resolutionx) + "x" +
                                                    std::to_string(info.resolutiony));
    out.push_back(std::move(r));
}

void AddPictureForms(const Entry& entry, const std::string& baseUrl, ClientVisit& visit,
                     std::vector<Resource>& out) {
    const ZEVO_MEDIA_INFO& info = entry.info;
    if (IsPhoto(entry) && !entry.extras.large.empty()) {
        out.push_back(
            Picture(Resource::Kind::kLarge, baseUrl + kLargePrefix + "p/" + Id(entry) + ".jpg",
                    "image/jpeg", "JPEG_LRG",
                    ScaledResolution(info.resolutionx, info.resolutiony, kLargeSide, visit)));
    }
    if (info.thumbnail[0] && entry.table != Calyx::MEDIA_TABLE_MUSIC) {
        out.push_back(
            Picture(Resource::Kind::kThumbnail,
                    baseUrl + kThumbPrefix + TableLetter(entry.table) + "/" + Id(entry) + ".jpg",
                    "image/jpeg", "JPEG_TN",
                    ScaledResolution(info.resolutionx, info.resolutiony, kThumbnailSide, visit)));
    }
}

void AddCover(const Entry& entry, const std::string& baseUrl, ClientVisit& visit,
              std::vector<Resource>& out) {
    const CoverFacts& cover = entry.extras.cover;
    const bool videoCover = entry.table == Calyx::MEDIA_TABLE_VIDEO &&
                            HasOption(visit, Calyx::Agent::AGENT_CAPOPT_VIDEOALBART);
    if (cover.owner == 0 || (entry.table != Calyx::MEDIA_TABLE_MUSIC && !videoCover))
        return;
    const AlbumArt art = CoverArt(cover, baseUrl, visit);
    if (art.url.empty())
        return;
    const bool original = art.profile != "JPEG_TN";
    out.push_back(
        Picture(Resource::Kind::kCover, art.url, original ? cover.mime : "image/jpeg", art.profile,
                original ? ScaledResolution(cover.width, cover.height, 4096, visit)
                         : ScaledResolution(cover.width, cover.height, kThumbnailSide, visit)));
}

void AddSubtitles(const Entry& entry, const std::string& baseUrl, std::vector<Resource>& out) {
    for (const SubtitleFacts& subtitle : entry.extras.subtitles) {
        Resource r;
        r.role = Resource::Role::kSubtitle;
        r.kind = Resource::Kind::kSubtitle;
        r.url = baseUrl + kSubtitlePrefix + std::to_string(subtitle.id) + "." + subtitle.format;
        r.mime = SubtitleMime(subtitle.format);
        r.features = "*";
        out.push_back(std::move(r));
    }
}

std::vector<Resource> ChooseResources(const Entry& entry, std::vector<Resource> candidates,
                                      const ClientVisit& visit) {
    // photoforcejpegpn: a photo whose own file has no JPEG profile is offered as its large
    // JPEG form instead (made by the indexer for every photo that is not a small JPEG).
    auto large = std::find_if(candidates.begin(), candidates.end(),
                              [](const Resource& r) { return r.kind == Resource::Kind::kLarge; });
    if (IsPhoto(entry) && HasOption(visit, Calyx::Agent::AGENT_CAPOPT_PHOTOFORCEJPEGPN) &&
        large != candidates.end()) {
        for (Resource& r : candidates) {
            if (r.kind == Resource::Kind::kFile && r.features.find("DLNA.ORG_PN=JPEG_") != 0) {
                Resource replacement = *large;
                replacement.role = r.role;
                r = std::move(replacement);
                candidates.erase(large);
                break;
            }
        }
    }
    const bool xmres = HasOption(visit, Calyx::Agent::AGENT_CAPOPT_XMRES);
    const bool replaced =
        !xmres && std::any_of(candidates.begin(), candidates.end(), [](const Resource& r) {
            return r.role == Resource::Role::kReplacement;
        });
    std::vector<Resource> chosen;
    for (Resource& r : candidates) {
        if (!Wanted(r, visit) || (replaced && r.role == Resource::Role::kOriginal))
            continue;
        chosen.push_back(std::move(r));
    }
    if (IsPhoto(entry) && HasOption(visit, Calyx::Agent::AGENT_CAPOPT_REVIMGRES))
        std::reverse(chosen.begin(), chosen.end());
    return chosen;
}

std::vector<Resource> ResourcesFor(const Entry& entry, const std::string& baseUrl,
                                   ClientVisit& visit, std::vector<Resource> alternatives) {
    std::vector<Resource> candidates;
    AddOriginal(entry, baseUrl, visit, candidates);
    for (Resource& r : alternatives)
        candidates.push_back(std::move(r));
    AddPictureForms(entry, baseUrl, visit, candidates);
    AddCover(entry, baseUrl, visit, candidates);
    if (entry.table == Calyx::MEDIA_TABLE_VIDEO)
        AddSubtitles(entry, baseUrl, candidates);
    return ChooseResources(entry, std::move(candidates), visit);
}

std::vector<AlbumArt> CoverAlbumArt(const CoverFacts& cover, const std::string& baseUrl,
                                    const ClientVisit& visit) {
    if (cover.owner == 0)
        return {};
    AlbumArt art = CoverArt(cover, baseUrl, visit);
    if (art.url.empty())
        return {};
    return {art};
}

std::vector<AlbumArt> AlbumArtFor(const Entry& entry, const std::string& baseUrl,
                                  ClientVisit& visit) {
    const ZEVO_MEDIA_INFO& info = entry.info;
    const CoverFacts& cover = entry.extras.cover;
    const bool coverFirst = entry.table == Calyx::MEDIA_TABLE_MUSIC ||
                            entry.table == Calyx::MEDIA_TABLE_DIRECTORY ||
                            (entry.table == Calyx::MEDIA_TABLE_VIDEO &&
                             HasOption(visit, Calyx::Agent::AGENT_CAPOPT_VIDEOALBART));
    if (coverFirst && cover.owner != 0) {
        AlbumArt art = CoverArt(cover, baseUrl, visit);
        if (!art.url.empty())
            return {art};
    }
    if (info.thumbnail[0] && entry.table != Calyx::MEDIA_TABLE_MUSIC &&
        entry.table != Calyx::MEDIA_TABLE_DIRECTORY)
        return {{baseUrl + kThumbPrefix + TableLetter(entry.table) + "/" + Id(entry) + ".jpg",
                 "JPEG_TN"}};
    if (entry.table == Calyx::MEDIA_TABLE_DIRECTORY && entry.extras.firstVideoThumbnail > 0 &&
        HasOption(visit, Calyx::Agent::AGENT_CAPOPT_XVCOVER))
        return {{baseUrl + kThumbPrefix + "v/" + std::to_string(entry.extras.firstVideoThumbnail) +
                     ".jpg",
                 "JPEG_TN"}};
    return {};
}

}  // namespace calyx_dms
