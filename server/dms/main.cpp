// calyx-dms: a DLNA/UPnP media server on libcalyx.
#include <malloc.h>
#include <stdlib.h>

#include "media_server.h"
#include "options.h"

int main(int argc, char** argv) {
    // GLib would look for the desktop's settings store (dconf), and warn on standard
    // error where a service user has none; the server keeps no GLib settings.
    setenv("GSETTINGS_BACKEND", "memory", 0);
    // Answers of a page or more (tens of KiB to megabytes, made on the query workers) get
    // memory of their own, given back when freed: otherwise the allocator raises this
    // threshold after the first large free and keeps their pages in its heaps, where the
    // server's resident size grew by the answers of the busiest moment.
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
    calyx_dms::Options options;
    int exitCode = 0;
    if (!calyx_dms::ParseOptions(argc, argv, options, exitCode))
        return exitCode;
    return calyx_dms::RunMediaServer(options);
}
