// The server's limits against hostile clients (command-line options, read in options.cpp):
// the names a request's Host may give, the client list's cap, the log's collapse interval,
// the query workers' statement timeout and whether links may lead out of the media folders.
#ifndef CALYX_DMS_LIMIT_OPTIONS_H
#define CALYX_DMS_LIMIT_OPTIONS_H

#include <string>
#include <vector>

namespace calyx_dms {

struct LimitSettings {
    std::vector<std::string> hostNames;  // --host-name: names a request's Host may give
    size_t maxClients = 1000;            // entries of the client list at most
    unsigned logCollapseInterval = 60;   // seconds over which repeated lines are counted
    unsigned statementTimeout = 5000;    // milliseconds per statement of a query worker
    bool followLinks = false;            // serve files whose links lead out of the media folders
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_LIMIT_OPTIONS_H
