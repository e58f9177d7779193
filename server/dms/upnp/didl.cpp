#include "upnp/didl.h"

#include <vector>

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

}  // namespace

DidlWriter::DidlWriter(std::string baseUrl, ClientVisit& visit)
    : baseUrl_(std::move(baseUrl)), visit_(visit) {
    out_ =
        "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" "
        "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
        "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
        "xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0/\">";
}

std::string DidlWriter::Title(const std::string& text) {
    LibraryTimer timer(visit_.libraryNanos);
    return Escaped(RemoveChars(text, visit_.checker->GetOffendChar()));
}

void DidlWriter::Container(const std::string& id, const std::string& parentId,
                           const std::string& title, long long childCount, const char* upnpClass) {
    out_ += "<container id=\"" + Escaped(id) + "\" parentID=\"" + Escaped(parentId) +
            "\" restricted=\"1\" searchable=\"1\"";
    if (childCount >= 0)
        out_ += " childCount=\"" + std::to_string(childCount) + "\"";
    out_ += "><dc:title>" + Title(title) + "</dc:title><upnp:class>" + upnpClass +
            "</upnp:class></container>";
}

void DidlWriter::Item(const Entry& entry, const std::string& parentId) {
    const ZEVO_MEDIA_INFO& info = entry.info;
    const std::string path = FilePathOf(info);
    const std::string id = TableLetter(entry.table) + std::to_string(info.id);
    std::string title = info.title[0] ? info.title : Calyx::FileGetPathBaseNameNoExt(path);
    out_ += "<item id=\"" + id + "\" parentID=\"" + Escaped(parentId) +
            "\" restricted=\"1\"><dc:title>" + Title(title) + "</dc:title><upnp:class>" +
            UpnpClassOf(entry.table) + "</upnp:class>";
    out_ += ItemElements(entry, visit_.libraryNanos);
    const std::string attributes = ResAttributes(entry, visit_.libraryNanos);
    const std::string ext = Calyx::StringToLower(Calyx::FileGetFileExt(path));
    const std::string url = baseUrl_ + kMediaPrefix + TableLetter(entry.table) + "/" +
                            std::to_string(info.id) +
                            (ext.empty() ? "" : "." + Calyx::URLEncode(ext));
    std::vector<TranscodeOffer> transcodes;
    {
        LibraryTimer timer(visit_.libraryNanos);
        transcodes = TranscodesFor(entry, *visit_.checker);
    }
    // Without xmres a client gets one form of the item: the transcoded one, if any.
    if (transcodes.empty() ||
        (visit_.checker->m_capability & Calyx::Agent::AGENT_CAPOPT_XMRES) != 0)
        out_ += "<res protocolInfo=\"http-get:*:" + Escaped(MimeOf(info)) + ":" +
                DlnaFeatures(entry, visit_) + "\"" + attributes + ">" + Escaped(url) + "</res>";
    for (const TranscodeOffer& offer : transcodes)
        TranscodedRes(offer, info);
    if (info.thumbnail[0] && entry.table != Calyx::MEDIA_TABLE_MUSIC) {
        int width = 0;
        int height = 0;
        {
            LibraryTimer timer(visit_.libraryNanos);
            Calyx::DMSGetThumbnailRes(info.resolutionx, info.resolutiony, &width, &height,
                                      kThumbnailSide);
        }
        const std::string thumb = baseUrl_ + kThumbPrefix + TableLetter(entry.table) + "/" +
                                  std::to_string(info.id) + ".jpg";
        out_ +=
            "<upnp:albumArtURI dlna:profileID=\"JPEG_TN\">" + Escaped(thumb) +
            "</upnp:albumArtURI><res protocolInfo=\"http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_TN;" +
            kInteractiveFlags + "\"";
        if (width > 0 && height > 0)
            out_ += " resolution=\"" + std::to_string(width) + "x" + std::to_string(height) + "\"";
        out_ += ">" + Escaped(thumb) + "</res>";
    }
    if (entry.table == Calyx::MEDIA_TABLE_VIDEO) {
        auto position = resumePositions_.find(info.id);
        if (position != resumePositions_.end())
            out_ += "<sec:dcmInfo xmlns:sec=\"http://www.sec.co.kr/\">BM=" +
                    std::to_string(position->second) + "</sec:dcmInfo>";
    }
    out_ += "</item>";
}

void DidlWriter::TranscodedRes(const TranscodeOffer& offer, const ZEVO_MEDIA_INFO& info) {
    out_ += "<res protocolInfo=\"http-get:*:" + Escaped(offer.mime) + ":" + offer.features + "\"";
    if (info.duration > 0) {
        LibraryTimer timer(visit_.libraryNanos);
        out_ += " duration=\"" + Calyx::DMSFormatUPNPDuration(info.duration) + "\"";
    }
    if (offer.size > 0)
        out_ += " size=\"" + std::to_string(offer.size) + "\"";
    if (offer.bytesPerSecond > 0)
        out_ += " bitrate=\"" + std::to_string(offer.bytesPerSecond) + "\"";
    if (!offer.resolution.empty())
        out_ += " resolution=\"" + offer.resolution + "\"";
    if (offer.channels > 0)
        out_ += " nrAudioChannels=\"" + std::to_string(offer.channels) + "\"";
    if (offer.sampleRate > 0)
        out_ +=
            " sampleFrequency=\"" + std::to_string(offer.sampleRate) + "\" bitsPerSample=\"16\"";
    out_ += ">" + Escaped(baseUrl_ + offer.path) + "</res>";
}

std::string DidlWriter::Finish() {
    out_ += "</DIDL-Lite>";
    return std::move(out_);
}

}  // namespace calyx_dms
