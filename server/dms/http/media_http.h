// GET and HEAD of indexed files and of their thumbnails: /media/<m|v|p>/<id>[.ext] and
// /thumb/<v|p>/<id>.jpg. Only files that a row of the index names are ever opened.
#ifndef CALYX_DMS_MEDIA_HTTP_H
#define CALYX_DMS_MEDIA_HTTP_H

#include <libgupnp/gupnp.h>
#include <sys/stat.h>

#include <string>

#include "content/catalog.h"
#include "content/served_file.h"

namespace calyx_dms {

// Adds the handlers of media, thumbnails, covers, large photos and subtitles to `context`;
// `catalog` and `files` must outlive it.
void ServeMedia(GUPnPContext* context, Catalog& catalog, ServedFiles& files);

// How a file is announced in its response.
struct FileAnnouncement {
    std::string contentType;
    bool interactive = false;  // transferMode.dlna.org Interactive (pictures, text), else Streaming
    std::string features;      // contentFeatures.dlna.org; "" for none
};

// False, with 405 answered, for a method other than GET and HEAD; `head` says which.
bool AcceptGetOrHead(SoupServerMessage* msg, bool& head);

// Answers with the open file `fd` (taken over; `st` its status): the whole file or a byte
// range, sent in pieces.
void SendFile(SoupServerMessage* msg, int fd, const struct stat& st,
              const FileAnnouncement& announce, bool head);

}  // namespace calyx_dms

#endif  // CALYX_DMS_MEDIA_HTTP_H
