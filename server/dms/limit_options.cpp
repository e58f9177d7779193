#include "limit_options.h"

namespace calyx_dms {

void AddLimitOptions(CLI::App& app, LimitSettings& limits) {
    app.add_option("--host-name", limits.hostNames,
                   "A name of this server that requests may give in Host (besides its IP "
                   "addresses); may be given more than once");
    app.add_option("--max-clients", limits.maxClients,
                   "Most entries of the client list; beyond it the oldest entries never "
                   "decided about are dropped")
        ->check(CLI::Range(size_t{1}, size_t{1000000}));
    app.add_option("--log-collapse-interval", limits.logCollapseInterval,
                   "Seconds over which repeated log lines about one client are counted "
                   "instead of written")
        ->check(CLI::Range(1u, 86400u));
    app.add_option("--statement-timeout", limits.statementTimeout,
                   "Milliseconds a Browse or Search statement may run (0: no limit)")
        ->check(CLI::Range(0u, 3600000u));
}

}  // namespace calyx_dms
