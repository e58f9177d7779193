// The whole server: the UPnP device with its two services, the media handlers, the
// access gate, renderer discovery and the client list keeper, on one GLib main loop.
#ifndef CALYX_DMS_MEDIA_SERVER_H
#define CALYX_DMS_MEDIA_SERVER_H

#include "options.h"

namespace calyx_dms {

// Runs until SIGTERM or SIGINT; returns the process exit status.
int RunMediaServer(const Options& options);

}  // namespace calyx_dms

#endif  // CALYX_DMS_MEDIA_SERVER_H
