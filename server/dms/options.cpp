// Flags and configuration file. CLI11 reads both: every flag may stand in the file as
// "name = value" (without the dashes), and a flag on the command line wins.
#include "options.h"

#include <CLI/CLI.hpp>

#include <iostream>

#include "calyx/version.h"
#include "watch_options.h"

namespace calyx_dms {

namespace {

// The limits against hostile clients (here rather than in a file of their own: every file
// that includes CLI11 costs most of a minute of compiling).
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
    app.add_flag("--follow-links", limits.followLinks,
                 "Serve (and index) files whose symbolic links lead out of the media folders");
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options& o, int& exitCode) {
    CLI::App app{
        "calyx-dms: a DLNA/UPnP media server that serves the media folders it is given.\n"
        "  calyx-dms --media ~/Music --media ~/Videos\n"
        "indexes them in the background into a PostgreSQL media index (a private cluster in\n"
        "the state folder unless --database or PGHOST names a server) and serves them at once.\n"
        "Fixed paths (ARP table, texts, settings) are read under $CALYX_ROOT when set.",
        "calyx-dms"};
    app.set_version_flag("--version", std::string("calyx-dms ") + CALYX_VERSION_STRING);
    app.footer(
        "As the packaged service: systemctl restart calyx-dms after editing\n"
        "/etc/calyx/calyx-dms.conf (every setting, commented); log /var/log/calyx/calyx-dms.log.\n"
        "An existing PostgreSQL server is prepared once with: sudo -u postgres calyx db init\n"
        "(then --database or 'database =' names it; a server not up yet is waited for).\n"
        "man calyx-dms and docs/server.md tell the rest.\n"
        "Exit status: 0 after a clean stop, 1 when the server cannot start, 2 bad usage.");
    CLI::Option* config =
        app.set_config("--config", "", "Configuration file of \"name = value\" lines");
    app.add_option("--media", o.media,
                   "A folder to index and serve (repeat for more; in the configuration file, "
                   "one \"media = DIR\" line each)");
    app.add_option("--state-dir", o.stateDir,
                   "Folder of the server's state: the private database cluster, thumbnails and "
                   "the default log (default: $STATE_DIRECTORY, /var/lib/calyx for root, else "
                   "$XDG_STATE_HOME/calyx or ~/.local/state/calyx)");
    app.add_option("--pg-bindir", o.pgBindir,
                   "Folder of PostgreSQL's server programs for the private database cluster "
                   "(default: the newest /usr/lib/postgresql/*/bin)");
    app.add_option("--index-workers", o.indexWorkers,
                   "Probing processes of the background indexing, at a lower priority than serving "
                   "(0: one per processor)")
        ->check(CLI::Range(0u, 64u));
    app.add_option("--interface,-i", o.interface, "Network interface to serve on");
    app.add_option("--port", o.port, "HTTP port (0: any free port)")->check(CLI::Range(0u, 65535u));
    app.add_option("--friendly-name", o.friendlyName,
                   "Name shown to clients (default: the translated \"Media Server\")");
    app.add_option("--language", o.language, "Language of the texts (e.g. enu, ger)");
    app.add_option("--profiles", o.profiles,
                   "Profile list file (default: the shipped one, /usr/share/calyx/data/"
                   "profiles.json, or the source tree's data/profiles.json from a build tree)");
    app.add_option("--database", o.database,
                   "libpq connection string of the media index server, as for calyx index "
                   "(database \"calyx\", user \"admin\"; without it and without PGHOST, a "
                   "private PostgreSQL cluster in the state folder)");
    app.add_option("--log", o.log,
                   "Log file, rotated by the library (default: calyx-dms.log in the state folder)");
    app.add_option("--log-level", o.logLevel, "0 errors, 1 info, 2 debug")->check(CLI::Range(0, 2));
    app.add_flag("--deny-new-clients", o.denyNewClients,
                 "Clients seen for the first time get no access until allowed");
    app.add_flag("!--no-discovery", o.discoverRenderers,
                 "Do not look for media renderers on the network");
    app.add_option("--save-interval", o.saveInterval,
                   "Seconds between checks whether the client list must be saved")
        ->check(CLI::Range(1u, 3600u));
    app.add_option("--query-threads", o.queryThreads,
                   "Threads answering Browse and Search, each with its own database connection")
        ->check(CLI::Range(1u, 64u));
    app.add_option("--answer-cache", o.keptAnswersMib,
                   "MiB of Browse and Search answers (and of whole folder listings that pages "
                   "are cut from) kept for clients that ask again, until the index changes "
                   "(0: none kept)")
        ->check(CLI::Range(0u, 1024u));
    app.add_option("--transcodes", o.transcodes,
                   "Transcoded streams at once (default: the number of processor cores); "
                   "beyond that a request gets 503 with Retry-After")
        ->check(CLI::Range(1u, 64u));
    app.add_option("--transcoder", o.transcoder,
                   "The transcoding worker program (default: calyx-transcode beside calyx-dms, "
                   "else the installed one)");
    AddLimitOptions(app, o.limits);
    AddAdminOptions(app, o.admin);
    AddWatchOptions(app, o);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (o.admin.hashPassword) {
            exitCode = o.admin.hashExitCode;
            return false;
        }
        // Help and version exit 0; every usage error exits 2, as the calyx tool does.
        exitCode = app.exit(e) == 0 ? 0 : 2;
        return false;
    }
    if (config->count() > 0)
        o.admin.configFile = config->as<std::string>();
    o.admin.hostNames = o.limits.hostNames;
    return true;
}

}  // namespace calyx_dms
