// The media folders followed as they change: inotify on every folder, changed paths held
// until they settle and then handed over to be indexed; a media folder that goes away
// handed over too (the indexer hides its items) and looked for until it returns; periodic
// rescans, on request or when the watch limit is too small to watch every folder.
#ifndef CALYX_DMS_MEDIA_WATCH_H
#define CALYX_DMS_MEDIA_WATCH_H

#include <glib.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "watch/change_settler.h"
#include "watch/folder_watch.h"

namespace calyx_dms {

struct WatchSettings {
    std::vector<std::string> folders;  // media folders, absolute, links resolved
    unsigned rescanInterval = 0;       // seconds between rescans of everything; 0: none
    // Where the per-user inotify watch limit is read; tests name a file of their own.
    std::string limitFile = "/proc/sys/fs/inotify/max_user_watches";
};

class MediaWatch {
public:
    // Called on the main loop with the paths to index: changed files and folders, or
    // media folders that went or came back; empty: every media folder, whole.
    using Request = std::function<void(const std::vector<std::string>& paths)>;

    // Rescans every this many seconds when the folders cannot be watched and no
    // --rescan-interval is set.
    static constexpr unsigned kFallbackRescanSeconds = 600;

    MediaWatch(WatchSettings settings, Request request);
    ~MediaWatch();
    MediaWatch(const MediaWatch&) = delete;
    MediaWatch& operator=(const MediaWatch&) = delete;

    // Reads the watch limit, watches the folders (or falls back to rescans) and starts the
    // timers, all on the main loop's context. Logs what it does.
    void Start();

    bool watching() const { return watch_ != nullptr; }
    size_t pending() const { return settler_.size(); }

private:
    void OnEvents();
    void Tick();
    void FallBack(size_t limit);
    void StartRescans(unsigned seconds);

    WatchSettings settings_;
    Request request_;
    std::unique_ptr<FolderWatch> watch_;
    ChangeSettler settler_;
    std::set<std::string> missing_;  // media folders that are not there
    guint io_ = 0, tick_ = 0, rescan_ = 0;
    unsigned ticks_ = 0;
};

// Folders at and under `roots` (links followed, names starting with "." left out),
// counting at most `stop` of them.
size_t CountFolders(const std::vector<std::string>& roots, size_t stop);

}  // namespace calyx_dms

#endif  // CALYX_DMS_MEDIA_WATCH_H
