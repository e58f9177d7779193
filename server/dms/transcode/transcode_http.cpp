#include "transcode/transcode_http.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "calyx/core.h"
#include "clients/request_visits.h"
#include "common/body_encoding.h"
#include "common/server_paths.h"
#include "content/media_facts.h"
#include "content/served_file.h"
#include "transcode/time_seek.h"
#include "transcode/transcode_choice.h"
#include "transcode/transcode_stream.h"
#include "transcode/transcode_target.h"

namespace calyx_dms {

namespace {

struct Handler {
    Catalog* catalog;
    TranscodeJobs* jobs;
    ServedFiles* files;
};

// Closes the checked source file once the worker has its own copy of the descriptor.
struct InputFile {
    int fd = -1;
    ~InputFile() {
        if (fd >= 0)
            close(fd);
    }
};

// "/transcode/v/12/ts-h264-aac-1920x1080-2.ts" -> video row 12 and its target.
bool ParseTranscodePath(const char* path, Calyx::MEDIA_TABLE_TYPE& table, long long& id,
                        TranscodeTarget& target) {
    std::string rest = path + strlen(kTranscodePrefix);
    size_t slash = rest.find('/', 2);
    if (rest.size() < 4 || rest[1] != '/' || slash == std::string::npos ||
        !TableOfLetter(rest[0], table))
        return false;
    ObjectId object;
    if (!ParseObjectId(rest.substr(0, 1) + rest.substr(2, slash - 2), object))
        return false;
    id = object.id;
    std::string name = rest.substr(slash + 1);
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || !ParseTranscodeToken(name.substr(0, dot), target))
        return false;
    const bool video =
        target.kind == TranscodeTarget::kVideo || target.kind == TranscodeTarget::kRemux;
    return name.substr(dot + 1) == TargetExtension(target) &&
           table == (video ? Calyx::MEDIA_TABLE_VIDEO : Calyx::MEDIA_TABLE_MUSIC);
}

void Fail(SoupServerMessage* msg, guint status) {
    soup_server_message_set_status(msg, status, nullptr);
}

void HandleTranscode(SoupServerMessage* msg, const char* path, Catalog& catalog,
                     TranscodeJobs& jobs, ServedFiles& files) {
    const char* method = soup_server_message_get_method(msg);
    const bool head = strcmp(method, "HEAD") == 0;
    SoupMessageHeaders* request = soup_server_message_get_request_headers(msg);
    SoupMessageHeaders* response = soup_server_message_get_response_headers(msg);
    if (!head && strcmp(method, "GET") != 0) {
        soup_message_headers_replace(response, "Allow", "GET, HEAD");
        return Fail(msg, SOUP_STATUS_METHOD_NOT_ALLOWED);
    }
    ClientVisit* visit = RequestVisits::Of(msg);
    Entry entry{};
    long long id = 0;
    TranscodeTarget target;
    if (!visit || !ParseTranscodePath(path, entry.table, id, target) ||
        (visit->checker->m_isMusicOnly && entry.table == Calyx::MEDIA_TABLE_VIDEO))
        return Fail(msg, SOUP_STATUS_NOT_FOUND);
    const int found = catalog.Find(entry.table, id, entry);
    if (found < 0)
        return Fail(msg, SOUP_STATUS_SERVICE_UNAVAILABLE);
    const std::string file = FilePathOf(entry.info);
    if (found == 0 || file.empty())
        return Fail(msg, SOUP_STATUS_NOT_FOUND);
    // The same link policy as the originals: inside the media folders, as indexed.
    InputFile input;
    struct stat st;
    unsigned refused = 0;
    input.fd = files.OpenMedia(file, entry.info.filesize, entry.info.mdate, st, refused);
    if (input.fd < 0)
        return Fail(msg, refused);

    soup_message_headers_replace(response, "Content-Type", TargetMime(target).c_str());
    soup_message_headers_replace(response, "transferMode.dlna.org", "Streaming");
    soup_message_headers_replace(response, "contentFeatures.dlna.org",
                                 TranscodeFeatures(target, entry, *visit->checker).c_str());
    soup_message_headers_replace(response, "Accept-Ranges", "none");
    if (soup_message_headers_get_one(request, "Range") != nullptr)
        return Fail(msg, SOUP_STATUS_NOT_ACCEPTABLE);
    TimeSeek seek;
    const char* seekHeader = soup_message_headers_get_one(request, "TimeSeekRange.dlna.org");
    if (seekHeader != nullptr && !ParseTimeSeek(seekHeader, seek))
        return Fail(msg, SOUP_STATUS_BAD_REQUEST);
    if (entry.info.duration > 0 && seek.start >= entry.info.duration) {
        return Fail(msg, SOUP_STATUS_REQUESTED_RANGE_NOT_SATISFIABLE);
    }
    if (head) {
        StreamWithoutLength(msg);
        soup_server_message_set_status(msg, SOUP_STATUS_OK, nullptr);
        return;
    }

    StreamStart start;
    std::string error;
    const std::string args = EncoderArgsFor(target, entry.info);
    switch (jobs.Launch(file, args, seek.start, seek.end, start.pid, start.fd, error, input.fd)) {
        case TranscodeJobs::Start::kBusy:
            soup_message_headers_replace(response, "Retry-After",
                                         std::to_string(kTranscodeRetrySeconds).c_str());
            return Fail(msg, SOUP_STATUS_SERVICE_UNAVAILABLE);
        case TranscodeJobs::Start::kFailed:
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "Error: calyx-dms - %s\n", error.c_str());
            return Fail(msg, SOUP_STATUS_INTERNAL_SERVER_ERROR);
        case TranscodeJobs::Start::kStarted:
            break;
    }
    start.seekHeader = seekHeader != nullptr;
    start.end = seek.end;
    start.description = std::string(1, TableLetter(entry.table)) + std::to_string(id) + " " +
                        TargetToken(target) + " from " + std::to_string(seek.start) + " s";
    if (Calyx::DMSLOGGetLevel() > 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG, "calyx-dms: transcoding %s for %s (worker %d)\n",
                         start.description.c_str(), visit->ip.c_str(), static_cast<int>(start.pid));
    BeginTranscodeStream(msg, jobs, start);
}

void Serve(SoupServer*, SoupServerMessage* msg, const char* path, GHashTable*, gpointer data) {
    Handler* h = static_cast<Handler*>(data);
    HandleTranscode(msg, path, *h->catalog, *h->jobs, *h->files);
}

}  // namespace

void ServeTranscodes(GUPnPContext* context, Catalog& catalog, TranscodeJobs& jobs,
                     ServedFiles& files) {
    std::string prefix = kTranscodePrefix;
    prefix.pop_back();  // the handler path has no trailing "/"
    gupnp_context_add_server_handler(context, FALSE, prefix.c_str(), Serve,
                                     new Handler{&catalog, &jobs, &files},
                                     [](gpointer data) { delete static_cast<Handler*>(data); });
}

}  // namespace calyx_dms
