#include "library_session.h"

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "clients/client_list_keeper.h"

namespace calyx_dms {

namespace {

const char kLogFixedPath[] = "/var/packages/Calyx/var/calyx-dms.log";

// Creates the folders above `path`; a failure shows when the file is opened.
void MakeParentDirectories(const std::string& path) {
    Calyx::MakeDirectories(Calyx::FileGetPathDirName(path), nullptr);
}

}  // namespace

LibrarySession::LibrarySession(const Options& options)
    : options_(options), texts_(options.language) {}

LibrarySession::~LibrarySession() {
    if (profilesLoaded_)
        Calyx::DMSClientChecker::ReleaseClientList();
    if (logOpen_)
        Calyx::DMSLogClose();
}

bool LibrarySession::Start(std::string& error) {
    std::string log = options_.log.empty() ? Calyx::ResolveFixedPath(kLogFixedPath) : options_.log;
    MakeParentDirectories(log);
    if (Calyx::DMSLOGInit(log.c_str()) != 1) {
        error = "cannot open the log " + log;
        return false;
    }
    logOpen_ = true;
    Calyx::DMSLOGSetLevel(static_cast<Calyx::DMSLOG_LEVEL>(options_.logLevel));

    if (!Calyx::DMSClientChecker::InitProfileList(options_.profiles)) {
        error = "cannot load the profile list " + options_.profiles;
        return false;
    }
    profilesLoaded_ = true;

    clients_.m_denyNewClients = options_.denyNewClients;
    MakeParentDirectories(ClientListPath());
    if (!Calyx::ClientListStartUp(clients_, ClientListPath(), options_.profiles)) {
        error = "cannot load the profile list " + options_.profiles;
        return false;
    }

    texts_.ImportStrings();
    return true;
}

}  // namespace calyx_dms
