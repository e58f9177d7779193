#include "upnp/didl.h"

#include <vector>

#include "calyx/client.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "calyx/utf8.h"
#include "common/library_clock.h"
#include "common/server_paths.h"
#include "content/media_facts.h"
#include "upnp/didl_metadata.h"

namespace calyx_dms {

namespace {

std::string Escaped(const std::string& text) {
    return Calyx::XMLEscape(text, nullptr);
}

// The UTF-8 characters of `chars`, each removed wherever it stands in `text`.
std::string RemoveChars(const std::string& text, const std::string& chars) {
    if (chars.empty())
        return text;
    std::string out;
    for (size_t i = 0; i < text.size();) {
        // A byte that starts no valid sequence is a character of its own.
        const size_t n = std::max<size_t>(1, Calyx::Utf8SequenceLength(text, i));
        std::string ch = text.substr(i, n);
        if (chars.find(ch) == std::string::npos)
            out += ch;
        i += n;
    }
    return out;
}

// <res> elements, in order.
void WriteResources(std::string& out, const std::vector<Resource>& res) {
    for (const Resource& r : res) {
        out +=
            "<res protocolInfo=\"http-get:*:" + Escaped(r.mime) + ":" + Escaped(r.features) + "\"";
        for (const auto& [name, value] : r.attributes)
            out += " " + name + "=\"" + Escaped(value) + "\"";
        out += r.rawAttributes + ">" + Escaped(r.url) + "</res>";
    }
}

// `title` ending with the extension of `path` (videowithext), unless it already does.
std::string WithExtension(const std::string& title, const std::string& path) {
    const std::string ext = Calyx::FileGetFileExt(path);
    const std::string suffix = "." + ext;
    if (ext.empty() || (title.size() >= suffix.size() &&
                        title.compare(title.size() - suffix.size(), suffix.size(), suffix) == 0))
        return title;
    return title + suffix;
}

}  // namespace

DidlWriter::DidlWriter(std::string baseUrl, ClientVisit& visit)
    : baseUrl_(std::move(baseUrl)), visit_(visit) {
    out_ =
        "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" "
        "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
        "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
        "xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0/\" "
        "xmlns:sec=\"http://www.sec.co.kr/\">";
    objectsStart_ = out_.size();
}

std::string DidlWriter::Title(const std::string& text) {
    LibraryTimer timer(visit_.libraryNanos);
    return Escaped(RemoveChars(text, visit_.checker->GetOffendChar()));
}

void DidlWriter::AlbumArtElements(const std::vector<AlbumArt>& art) {
    for (const AlbumArt& a : art)
        out_ += "<upnp:albumArtURI dlna:profileID=\"" + a.profile + "\">" + Escaped(a.url) +
                "</upnp:albumArtURI>";
}

void DidlWriter::Container(const std::string& id, const std::string& parentId,
                           const std::string& title, long long childCount, const char* upnpClass,
                           const std::vector<AlbumArt>& art) {
    out_ += "<container id=\"" + Escaped(id) + "\" parentID=\"" + Escaped(parentId) +
            "\" restricted=\"1\" searchable=\"1\"";
    if (childCount >= 0)
        out_ += " childCount=\"" + std::to_string(childCount) + "\"";
    out_ += "><dc:title>" + Title(title) + "</dc:title><upnp:class>" + upnpClass + "</upnp:class>";
    AlbumArtElements(art);
    out_ += "</container>";
    objectEnds_.push_back(out_.size());
}

void DidlWriter::Folder(const Entry& entry, const std::string& parentId, const std::string& title) {
    Container("d" + std::to_string(entry.info.id), parentId, title, -1,
              "object.container.storageFolder", AlbumArtFor(entry, baseUrl_, visit_));
}

void DidlWriter::SubtitleItem(const Entry& entry, const std::string& parentId) {
    // The item is the subtitle file: its one res, whatever the options say of subtitles
    // as res of a video.
    std::vector<Resource> res;
    AddSubtitles(entry, baseUrl_, res);
    out_ += "<item id=\"s" + std::to_string(entry.info.id) + "\" parentID=\"" + Escaped(parentId) +
            "\" restricted=\"1\"><dc:title>" +
            Title(Calyx::FileGetPathBaseName(FilePathOf(entry.info))) +
            "</dc:title><upnp:class>object.item.textItem</upnp:class>";
    WriteResources(out_, res);
    out_ += "</item>";
    objectEnds_.push_back(out_.size());
}

void DidlWriter::Item(const Entry& entry, const std::string& parentId) {
    if (entry.subtitle)
        return SubtitleItem(entry, parentId);
    const ZEVO_MEDIA_INFO& info = entry.info;
    const std::string path = FilePathOf(info);
    const std::string id = TableLetter(entry.table) + std::to_string(info.id);
    std::string title = info.title[0] ? info.title : Calyx::FileGetPathBaseNameNoExt(path);
    if (entry.table == Calyx::MEDIA_TABLE_VIDEO &&
        HasOption(visit_, Calyx::Agent::AGENT_CAPOPT_VIDEOWITHEXT))
        title = WithExtension(title, path);
    out_ += "<item id=\"" + id + "\" parentID=\"" + Escaped(parentId) +
            "\" restricted=\"1\"><dc:title>" + Title(title) + "</dc:title><upnp:class>" +
            UpnpClassOf(entry.table) + "</upnp:class>";
    out_ += ItemElements(entry, visit_.libraryNanos);
    AlbumArtElements(AlbumArtFor(entry, baseUrl_, visit_));
    if (!info.thumbnail[0] &&
        (entry.table == Calyx::MEDIA_TABLE_PHOTO || entry.table == Calyx::MEDIA_TABLE_VIDEO) &&
        HasOption(visit_, Calyx::Agent::AGENT_CAPOPT_PHOTOFORCEBGTHUMB))
        missingThumbnails_.push_back(id);
    // The transcoded forms stand beside the file (xmres) or in its place (ResourcesFor).
    std::vector<TranscodeOffer> transcodes;
    {
        LibraryTimer timer(visit_.libraryNanos);
        transcodes = TranscodesFor(entry, *visit_.checker);
    }
    std::vector<Resource> alternatives;
    alternatives.reserve(transcodes.size());
    for (const TranscodeOffer& offer : transcodes)
        alternatives.push_back(TranscodedRes(offer, info));
    std::vector<Resource> res = ResourcesFor(entry, baseUrl_, visit_, std::move(alternatives));
    // The file's own res carries what the index knows of it (didl_metadata).
    for (Resource& r : res)
        if (r.kind == Resource::Kind::kFile) {
            r.attributes.clear();
            r.rawAttributes = ResAttributes(entry, visit_.libraryNanos);
        }
    WriteResources(out_, res);
    // Samsung's players read a video's subtitles from elements of their own.
    if (visit_.checker->m_isSamsungTV)
        for (const Resource& r : res)
            if (r.kind == Resource::Kind::kSubtitle)
                out_ += "<sec:CaptionInfoEx sec:type=\"" + Escaped(Calyx::FileGetFileExt(r.url)) +
                        "\">" + Escaped(r.url) + "</sec:CaptionInfoEx>";
    if (entry.table == Calyx::MEDIA_TABLE_VIDEO) {
        auto position = resumePositions_.find(info.id);
        if (position != resumePositions_.end())
            out_ += "<sec:dcmInfo xmlns:sec=\"http://www.sec.co.kr/\">BM=" +
                    std::to_string(position->second) + "</sec:dcmInfo>";
    }
    out_ += "</item>";
    objectEnds_.push_back(out_.size());
}

Resource DidlWriter::TranscodedRes(const TranscodeOffer& offer, const ZEVO_MEDIA_INFO& info) {
    Resource r;
    r.role = Resource::Role::kReplacement;
    r.kind = Resource::Kind::kTranscode;
    r.url = baseUrl_ + offer.path;
    r.mime = offer.mime;
    r.features = offer.features;
    if (info.duration > 0) {
        LibraryTimer timer(visit_.libraryNanos);
        r.attributes.emplace_back("duration", Calyx::DMSFormatUPNPDuration(info.duration));
    }
    if (offer.size > 0)
        r.attributes.emplace_back("size", std::to_string(offer.size));
    if (offer.bytesPerSecond > 0)
        r.attributes.emplace_back("bitrate", std::to_string(offer.bytesPerSecond));
    if (!offer.resolution.empty())
        r.attributes.emplace_back("resolution", offer.resolution);
    if (offer.channels > 0)
        r.attributes.emplace_back("nrAudioChannels", std::to_string(offer.channels));
    if (offer.sampleRate > 0) {
        r.attributes.emplace_back("sampleFrequency", std::to_string(offer.sampleRate));
        r.attributes.emplace_back("bitsPerSample", "16");
    }
    return r;
}

std::string DidlWriter::Finish() {
    out_ += "</DIDL-Lite>";
    return std::move(out_);
}

}  // namespace calyx_dms
