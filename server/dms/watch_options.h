// The flags of the media folders' watching: periodic rescans and how long the items of a
// media folder that is gone are kept.
#ifndef CALYX_DMS_WATCH_OPTIONS_H
#define CALYX_DMS_WATCH_OPTIONS_H

#include <CLI/CLI.hpp>

#include "options.h"

namespace calyx_dms {

void AddWatchOptions(CLI::App& app, Options& options);

}  // namespace calyx_dms

#endif  // CALYX_DMS_WATCH_OPTIONS_H
