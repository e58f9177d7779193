// Files are sent in pieces: the next piece is read when the previous one has been
// written, so a large file never sits in memory whole.
#include "http/media_http.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "clients/client_road.h"
#include "clients/request_visits.h"
#include "common/server_paths.h"
#include "content/client_view.h"
#include "content/media_facts.h"
#include "content/resources.h"
#include "content/served_file.h"
#include "http/body_hand_over.h"
#include "http/byte_range.h"
#include "http/extra_files.h"
#include "http/piece_pool.h"

namespace calyx_dms {

namespace {

// A file being sent: what remains of the range and where it continues.
struct Transfer {
    int fd = -1;
    long long offset = 0;
    long long remaining = 0;
    ~Transfer() {
        if (fd >= 0)
            close(fd);
    }
};

// Appends the next piece to the body, or completes it (also when reading fails: the
// client then sees a short body and the connection closes).
void SendNextPiece(SoupServerMessage* msg, Transfer* t) {
    SoupMessageBody* body = soup_server_message_get_response_body(msg);
    if (t->remaining <= 0) {
        soup_message_body_complete(body);
        return;
    }
    size_t want = t->remaining < static_cast<long long>(kPieceBytes)
                      ? static_cast<size_t>(t->remaining)
                      : kPieceBytes;
    char* buffer = TakePiece();
    ssize_t got = pread(t->fd, buffer, want, t->offset);
    if (got <= 0) {
        GivePiece(buffer);
        t->remaining = 0;
        soup_message_body_complete(body);
        return;
    }
    t->offset += got;
    t->remaining -= got;
    GBytes* piece = PieceBytes(buffer, static_cast<size_t>(got));
    soup_message_body_append_bytes(body, piece);
    g_bytes_unref(piece);
}

// The row and file a path names: "/media/v/12.mkv" -> video row 12.
bool ParseMediaPath(const char* path, const char* prefix, Calyx::MEDIA_TABLE_TYPE& table,
                    long long& id) {
    std::string rest = path + strlen(prefix);
    if (rest.size() < 3 || rest[1] != '/' || !TableOfLetter(rest[0], table))
        return false;
    std::string number = rest.substr(
        2, rest.find('.') == std::string::npos ? std::string::npos : rest.find('.') - 2);
    ObjectId object;
    if (!ParseObjectId(std::string(1, rest[0]) + number, object))
        return false;
    id = object.id;
    return true;
}

void Fail(SoupServerMessage* msg, guint status) {
    soup_server_message_set_status(msg, status, nullptr);
}

// The first subtitle of a video, for CaptionInfo.sec (Samsung's players ask for it with
// the media request).
void AnnounceCaption(SoupServerMessage* msg, const Entry& entry, const ClientVisit& visit) {
    SoupMessageHeaders* request = soup_server_message_get_request_headers(msg);
    const char* asked = soup_message_headers_get_one(request, "getCaptionInfo.sec");
    if (asked == nullptr || strcmp(asked, "1") != 0 || entry.extras.subtitles.empty() ||
        !HasOption(visit, Calyx::Agent::AGENT_CAPOPT_VIDEOSRT))
        return;
    GUri* uri = soup_server_message_get_uri(msg);
    const SubtitleFacts& first = entry.extras.subtitles.front();
    const std::string url = "http://" + std::string(g_uri_get_host(uri)) + ":" +
                            std::to_string(g_uri_get_port(uri)) + kSubtitlePrefix +
                            std::to_string(first.id) + "." + first.format;
    soup_message_headers_replace(soup_server_message_get_response_headers(msg), "CaptionInfo.sec",
                                 url.c_str());
}

void HandleFile(SoupServerMessage* msg, const char* path, Catalog& catalog, ServedFiles& files,
                bool thumbnail) {
    bool head = false;
    if (!AcceptGetOrHead(msg, head))
        return;
    ClientVisit* visit = RequestVisits::Of(msg);
    auto entry = std::make_unique<Entry>();
    long long id = 0;
    if (!visit ||
        !ParseMediaPath(path, thumbnail ? kThumbPrefix : kMediaPrefix, entry->table, id) ||
        HiddenFrom(*visit, entry->table))
        return Fail(msg, SOUP_STATUS_NOT_FOUND);
    int found = catalog.Find(entry->table, id, *entry);
    if (found < 0)
        return Fail(msg, SOUP_STATUS_SERVICE_UNAVAILABLE);
    const ZEVO_MEDIA_INFO& info = entry->info;
    std::string file = thumbnail ? std::string(info.thumbnail) : FilePathOf(info);
    if (found == 0 || file.empty() || (thumbnail && entry->table == Calyx::MEDIA_TABLE_MUSIC))
        return Fail(msg, SOUP_STATUS_NOT_FOUND);
    struct stat st;
    unsigned refused = 0;
    const int fd = thumbnail ? ServedFiles::OpenThumbnail(file, st, refused)
                             : files.OpenMedia(file, info.filesize, info.mdate, st, refused);
    if (fd < 0)
        return Fail(msg, refused);
    FileAnnouncement announce;
    announce.interactive = thumbnail || entry->table == Calyx::MEDIA_TABLE_PHOTO;
    announce.contentType = thumbnail ? "image/jpeg" : MimeOf(info);
    announce.features = thumbnail ? std::string("DLNA.ORG_PN=JPEG_TN;") + kInteractiveFlags
                                  : DlnaFeatures(*entry, *visit);
    if (!thumbnail && entry->table == Calyx::MEDIA_TABLE_VIDEO)
        AnnounceCaption(msg, *entry, *visit);
    SendFile(msg, fd, st, announce, head);
}

struct Handler {
    Catalog* catalog;
    ServedFiles* files;
    bool thumbnail;
};

void Serve(SoupServer*, SoupServerMessage* msg, const char* path, GHashTable*, gpointer data) {
    Handler* h = static_cast<Handler*>(data);
    HandleFile(msg, path, *h->catalog, *h->files, h->thumbnail);
}

}  // namespace

bool AcceptGetOrHead(SoupServerMessage* msg, bool& head) {
    const char* method = soup_server_message_get_method(msg);
    head = strcmp(method, "HEAD") == 0;
    if (head || strcmp(method, "GET") == 0)
        return true;
    soup_message_headers_replace(soup_server_message_get_response_headers(msg), "Allow",
                                 "GET, HEAD");
    Fail(msg, SOUP_STATUS_METHOD_NOT_ALLOWED);
    return false;
}

void SendFile(SoupServerMessage* msg, int fd, const struct stat& st,
              const FileAnnouncement& announce, bool head) {
    auto transfer = std::make_unique<Transfer>();
    transfer->fd = fd;
    SoupMessageHeaders* request = soup_server_message_get_request_headers(msg);
    SoupMessageHeaders* response = soup_server_message_get_response_headers(msg);
    const char* rangeHeader = soup_message_headers_get_one(request, "Range");
    ByteRange range = ParseByteRange(rangeHeader ? rangeHeader : "", st.st_size);
    soup_message_headers_replace(response, "Accept-Ranges", "bytes");
    if (range.result == ByteRange::kUnsatisfiable) {
        soup_message_headers_replace(response, "Content-Range",
                                     ("bytes */" + std::to_string(st.st_size)).c_str());
        return Fail(msg, SOUP_STATUS_REQUESTED_RANGE_NOT_SATISFIABLE);
    }
    soup_message_headers_replace(response, "Content-Type", announce.contentType.c_str());
    soup_message_headers_replace(response, "transferMode.dlna.org",
                                 announce.interactive ? "Interactive" : "Streaming");
    if (!announce.features.empty())
        soup_message_headers_replace(response, "contentFeatures.dlna.org",
                                     announce.features.c_str());
    if (range.result == ByteRange::kPart) {
        std::string contentRange = "bytes " + std::to_string(range.first) + "-" +
                                   std::to_string(range.first + range.length - 1) + "/" +
                                   std::to_string(st.st_size);
        soup_message_headers_replace(response, "Content-Range", contentRange.c_str());
    }
    soup_server_message_set_status(
        msg, range.result == ByteRange::kPart ? SOUP_STATUS_PARTIAL_CONTENT : SOUP_STATUS_OK,
        nullptr);
    soup_message_headers_set_content_length(response, range.length);
    if (head)
        return;
    if (range.length >= kHandedOverBodyBytes &&
        HandOverBody(msg, transfer->fd, range.first, range.length)) {
        transfer->fd = -1;  // the hand-over closes it
        return;
    }

    transfer->offset = range.first;
    transfer->remaining = range.length;
    Transfer* t = transfer.release();
    g_object_set_data_full(G_OBJECT(msg), "calyx-dms-transfer", t,
                           [](gpointer data) { delete static_cast<Transfer*>(data); });
    soup_message_body_set_accumulate(soup_server_message_get_response_body(msg), FALSE);
    g_signal_connect(msg, "wrote-chunk", G_CALLBACK(+[](SoupServerMessage* m, gpointer data) {
                         SendNextPiece(m, static_cast<Transfer*>(data));
                     }),
                     t);
    SendNextPiece(msg, t);
}

void ServeMedia(GUPnPContext* context, Catalog& catalog, ServedFiles& files) {
    for (bool thumbnail : {false, true}) {
        std::string prefix = thumbnail ? kThumbPrefix : kMediaPrefix;
        prefix.pop_back();  // the handler path has no trailing "/"
        gupnp_context_add_server_handler(context, FALSE, prefix.c_str(), Serve,
                                         new Handler{&catalog, &files, thumbnail},
                                         [](gpointer data) { delete static_cast<Handler*>(data); });
    }
    ServeExtraFiles(context, catalog, files);
}

}  // namespace calyx_dms
