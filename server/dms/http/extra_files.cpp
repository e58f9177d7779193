// Each handler finds the row, takes the file its columns name, and sends it as a media file.
#include "http/extra_files.h"

#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "clients/client_road.h"
#include "clients/request_visits.h"
#include "common/server_paths.h"
#include "content/client_view.h"
#include "content/media_facts.h"
#include "content/resources.h"
#include "http/media_http.h"

namespace calyx_dms {

namespace {

enum class ExtraKind { kCover, kLarge, kSubtitle };

struct ExtraHandler {
    Catalog* catalog;
    ServedFiles* files;
    ExtraKind kind;
};

// A file to send: where it is, whether it lies in the media folders (else in the cache of
// pictures the indexer made), and how it is announced.
struct ExtraFile {
    std::string path;
    bool media = false;
    long long size = 0, mtime = 0;  // as indexed, for a media file (0: not compared)
    FileAnnouncement announce;
};

void Fail(SoupServerMessage* msg, guint status) {
    soup_server_message_set_status(msg, status, nullptr);
}

// A positive decimal id, the whole of `text`.
bool ParseNumber(const std::string& text, long long& id) {
    if (text.empty() || text.size() > 18 ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    id = strtoll(text.c_str(), nullptr, 10);
    return id > 0;
}

// The text before the first "." of `name`.
std::string Stem(const std::string& name) {
    return name.substr(0, name.find('.'));
}

// "<letter>/<id>/<form>" of a cover URL: the file it names, and how it is announced.
int CoverFile(Catalog& catalog, const std::vector<std::string>& parts, const ClientVisit& visit,
              ExtraFile& out) {
    std::string& file = out.path;
    FileAnnouncement& announce = out.announce;
    Calyx::MEDIA_TABLE_TYPE table = Calyx::MEDIA_TABLE_DIRECTORY;
    long long id = 0;
    if (parts.size() != 3 || parts[0].size() != 1 || !ParseNumber(parts[1], id) ||
        (parts[0] != "d" && !TableOfLetter(parts[0][0], table)))
        return 0;
    if (HiddenFrom(visit, table))
        return 0;
    auto entry = std::make_unique<Entry>();
    const int found = catalog.Find(table, id, *entry);
    const CoverFacts& cover = entry->extras.cover;
    if (found <= 0 || cover.owner != parts[0][0] || cover.id != id)
        return found;  // no row, or the row has no cover of its own
    const std::string form = Stem(parts[2]);
    announce.interactive = true;
    announce.contentType = "image/jpeg";
    if (form == "tn" || form == "sm") {
        file = form == "tn" ? cover.thumbnail : cover.small;
        announce.features = std::string("DLNA.ORG_PN=") + (form == "tn" ? "JPEG_TN" : "JPEG_SM") +
                            ";" + kInteractiveFlags;
    } else if (form == "orig") {
        file = cover.original;
        out.media = parts[0] == "d";  // a folder's cover file; a song's picture is extracted
        announce.contentType = cover.mime;
        const std::string pn = PictureProfile(cover.mime, cover.width, cover.height);
        announce.features =
            pn.empty() ? kInteractiveFlags : "DLNA.ORG_PN=" + pn + ";" + kInteractiveFlags;
    }
    return file.empty() ? 0 : 1;
}

int LargeFile(Catalog& catalog, const std::vector<std::string>& parts, const ClientVisit& visit,
              ExtraFile& out) {
    std::string& file = out.path;
    FileAnnouncement& announce = out.announce;
    long long id = 0;
    if (parts.size() != 2 || parts[0] != "p" || !ParseNumber(Stem(parts[1]), id) ||
        HiddenFrom(visit, Calyx::MEDIA_TABLE_PHOTO))
        return 0;
    auto entry = std::make_unique<Entry>();
    const int found = catalog.Find(Calyx::MEDIA_TABLE_PHOTO, id, *entry);
    if (found <= 0 || entry->extras.large.empty())
        return found < 0 ? -1 : 0;
    file = entry->extras.large;
    announce.interactive = true;
    announce.contentType = "image/jpeg";
    announce.features = std::string("DLNA.ORG_PN=JPEG_LRG;") + kInteractiveFlags;
    return 1;
}

int SubtitleFile(Catalog& catalog, const std::vector<std::string>& parts, const ClientVisit& visit,
                 ExtraFile& out) {
    std::string& file = out.path;
    FileAnnouncement& announce = out.announce;
    long long id = 0;
    if (parts.size() != 1 || !ParseNumber(Stem(parts[0]), id) ||
        HiddenFrom(visit, Calyx::MEDIA_TABLE_VIDEO))
        return 0;
    auto entry = std::make_unique<Entry>();
    const int found = catalog.FindSubtitle(id, *entry);
    if (found <= 0)
        return found;
    file = FilePathOf(entry->info);
    out.media = true;
    out.size = entry->info.filesize;
    announce.interactive = true;
    announce.contentType = SubtitleMime(entry->extras.subtitles.front().format);
    return 1;
}

void Serve(SoupServer*, SoupServerMessage* msg, const char* path, GHashTable*, gpointer data) {
    const ExtraHandler* handler = static_cast<const ExtraHandler*>(data);
    bool head = false;
    if (!AcceptGetOrHead(msg, head))
        return;
    const ClientVisit* visit = RequestVisits::Of(msg);
    const char* prefix = handler->kind == ExtraKind::kCover   ? kCoverPrefix
                         : handler->kind == ExtraKind::kLarge ? kLargePrefix
                                                              : kSubtitlePrefix;
    if (visit == nullptr || strncmp(path, prefix, strlen(prefix)) != 0)
        return Fail(msg, SOUP_STATUS_NOT_FOUND);
    const std::string rest = path + strlen(prefix);
    // Empty pieces are kept apart from real ones: "a//b" must not read as "a/b".
    if (rest.find("//") != std::string::npos || rest.empty() || rest.back() == '/')
        return Fail(msg, SOUP_STATUS_NOT_FOUND);
    const std::vector<std::string> parts = Calyx::StringExplode(rest, "/");
    ExtraFile extra;
    int found = 0;
    switch (handler->kind) {
        case ExtraKind::kCover:
            found = CoverFile(*handler->catalog, parts, *visit, extra);
            break;
        case ExtraKind::kLarge:
            found = LargeFile(*handler->catalog, parts, *visit, extra);
            break;
        case ExtraKind::kSubtitle:
            found = SubtitleFile(*handler->catalog, parts, *visit, extra);
            break;
    }
    if (found < 0)
        return Fail(msg, SOUP_STATUS_SERVICE_UNAVAILABLE);
    if (found == 0)
        return Fail(msg, SOUP_STATUS_NOT_FOUND);
    struct stat st;
    unsigned refused = 0;
    const int fd = extra.media
                       ? handler->files->OpenMedia(extra.path, extra.size, extra.mtime, st, refused)
                       : ServedFiles::OpenThumbnail(extra.path, st, refused);
    if (fd < 0)
        return Fail(msg, refused);
    SendFile(msg, fd, st, extra.announce, head);
}

}  // namespace

void ServeExtraFiles(GUPnPContext* context, Catalog& catalog, ServedFiles& files) {
    const struct {
        const char* prefix;
        ExtraKind kind;
    } kHandlers[] = {{kCoverPrefix, ExtraKind::kCover},
                     {kLargePrefix, ExtraKind::kLarge},
                     {kSubtitlePrefix, ExtraKind::kSubtitle}};
    for (const auto& h : kHandlers) {
        std::string prefix = h.prefix;
        prefix.pop_back();  // the handler path has no trailing "/"
        gupnp_context_add_server_handler(
            context, FALSE, prefix.c_str(), Serve, new ExtraHandler{&catalog, &files, h.kind},
            [](gpointer data) { delete static_cast<ExtraHandler*>(data); });
    }
}

}  // namespace calyx_dms
