#include "didl.h"

#include "calyx/core.h"
#include "calyx/host.h"
#include "indexer.h"
#include "library_clock.h"
#include "search_criteria.h"
#include "server_paths.h"

namespace calyx_dms {

namespace {

const char kStreamingFlags[] =
    "DLNA.ORG_OP=01;DLNA.ORG_CI=0;DLNA.ORG_FLAGS=01700000000000000000000000000000";
const char kInteractiveFlags[] =
    "DLNA.ORG_OP=01;DLNA.ORG_CI=0;DLNA.ORG_FLAGS=00f00000000000000000000000000000";

std::string Escaped(const std::string& text) {
    return Calyx::XMLEscape(text, nullptr);
}

// The DLNA image profile of a JPEG by its size.
std::string JpegProfile(const ZEVO_MEDIA_INFO& info) {
    if (info.resolutionx <= 640 && info.resolutiony <= 480)
        return "JPEG_SM";
    if (info.resolutionx <= 1024 && info.resolutiony <= 768)
        return "JPEG_MED";
    return "JPEG_LRG";
}

// The UTF-8 characters of `chars`, each removed wherever it stands in `text`.
std::string RemoveChars(const std::string& text, const std::string& chars) {
    if (chars.empty())
        return text;
    std::string out;
    for (size_t i = 0; i < text.size();) {
        size_t n = 1;
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0xf0)
            n = 4;
        else if (c >= 0xe0)
            n = 3;
        else if (c >= 0xc0)
            n = 2;
        n = std::min(n, text.size() - i);
        std::string ch = text.substr(i, n);
        if (chars.find(ch) == std::string::npos)
            out += ch;
        i += n;
    }
    return out;
}

}  // namespace

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
    if (info.artist[0])
        out_ += "<upnp:artist>" + Escaped(info.artist) + "</upnp:artist><dc:creator>" +
                Escaped(info.artist) + "</dc:creator>";
    if (info.album[0])
        out_ += "<upnp:album>" + Escaped(info.album) + "</upnp:album>";
    if (info.genre[0])
        out_ += "<upnp:genre>" + Escaped(info.genre) + "</upnp:genre>";
    std::string attributes;
    {
        LibraryTimer timer(visit_.libraryNanos);
        if (info.date[0])
            out_ += "<dc:date>" + Escaped(Calyx::DMSFormatUPNPDate(info.date)) + "</dc:date>";
        if (info.duration > 0 && entry.table != Calyx::MEDIA_TABLE_PHOTO)
            attributes += " duration=\"" + Calyx::DMSFormatUPNPDuration(info.duration) + "\"";
    }
    if (info.filesize > 0)
        attributes += " size=\"" + std::to_string(info.filesize) + "\"";
    if (info.resolutionx > 0 && info.resolutiony > 0)
        attributes += " resolution=\"" + std::to_string(info.resolutionx) + "x" +
                      std::to_string(info.resolutiony) + "\"";
    const std::string ext = Calyx::StringToLower(Calyx::FileGetFileExt(path));
    const std::string url = baseUrl_ + kMediaPrefix + TableLetter(entry.table) + "/" +
                            std::to_string(info.id) +
                            (ext.empty() ? "" : "." + Calyx::URLEncode(ext));
    out_ += "<res protocolInfo=\"http-get:*:" + Escaped(MimeOf(info)) + ":" +
            DlnaFeatures(entry, visit_) + "\"" + attributes + ">" + Escaped(url) + "</res>";
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
    out_ += "</item>";
}

std::string DidlWriter::Finish() {
    out_ += "</DIDL-Lite>";
    return std::move(out_);
}

}  // namespace calyx_dms
