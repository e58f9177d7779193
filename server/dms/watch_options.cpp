#include "watch_options.h"

namespace calyx_dms {

void AddWatchOptions(CLI::App& app, Options& o) {
    app.add_option("--rescan-interval", o.rescanInterval,
                   "Seconds between rescans of every media folder (0: none; the folders are "
                   "watched). Set it for network shares, where changes made by other machines "
                   "raise no event")
        ->check(CLI::Range(0u, 31u * 24 * 3600));
    app.add_option("--forget-after", o.forgetAfter,
                   "Seconds the items of a media folder that is gone (deleted, renamed, its disk "
                   "unmounted) stay hidden before they are removed from the index")
        ->check(CLI::Range(0LL, 10LL * 365 * 24 * 3600));
}

}  // namespace calyx_dms
