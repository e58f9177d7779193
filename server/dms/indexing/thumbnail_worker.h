// The thumbnail worker: calyx-dms-worker started by the server with --thumbnail-worker.
// It makes the thumbnails that the index lacks for the photos and videos named on its
// command line (object ids "p12", "v7") and says what it did in one line on standard
// output; the server starts it (thumbnail_backlog.h).
#ifndef CALYX_DMS_INDEXING_THUMBNAIL_WORKER_H
#define CALYX_DMS_INDEXING_THUMBNAIL_WORKER_H

#include <string>
#include <vector>

namespace calyx_dms {

// True when the command line asks for the worker (its first argument is
// --thumbnail-worker).
bool IsThumbnailWorkerCommand(int argc, char** argv);

// Runs the worker: 0 when it ran (files whose picture cannot be made included), 1 when the
// index cannot be read, 2 for a command line that is not the server's.
int RunThumbnailWorker(int argc, char** argv);

}  // namespace calyx_dms

#endif  // CALYX_DMS_INDEXING_THUMBNAIL_WORKER_H
