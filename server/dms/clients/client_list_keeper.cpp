#include "clients/client_list_keeper.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "calyx/client_list.h"
#include "calyx/core.h"

namespace calyx_dms {

std::string ClientListPath() {
    return Calyx::ResolveFixedPath(Calyx::kClientListFixedPath);
}

namespace {

bool SameFile(const struct stat& a, const struct stat& b) {
    return a.st_ino == b.st_ino && a.st_dev == b.st_dev && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

void FileChanged(GFileMonitor*, GFile* file, GFile* other, GFileMonitorEvent, gpointer self) {
    auto* keeper = static_cast<ClientListKeeper*>(self);
    for (GFile* f : {file, other}) {
        if (!f)
            continue;
        char* name = g_file_get_basename(f);
        bool ours =
            name && std::string(name) == Calyx::FileGetPathBaseName(Calyx::kClientListFixedPath);
        g_free(name);
        if (ours) {
            keeper->OnFileEvent();
            return;
        }
    }
}

}  // namespace

ClientListKeeper::ClientListKeeper(Calyx::DMSClientList& list, std::string path, unsigned interval)
    : list_(list), path_(std::move(path)) {
    written_ = Calyx::ClientListDocument(list_);
    stat(path_.c_str(), &savedStat_);
    GFile* dir = g_file_new_for_path(Calyx::FileGetPathDirName(path_).c_str());
    monitor_ = g_file_monitor_directory(dir, G_FILE_MONITOR_WATCH_MOVES, nullptr, nullptr);
    g_object_unref(dir);
    if (monitor_)
        g_signal_connect(monitor_, "changed", G_CALLBACK(FileChanged), this);
    timer_ = g_timeout_add_seconds(
        interval,
        [](gpointer self) -> gboolean {
            static_cast<ClientListKeeper*>(self)->Check();
            return G_SOURCE_CONTINUE;
        },
        this);
}

ClientListKeeper::~ClientListKeeper() {
    g_source_remove(timer_);
    if (monitor_)
        g_object_unref(monitor_);
}

bool ClientListKeeper::FileIsOurs() const {
    struct stat now;
    return stat(path_.c_str(), &now) == 0 && SameFile(now, savedStat_);
}

void ClientListKeeper::OnFileEvent() {
    // Another program saved the list. The save merges its decisions (access, chosen
    // profile, removed entries) into memory, so they apply now, not at the next check.
    if (!FileIsOurs())
        Save();
}

void ClientListKeeper::Check() {
    if (Calyx::ClientListDocument(list_) == written_ && FileIsOurs())
        return;
    // After a failed save, the next attempt waits for a folder it can write (the library
    // logs every failed save itself).
    if (failing_ && access(Calyx::FileGetPathDirName(path_).c_str(), W_OK) != 0)
        return;
    Save();
}

void ClientListKeeper::Save() {
    if (!list_.WriteToFile()) {
        // Said once: the checks go on, and the next save that works says so.
        if (!failing_ && Calyx::DMSLOGGetLevel() >= 0) {
            const std::string folder = Calyx::FileGetPathDirName(path_);
            const std::string reason =
                access(folder.c_str(), W_OK) == 0 ? "" : std::string(": ") + strerror(errno);
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR,
                             "Error: calyx-dms - cannot save %s (folder %s%s); the clients are "
                             "kept in memory and saved once the folder can be written\n",
                             path_.c_str(), folder.c_str(), reason.c_str());
        }
        failing_ = true;
        return;
    }
    if (failing_ && Calyx::DMSLOGGetLevel() >= 1)
        Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: saved %s again\n", path_.c_str());
    failing_ = false;
    written_ = Calyx::ClientListDocument(list_);
    stat(path_.c_str(), &savedStat_);
}

}  // namespace calyx_dms
