// Keeps the client list file in step with memory: saves when memory changed (checked
// every few seconds) and as soon as another program saved the file (the library's save
// merges that program's edits); a check that finds nothing changed writes nothing.
#ifndef CALYX_DMS_CLIENT_LIST_KEEPER_H
#define CALYX_DMS_CLIENT_LIST_KEEPER_H

#include <gio/gio.h>
#include <json/value.h>
#include <sys/stat.h>

#include <string>

#include "calyx/client_list.h"

namespace calyx_dms {

// The client list file: the library's fixed path under the root prefix.
std::string ClientListPath();

class ClientListKeeper {
public:
    // Watches the directory of `path` (inotify) and checks every `interval` seconds.
    ClientListKeeper(Calyx::DMSClientList& list, std::string path, unsigned interval);
    ~ClientListKeeper();
    ClientListKeeper(const ClientListKeeper&) = delete;
    ClientListKeeper& operator=(const ClientListKeeper&) = delete;

    // Saves if memory or the file changed since the last save; called by the timer and
    // at shutdown.
    void Check();
    // The file in the watched directory changed (any event naming it).
    void OnFileEvent();

private:
    bool FileIsOurs() const;
    void Save();

    Calyx::DMSClientList& list_;
    std::string path_;
    GFileMonitor* monitor_ = nullptr;
    guint timer_ = 0;
    Json::Value written_;       // the document as last saved
    struct stat savedStat_ {};  // the file as the last save left it
    bool failing_ = false;      // the last save failed (said once, not at every check)
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENT_LIST_KEEPER_H
