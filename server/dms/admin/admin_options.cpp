#include "admin/admin_options.h"

#include "admin/password_hash.h"

namespace calyx_dms {

void AddAdminOptions(CLI::App& app, AdminSettings& o) {
    app.add_option("--admin-address", o.address,
                   "Address the settings page listens on (default: the loopback address)");
    app.add_option("--admin-port", o.port, "Port of the settings page")
        ->check(CLI::Range(1u, 65535u));
    app.add_option("--admin-password-hash", o.passwordHash,
                   "Password hash of the settings page, made by --hash-password (the page "
                   "is off without it)");
    app.add_flag("--admin-allow-remote", o.allowRemote,
                 "Let the settings page listen on an address other than loopback (it is plain "
                 "HTTP: prefer an SSH tunnel)");
    app.add_option("--admin-login-interval", o.loginInterval,
                   "Seconds in which the settings page accepts at most 10 password guesses")
        ->check(CLI::Range(1u, 86400u));
    app.add_flag_callback(
        "--hash-password",
        [&o] {
            o.hashPassword = true;
            o.hashExitCode = PrintPasswordHash();
            throw CLI::Success();
        },
        "Read a password from standard input, print its salted hash for "
        "admin-password-hash and exit");
}

}  // namespace calyx_dms
