// One transcoded response: the worker's status line decides the answer's status and
// headers, then its output goes to the client as a chunked body (no Content-Length),
// read from the pipe only as fast as the client takes it. The worker is killed as soon as
// the client leaves: when the connection reads end-of-stream, or libsoup finishes the
// message.
#ifndef CALYX_DMS_TRANSCODE_TRANSCODE_STREAM_H
#define CALYX_DMS_TRANSCODE_TRANSCODE_STREAM_H

#include <libsoup/soup.h>
#include <sys/types.h>

#include <string>

#include "transcode/transcode_jobs.h"

namespace calyx_dms {

struct StreamStart {
    pid_t pid = -1;
    int fd = -1;              // the worker's output, taken over by the stream
    bool seekHeader = false;  // the request had TimeSeekRange.dlna.org
    double end = -1;          // the requested end (seconds), or negative
    std::string description;  // for the log: "v12 ts-h264-aac-1920x1080-2 from 30 s"
};

// Takes over `msg` (which this pauses) until it is finished. `jobs` must outlive it.
void BeginTranscodeStream(SoupServerMessage* msg, TranscodeJobs& jobs, const StreamStart& start);

}  // namespace calyx_dms

#endif  // CALYX_DMS_TRANSCODE_TRANSCODE_STREAM_H
