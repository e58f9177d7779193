// calyx-dms-worker: the work of calyx-dms that reads media with libav, in a process of its
// own that the server starts by exec (never a fork of the threaded server), so that the
// server itself maps no media library.
#include <stdio.h>

#include "indexing/index_worker.h"
#include "indexing/thumbnail_worker.h"

int main(int argc, char** argv) {
    // An index run of the folders named.
    if (calyx_dms::IsIndexWorkerCommand(argc, argv))
        return calyx_dms::RunIndexWorker(argc, argv);
    // The thumbnails the index lacks.
    if (calyx_dms::IsThumbnailWorkerCommand(argc, argv))
        return calyx_dms::RunThumbnailWorker(argc, argv);
    fprintf(stderr,
            "calyx-dms-worker is started by calyx-dms (--index-worker or --thumbnail-worker), "
            "not by hand\n");
    return 2;
}
