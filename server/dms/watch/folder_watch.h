// inotify over whole folder trees: a watch on every folder, kept up to date as folders
// come, go and move, and the events turned into changed paths.
#ifndef CALYX_DMS_FOLDER_WATCH_H
#define CALYX_DMS_FOLDER_WATCH_H

#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "watch/change_settler.h"

namespace calyx_dms {

class FolderWatch {
public:
    struct Change {
        std::string path;
        ChangeSettler::Event event;
    };
    // What one Read found.
    struct Events {
        std::vector<Change> changes;
        std::vector<std::string> rootsGone;  // watched roots deleted, moved or unmounted
        bool overflow = false;               // events were lost: everything must be looked at
        bool limitReached = false;           // a new folder could not be watched
    };
    enum class AddResult { kAdded, kLimit, kFailed };

    // At most `limit` watches (the system's per-user limit, as read at start).
    explicit FolderWatch(size_t limit);
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    // The inotify descriptor (-1 when inotify could not be started: see error()).
    int fd() const { return fd_; }
    const std::string& error() const { return error_; }
    size_t watches() const { return paths_.size(); }

    // Watches `root` (absolute, links resolved) and every folder under it, following links
    // and leaving out names starting with "."; kLimit when that would pass the limit (the
    // watches added stay: call RemoveAll to give up), kFailed when the root cannot be read.
    AddResult AddRoot(const std::string& root);
    void RemoveAll();
    // Reads the events waiting on fd() (never blocks).
    Events Read();

private:
    AddResult AddTree(const std::string& folder, std::set<std::pair<dev_t, ino_t>>& seen);
    void RemoveTree(const std::string& folder);

    int fd_ = -1;
    size_t limit_;
    std::string error_;
    std::unordered_map<int, std::string> paths_;  // watch descriptor -> folder
    std::unordered_map<std::string, int> watches_;
    std::set<std::string> roots_;
};

// The per-user inotify watch limit read from `file` (normally
// /proc/sys/fs/inotify/max_user_watches); 0 when it cannot be read.
size_t ReadWatchLimit(const std::string& file);

}  // namespace calyx_dms

#endif  // CALYX_DMS_FOLDER_WATCH_H
