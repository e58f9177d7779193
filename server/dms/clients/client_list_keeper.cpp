#include "clients/client_list_keeper.h"

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
    Save();
}

void ClientListKeeper::Save() {
    if (!list_.WriteToFile()) {
        if (Calyx::DMSLOGGetLevel() >= 0)
            Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "Error: calyx-dms - cannot save %s\n",
                             path_.c_str());
        return;
    }
    written_ = Calyx::ClientListDocument(list_);
    stat(path_.c_str(), &savedStat_);
}

}  // namespace calyx_dms
