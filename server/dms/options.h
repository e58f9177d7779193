// Settings of calyx-dms: a configuration file of "key = value" lines, overridden by flags.
#ifndef CALYX_DMS_OPTIONS_H
#define CALYX_DMS_OPTIONS_H

#include <string>
#include <vector>

#include "admin/admin_options.h"
#include "limit_options.h"

namespace calyx_dms {

struct Options {
    std::string interface;     // network interface to serve on ("" = the first usable one)
    unsigned port = 0;         // HTTP port (0 = any free port)
    std::string friendlyName;  // "" = the translated "Media Server" text
    std::string language = "enu";
    std::string profiles;            // profile list file ("" = the shipped one, see DataFile)
    std::string database;            // libpq connection string of the media index server ("": env)
    std::vector<std::string> media;  // folders to index and serve (--media, "media =" lines)
    std::string stateDir;            // "" = DefaultStateFolder()
    std::string pgBindir;            // PostgreSQL's server programs ("" = the newest Debian's)
    unsigned indexWorkers = 0;       // probing processes of background indexing (0: one per CPU)
    std::string log;                 // "" = calyx-dms.log in the state folder
    int logLevel = 1;
    bool denyNewClients = false;
    bool discoverRenderers = true;
    unsigned saveInterval = 2;    // seconds between checks of the client list
    unsigned queryThreads = 2;    // threads (each with its database connection) for Browse/Search
    unsigned keptAnswersMib = 4;  // Browse/Search answers kept for repeated requests (0: none)
    // Watching the media folders.
    unsigned rescanInterval = 0;    // seconds between rescans of everything; 0: none
    long long forgetAfter = 86400;  // seconds a gone media folder's items stay hidden
    unsigned transcodes = 0;        // transcoding workers at once (0 = the number of cores)
    std::string transcoder;  // the calyx-transcode program ("" = beside calyx-dms, or installed)
    // The settings page: off unless a password hash is configured.
    AdminSettings admin;
    LimitSettings limits;
};

// Reads the flags (and the file named by --config). Prints help or an error and returns
// false when the program should stop; `exitCode` then says with which status.
bool ParseOptions(int argc, char** argv, Options& options, int& exitCode);

}  // namespace calyx_dms

#endif  // CALYX_DMS_OPTIONS_H
