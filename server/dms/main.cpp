// calyx-dms: a DLNA/UPnP media server on libcalyx.
#include <stdlib.h>

#include "indexing/index_worker.h"
#include "indexing/thumbnail_worker.h"
#include "media_server.h"
#include "options.h"

int main(int argc, char** argv) {
    // The server started again by itself to index its folders in the background.
    if (calyx_dms::IsIndexWorkerCommand(argc, argv))
        return calyx_dms::RunIndexWorker(argc, argv);
    // ... or to make the thumbnails the index lacks.
    if (calyx_dms::IsThumbnailWorkerCommand(argc, argv))
        return calyx_dms::RunThumbnailWorker(argc, argv);
    // GLib would look for the desktop's settings store (dconf), and warn on standard
    // error where a service user has none; the server keeps no GLib settings.
    setenv("GSETTINGS_BACKEND", "memory", 0);
    calyx_dms::Options options;
    int exitCode = 0;
    if (!calyx_dms::ParseOptions(argc, argv, options, exitCode))
        return exitCode;
    return calyx_dms::RunMediaServer(options);
}
