// calyx-dms: a DLNA/UPnP media server on libcalyx.
#include "media_server.h"
#include "options.h"

int main(int argc, char** argv) {
    calyx_dms::Options options;
    int exitCode = 0;
    if (!calyx_dms::ParseOptions(argc, argv, options, exitCode))
        return exitCode;
    return calyx_dms::RunMediaServer(options);
}
