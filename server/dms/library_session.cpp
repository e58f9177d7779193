#include "library_session.h"

#include <sys/stat.h>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"

namespace calyx_dms {

namespace {

const char kLogFixedPath[] = "/var/packages/Calyx/var/calyx-dms.log";

// Creates the directories above `path` (mode 0755); existing ones are fine.
void MakeParentDirectories(const std::string& path) {
    std::string partial;
    for (const std::string& piece : Calyx::StringExplode(Calyx::FileGetPathDirName(path), "/")) {
        partial += "/" + piece;
        mkdir(partial.c_str(), 0755);
    }
}

}  // namespace

std::string ClientListPath() {
    return Calyx::ResolveFixedPath(Calyx::kClientListFixedPath);
}

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
