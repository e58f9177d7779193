#include "watch/folder_watch.h"

#include <dirent.h>
#include <errno.h>
#include <limits.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

namespace calyx_dms {

namespace {

constexpr uint32_t kMask = IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_FROM |
                           IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

bool Under(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path[folder.size()] == '/' &&
           path.compare(0, folder.size(), folder) == 0;
}

}  // namespace

size_t ReadWatchLimit(const std::string& file) {
    std::ifstream in(file);
    long long limit = 0;
    return in >> limit && limit > 0 ? static_cast<size_t>(limit) : 0;
}

FolderWatch::FolderWatch(size_t limit) : limit_(limit) {
    fd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd_ < 0)
        error_ = std::string("inotify: ") + strerror(errno);
}

FolderWatch::~FolderWatch() {
    if (fd_ >= 0)
        close(fd_);
}

FolderWatch::AddResult FolderWatch::AddRoot(const std::string& root) {
    if (fd_ < 0)
        return AddResult::kFailed;
    std::set<std::pair<dev_t, ino_t>> seen;
    const AddResult result = AddTree(root, seen);
    if (result != AddResult::kFailed)
        roots_.insert(root);
    return result;
}

FolderWatch::AddResult FolderWatch::AddTree(const std::string& folder,
                                            std::set<std::pair<dev_t, ino_t>>& seen) {
    struct stat info {};
    if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        return AddResult::kFailed;
    if (!seen.insert({info.st_dev, info.st_ino}).second || watches_.count(folder) != 0)
        return AddResult::kAdded;  // a link back up the tree, or watched already
    if (paths_.size() >= limit_)
        return AddResult::kLimit;
    const int wd = inotify_add_watch(fd_, folder.c_str(), kMask);
    if (wd < 0)
        return errno == ENOSPC ? AddResult::kLimit : AddResult::kFailed;
    paths_[wd] = folder;
    watches_[folder] = wd;
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr)
        return AddResult::kAdded;  // watched; what it holds the indexer reports
    std::vector<std::string> subfolders;
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.')
            continue;
        const std::string child = folder + "/" + entry->d_name;
        struct stat childInfo {};
        if ((entry->d_type == DT_DIR || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN) &&
            stat(child.c_str(), &childInfo) == 0 && S_ISDIR(childInfo.st_mode))
            subfolders.push_back(child);
    }
    closedir(dir);
    for (const std::string& child : subfolders)
        if (AddTree(child, seen) == AddResult::kLimit)
            return AddResult::kLimit;
    return AddResult::kAdded;
}

void FolderWatch::RemoveTree(const std::string& folder) {
    for (auto it = watches_.begin(); it != watches_.end();) {
        if (it->first == folder || Under(it->first, folder)) {
            inotify_rm_watch(fd_, it->second);
            paths_.erase(it->second);
            it = watches_.erase(it);
        } else {
            ++it;
        }
    }
}

void FolderWatch::RemoveAll() {
    for (const auto& [wd, path] : paths_)
        inotify_rm_watch(fd_, wd);
    paths_.clear();
    watches_.clear();
    roots_.clear();
}

FolderWatch::Events FolderWatch::Read() {
    Events events;
    alignas(struct inotify_event) char buffer[16384];
    for (;;) {
        const ssize_t length = read(fd_, buffer, sizeof buffer);
        if (length <= 0)
            break;
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const struct inotify_event*>(buffer + offset);
            offset += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                events.overflow = true;
                continue;
            }
            const auto found = paths_.find(event->wd);
            if (found == paths_.end())
                continue;  // a watch given up meanwhile
            const std::string folder = found->second;
            if (event->mask & IN_IGNORED) {
                watches_.erase(folder);
                paths_.erase(found);
                if (roots_.count(folder) != 0)
                    events.rootsGone.push_back(folder);
                continue;
            }
            if (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) {
                if (roots_.count(folder) != 0) {
                    RemoveTree(folder);
                    events.rootsGone.push_back(folder);
                }
                continue;  // a subfolder: its parent's event tells
            }
            if (event->len == 0 || event->name[0] == '.')
                continue;
            const std::string path = folder + "/" + event->name;
            const bool isFolder = (event->mask & IN_ISDIR) != 0;
            if (event->mask & (IN_DELETE | IN_MOVED_FROM)) {
                if (isFolder)
                    RemoveTree(path);
                events.changes.push_back({path, ChangeSettler::Event::kGone});
            } else if (isFolder && (event->mask & (IN_CREATE | IN_MOVED_TO))) {
                std::set<std::pair<dev_t, ino_t>> seen;
                if (AddTree(path, seen) == AddResult::kLimit)
                    events.limitReached = true;
                events.changes.push_back({path, ChangeSettler::Event::kArrived});
            } else if (event->mask & IN_MOVED_TO) {
                events.changes.push_back({path, ChangeSettler::Event::kArrived});
            } else if (event->mask & IN_CLOSE_WRITE) {
                events.changes.push_back({path, ChangeSettler::Event::kClosed});
            } else if (!isFolder && (event->mask & (IN_CREATE | IN_MODIFY))) {
                events.changes.push_back({path, ChangeSettler::Event::kWritten});
            } else if (!isFolder && (event->mask & IN_ATTRIB)) {
                events.changes.push_back({path, ChangeSettler::Event::kTouched});
            }
        }
    }
    return events;
}

}  // namespace calyx_dms
