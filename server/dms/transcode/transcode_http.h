// GET and HEAD of transcoded resources: /transcode/<m|v>/<id>/<target token>.<ext>. The
// answer streams a worker's output (chunked, no Content-Length), seeks by time
// (TimeSeekRange.dlna.org) and never by bytes: a Range header gets 406, as DLNA asks of a
// resource without byte seek.
#ifndef CALYX_DMS_TRANSCODE_TRANSCODE_HTTP_H
#define CALYX_DMS_TRANSCODE_TRANSCODE_HTTP_H

#include <libgupnp/gupnp.h>

#include "content/catalog.h"
#include "content/served_file.h"
#include "transcode/transcode_jobs.h"

namespace calyx_dms {

// Seconds a client is asked to wait when every transcoding worker is busy.
inline constexpr int kTranscodeRetrySeconds = 10;

// Adds the handler to `context`; `catalog`, `jobs` and `files` must outlive it. A source
// file is opened as the originals are (`files`: inside the media folders, unchanged since
// it was indexed) and handed to the worker open.
void ServeTranscodes(GUPnPContext* context, Catalog& catalog, TranscodeJobs& jobs,
                     ServedFiles& files);

}  // namespace calyx_dms

#endif  // CALYX_DMS_TRANSCODE_TRANSCODE_HTTP_H
