// The server's limits against hostile clients, as command-line options: the names a
// request's Host may give, the client list's cap, the log's collapse interval and the
// query workers' statement timeout.
#ifndef CALYX_DMS_LIMIT_OPTIONS_H
#define CALYX_DMS_LIMIT_OPTIONS_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace calyx_dms {

struct LimitSettings {
    std::vector<std::string> hostNames;  // --host-name: names a request's Host may give
    size_t maxClients = 1000;            // entries of the client list at most
    unsigned logCollapseInterval = 60;   // seconds over which repeated lines are counted
    unsigned statementTimeout = 5000;    // milliseconds per statement of a query worker
};

// Adds --host-name, --max-clients, --log-collapse-interval and --statement-timeout.
void AddLimitOptions(CLI::App& app, LimitSettings& limits);

}  // namespace calyx_dms

#endif  // CALYX_DMS_LIMIT_OPTIONS_H
