#include "library_session.h"

#include <stdlib.h>
#include <sys/stat.h>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "clients/client_list_keeper.h"
#include "install_paths.h"

namespace calyx_dms {

namespace {

const char kLogFixedPath[] = "/var/packages/Calyx/var/calyx-dms.log";

// Creates the folders above `path`; a failure shows when the file is opened.
void MakeParentDirectories(const std::string& path) {
    Calyx::MakeDirectories(Calyx::FileGetPathDirName(path), nullptr);
}

const char kTextsFixedPath[] = "/var/packages/Calyx/target/app/texts/";

bool IsFolder(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

void LibrarySession::ImportTexts() {
    const std::string installed = Calyx::ResolveFixedPath(kTextsFixedPath + options_.language);
    const std::string buildRoot = BuildTreeTextsRoot();
    if (IsFolder(installed) || buildRoot.empty()) {
        texts_.ImportStrings();
        return;
    }
    // Run from the build tree with no texts installed: the library reads the source
    // tree's data/texts under the build's root prefix. Nothing else runs yet, so the
    // prefix is set for this one import only.
    const char* root = getenv("CALYX_ROOT");
    const std::string saved = root != nullptr ? root : "";
    setenv("CALYX_ROOT", buildRoot.c_str(), 1);
    texts_.ImportStrings();
    if (root != nullptr)
        setenv("CALYX_ROOT", saved.c_str(), 1);
    else
        unsetenv("CALYX_ROOT");
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

    ImportTexts();
    return true;
}

}  // namespace calyx_dms
