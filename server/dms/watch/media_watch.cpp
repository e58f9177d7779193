#include "watch/media_watch.h"

#include <dirent.h>
#include <glib-unix.h>
#include <sys/stat.h>

#include <utility>

#include "calyx/core.h"

namespace calyx_dms {

namespace {

// How often settled changes are handed over and missing folders looked for.
constexpr guint kTickMilliseconds = 200;
constexpr unsigned kTicksPerMissingCheck = 10;   // 2 s
constexpr unsigned kTicksPerMissingRerun = 300;  // 60 s: lets the indexer forget them
// A closed file must stay untouched this long (what is left of the 2 s a change may take
// to reach the index goes to starting the index worker); one never seen closed this long.
constexpr auto kSettle = std::chrono::milliseconds(750);
constexpr auto kStillOpen = std::chrono::seconds(30);

bool IsFolder(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool Logging() {
    return Calyx::DMSLOGGetLevel() >= 1;
}

}  // namespace

size_t CountFolders(const std::vector<std::string>& roots, size_t stop) {
    size_t count = 0;
    std::vector<std::string> stack(roots.begin(), roots.end());
    std::set<std::pair<dev_t, ino_t>> seen;
    while (!stack.empty() && count < stop) {
        const std::string folder = stack.back();
        stack.pop_back();
        struct stat info {};
        if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) ||
            !seen.insert({info.st_dev, info.st_ino}).second)
            continue;
        ++count;
        DIR* dir = opendir(folder.c_str());
        if (dir == nullptr)
            continue;
        while (const dirent* entry = readdir(dir))
            if (entry->d_name[0] != '.' && entry->d_type != DT_REG)
                stack.push_back(folder + "/" + entry->d_name);
        closedir(dir);
    }
    return count;
}

MediaWatch::MediaWatch(WatchSettings settings, Request request)
    : settings_(std::move(settings)), request_(std::move(request)), settler_(kSettle, kStillOpen) {}

MediaWatch::~MediaWatch() {
    for (guint source : {io_, tick_, rescan_})
        if (source != 0)
            g_source_remove(source);
}

void MediaWatch::Start() {
    const size_t limit = ReadWatchLimit(settings_.limitFile);
    watch_ = std::make_unique<FolderWatch>(limit);
    if (watch_->fd() < 0) {
        if (Logging())
            Calyx::DMSPrintf(
                Calyx::DMSLOG_INFO,
                "calyx-dms: cannot watch the media folders (%s): rescanning them instead\n",
                watch_->error().c_str());
        FallBack(0);
    } else {
        for (const std::string& folder : settings_.folders) {
            const FolderWatch::AddResult added = watch_->AddRoot(folder);
            if (added == FolderWatch::AddResult::kLimit) {
                FallBack(limit);
                break;
            }
            if (added == FolderWatch::AddResult::kFailed)
                missing_.insert(folder);
        }
    }
    if (watch_) {
        if (Logging())
            Calyx::DMSPrintf(
                Calyx::DMSLOG_INFO,
                "calyx-dms: watching %zu folders under %zu media folders (inotify limit %zu)\n",
                watch_->watches(), settings_.folders.size(), limit);
        io_ = g_unix_fd_add(
            watch_->fd(), G_IO_IN,
            [](gint, GIOCondition, gpointer self) -> gboolean {
                static_cast<MediaWatch*>(self)->OnEvents();
                return G_SOURCE_CONTINUE;
            },
            this);
    }
    tick_ = g_timeout_add(
        kTickMilliseconds,
        [](gpointer self) -> gboolean {
            static_cast<MediaWatch*>(self)->Tick();
            return G_SOURCE_CONTINUE;
        },
        this);
    if (settings_.rescanInterval > 0)
        StartRescans(settings_.rescanInterval);
}

void MediaWatch::FallBack(size_t limit) {
    if (watch_ && limit > 0) {
        const size_t folders = CountFolders(settings_.folders, 100 * limit);
        if (Logging())
            Calyx::DMSPrintf(
                Calyx::DMSLOG_INFO,
                "calyx-dms: the inotify watch limit (%zu, fs.inotify.max_user_watches) is below "
                "the %zu folders under the media folders: not watching them, rescanning every %u s "
                "instead (raise the limit, or set --rescan-interval)\n",
                limit, folders,
                settings_.rescanInterval > 0 ? settings_.rescanInterval : kFallbackRescanSeconds);
    }
    if (io_ != 0)
        g_source_remove(io_);
    io_ = 0;
    if (watch_)
        watch_->RemoveAll();
    watch_.reset();
    if (settings_.rescanInterval == 0)
        StartRescans(kFallbackRescanSeconds);
}

void MediaWatch::StartRescans(unsigned seconds) {
    if (rescan_ != 0)
        return;
    rescan_ = g_timeout_add_seconds(
        seconds,
        [](gpointer self) -> gboolean {
            static_cast<MediaWatch*>(self)->request_({});
            return G_SOURCE_CONTINUE;
        },
        this);
}

void MediaWatch::OnEvents() {
    FolderWatch::Events events = watch_->Read();
    const auto now = ChangeSettler::Clock::now();
    for (const FolderWatch::Change& change : events.changes)
        settler_.Record(change.path, change.event, now);
    for (const std::string& root : events.rootsGone) {
        if (Logging())
            Calyx::DMSPrintf(
                Calyx::DMSLOG_INFO,
                "calyx-dms: media folder %s is gone: its items are hidden until it returns\n",
                root.c_str());
        missing_.insert(root);
        settler_.Record(root, ChangeSettler::Event::kGone, now);
    }
    if (events.limitReached) {
        FallBack(watch_->watches());
        request_({});
    } else if (events.overflow) {
        if (Logging())
            Calyx::DMSPrintf(Calyx::DMSLOG_INFO,
                             "calyx-dms: too many changes at once: rescanning the media folders\n");
        request_({});
    }
}

void MediaWatch::Tick() {
    ++ticks_;
    std::vector<std::string> ready = settler_.TakeReady(ChangeSettler::Clock::now());
    if (ticks_ % kTicksPerMissingCheck == 0) {
        for (auto it = missing_.begin(); it != missing_.end();) {
            if (!IsFolder(*it)) {
                ++it;
                continue;
            }
            if (Logging())
                Calyx::DMSPrintf(Calyx::DMSLOG_INFO, "calyx-dms: media folder %s is back\n",
                                 it->c_str());
            if (watch_ && watch_->AddRoot(*it) == FolderWatch::AddResult::kLimit) {
                FallBack(watch_->watches());
            }
            ready.push_back(*it);
            it = missing_.erase(it);
        }
    }
    if (ticks_ % kTicksPerMissingRerun == 0)
        ready.insert(ready.end(), missing_.begin(), missing_.end());
    if (!ready.empty())
        request_(ready);
}

}  // namespace calyx_dms
