// The settings of the settings page and the --hash-password command, as command-line
// options. The server's options hold an AdminSettings; this file knows nothing else of them.
#ifndef CALYX_DMS_ADMIN_ADMIN_OPTIONS_H
#define CALYX_DMS_ADMIN_ADMIN_OPTIONS_H

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace calyx_dms {

struct AdminSettings {
    std::string address = "127.0.0.1";
    unsigned port = 8201;
    std::string passwordHash;            // crypt(3) SHA-512 hash made by --hash-password; "" = off
    std::string configFile;              // where policy changes are saved ("" = they cannot be)
    bool allowRemote = false;            // --admin-allow-remote: may listen on a network address
    unsigned loginInterval = 60;         // seconds in which all addresses get 10 password guesses
    std::vector<std::string> hostNames;  // names a request's Host may give (--host-name)
    bool hashPassword = false;           // --hash-password ran instead of the server
    int hashExitCode = 0;
};

// Adds --admin-address, --admin-port, --admin-password-hash, --admin-allow-remote,
// --admin-login-interval and --hash-password. The last
// one runs at once (the other required settings are not needed for it) and ends parsing
// with `settings.hashPassword` set and `settings.hashExitCode` saying how it went.
void AddAdminOptions(CLI::App& app, AdminSettings& settings);

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_ADMIN_OPTIONS_H
