// The command-line settings of the settings page and the --hash-password command.
#ifndef CALYX_DMS_ADMIN_OPTIONS_H
#define CALYX_DMS_ADMIN_OPTIONS_H

#include <CLI/CLI.hpp>

#include "options.h"

namespace calyx_dms {

// Adds --admin-address, --admin-port, --admin-password-hash and --hash-password. The last
// one runs at once (the other required settings are not needed for it) and ends parsing
// with `options.hashPassword` set and `options.hashExitCode` saying how it went.
void AddAdminOptions(CLI::App& app, Options& options);

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_OPTIONS_H
