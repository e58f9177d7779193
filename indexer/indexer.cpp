// One index run: walk, compare with the index, probe what changed, write, remove what is gone.
#include "indexer/indexer.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <exception>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "calyx/core.h"
#include "indexer/index_store.h"
#include "indexer/media_probe.h"
#include "indexer/tree_walk.h"
#include "indexer/worker_pool.h"

namespace calyx_indexer {

namespace {

// Rows written per transaction, and the longest a transaction stays open while probing.
constexpr size_t kRowsPerTransaction = 500;
constexpr double kSecondsPerTransaction = 2.0;
// How often progress is reported, and how many failures the summary keeps.
constexpr double kProgressInterval = 0.1;
constexpr size_t kFailuresKept = 100;

double Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string Extension(const std::string& path) {
    const size_t slash = path.rfind('/');
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return "";
    std::string ext = path.substr(dot + 1);
    for (char& c : ext)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return ext;
}

std::string BaseName(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The display title a file gets without a title tag: its name without the extension.
std::string TitleOfFile(const std::string& indexedPath) {
    std::string name = BaseName(indexedPath);
    const size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

bool IsPlaylist(const std::string& path) {
    const std::string ext = Extension(path);
    return ext == "m3u" || ext == "m3u8" || ext == "pls";
}

// A stable file name for a path's thumbnail (FNV-1a of the indexed path).
std::string ThumbnailName(const std::string& indexedPath) {
    uint64_t hash = 1469598103934665603ULL;
    for (unsigned char c : indexedPath)
        hash = (hash ^ c) * 1099511628211ULL;
    char name[32];
    snprintf(name, sizeof name, "%016llx.jpg", static_cast<unsigned long long>(hash));
    return name;
}

bool IsUnder(const std::string& path, const std::string& folder) {
    return path == folder ||
           (path.size() > folder.size() && path[folder.size()] == '/' &&
            path.compare(0, folder.size(), folder) == 0) ||
           (folder == "/" && path.size() > 1 && path[0] == '/');
}

class IndexRun {
public:
    explicit IndexRun(IndexOptions options)
        : options_(std::move(options)),
          pool_(options.workers > 0 ? options.workers
                                    : static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)),
                options.probeTimeoutSeconds) {}

    IndexSummary Execute() {
        started_ = Now();
        if (!options_.thumbnailDir.empty() && options_.thumbnailDir[0] != '/') {
            char cwd[4096];
            if (getcwd(cwd, sizeof cwd) != nullptr)
                options_.thumbnailDir = std::string(cwd) + "/" + options_.thumbnailDir;
        }
        if (options_.folders.empty())
            return Fail("no folder to index");
        Calyx::Error folderError;
        if (!options_.thumbnailDir.empty() &&
            !Calyx::MakeDirectories(options_.thumbnailDir, &folderError))
            return Fail("cannot make the thumbnail folder " + options_.thumbnailDir + ": " +
                        strerror(folderError.errorNumber));
        if (!store_.Open(options_.conninfo, options_.waitForOtherRun
                                                ? std::function<void(const std::string&)>(
                                                      [this](const std::string& why) {
                                                          if (options_.onWaiting)
                                                              options_.onWaiting(why);
                                                      })
                                                : nullptr))
            return Fail(store_.error());
        walk_ = WalkFolders(options_.folders, options_.thumbnailDir);
        ReadFolderSettings();
        for (const WalkProblem& problem : walk_.problems)
            AddFailure(problem.indexed, problem.reason);
        if (walk_.roots.empty())
            return Fail("no folder to index could be read");
        if (!store_.LoadRows(rows_))
            return Fail("cannot read the media index: " + store_.error());
        if (!WriteFolders() || !WriteFiles() || !RemoveGone())
            return Fail(poolError_.empty() ? "writing the media index failed: " + store_.error()
                                           : poolError_);
        summary_.seconds = Now() - started_;
        Report(true);
        return summary_;
    }

private:
    IndexSummary Fail(const std::string& error) {
        summary_.error = error;
        summary_.seconds = Now() - started_;
        return summary_;
    }

    void AddFailure(const std::string& indexedPath, const std::string& reason) {
        ++summary_.failed;
        if (summary_.failures.size() < kFailuresKept)
            summary_.failures.push_back({indexedPath, reason});
    }

    // Opens a transaction when none is open, commits one that is full or old.
    bool Write(const std::function<bool()>& statement) {
        if (!inTransaction_) {
            if (!store_.Begin())
                return false;
            inTransaction_ = true;
            transactionStarted_ = Now();
            rowsInTransaction_ = 0;
        }
        if (!statement())
            return false;
        if (++rowsInTransaction_ >= kRowsPerTransaction ||
            Now() - transactionStarted_ >= kSecondsPerTransaction)
            return CommitNow();
        return true;
    }

    bool CommitNow() {
        if (!inTransaction_)
            return true;
        inTransaction_ = false;
        return store_.Commit();
    }

    // The titles and kinds of the walked roots, from the options' keys (folders as given),
    // resolved as the walk resolves them; and the root of every walked folder.
    void ReadFolderSettings() {
        auto indexedRoot = [](const std::string& folder) {
            char resolved[PATH_MAX];
            if (realpath(folder.c_str(), resolved) == nullptr)
                return std::string();
            std::string path = resolved;
            if (path.size() > 1 && path.back() == '/')
                path.pop_back();
            return EncodeIndexedPath(path);
        };
        for (const auto& [folder, title] : options_.folderTitles)
            rootTitles_[indexedRoot(folder)] = title;
        for (const auto& [folder, kinds] : options_.folderKinds)
            rootKinds_[indexedRoot(folder)] = &kinds;
        rootOf_.resize(walk_.folders.size());
        for (size_t i = 0; i < walk_.folders.size(); ++i) {
            const size_t parent = walk_.folders[i].parent;
            rootOf_[i] = parent == kNoFolder ? i : rootOf_[parent];
        }
    }

    // The title of a folder's row: a root's configured title, else the folder's name.
    std::string FolderTitle(const WalkedFolder& folder) const {
        auto title = folder.parent == kNoFolder ? rootTitles_.find(folder.indexed)
                                                : rootTitles_.end();
        return title != rootTitles_.end() ? title->second : BaseName(folder.indexed);
    }

    // Whether the root of the file's folder takes media of this kind ("music", ...).
    bool KindWanted(const WalkedFile& file, const std::string& kind) const {
        auto kinds = rootKinds_.find(walk_.folders[rootOf_[file.folder]].indexed);
        return kinds == rootKinds_.end() || kinds->second->count(kind) != 0;
    }

    bool WriteFolders() {
        folderIds_.assign(walk_.folders.size(), 0);
        for (size_t i = 0; i < walk_.folders.size(); ++i) {
            const WalkedFolder& folder = walk_.folders[i];
            seen_.insert(folder.indexed);
            const int64_t parentId = folder.parent == kNoFolder ? 0 : folderIds_[folder.parent];
            auto found = rows_.find(folder.indexed);
            if (found != rows_.end() && found->second.table == "directory") {
                folderIds_[i] = found->second.id;
                if (found->second.mtime != folder.mtime &&
                    !Write([&] { return store_.UpdateFolderTime(folderIds_[i], folder.mtime); }))
                    return false;
                if (rootTitles_.count(folder.indexed) != 0 && folder.parent == kNoFolder &&
                    !Write([&] {
                        return store_.UpdateFolderTitle(folderIds_[i], FolderTitle(folder));
                    }))
                    return false;
                continue;
            }
            if (found != rows_.end() && !Write([&] { return RemoveRow(found->second); }))
                return false;  // a file that became a folder
            if (!Write([&] {
                    folderIds_[i] = store_.InsertFolder(folder.indexed, FolderTitle(folder),
                                                        parentId, folder.mtime);
                    return folderIds_[i] != 0;
                }))
                return false;
            ++summary_.foldersAdded;
        }
        return CommitNow();
    }

    bool WriteFiles() {
        std::vector<ProbeJob> jobs;
        for (size_t i = 0; i < walk_.files.size(); ++i) {
            const WalkedFile& file = walk_.files[i];
            seen_.insert(file.indexed);
            auto found = rows_.find(file.indexed);
            if (found != rows_.end() && found->second.table != "directory" &&
                found->second.size == file.size && found->second.mtime == file.mtime) {
                if (KindWanted(file, found->second.table)) {
                    ++summary_.unchanged;
                } else {  // its folder no longer takes this kind
                    if (!Write([&] { return RemoveRow(found->second); }))
                        return false;
                    ++summary_.removed;
                }
                FileDone(file);
                continue;
            }
            if (IsPlaylist(file.path)) {
                ProbedMedia playlist;
                playlist.kind = MediaKind::kPlaylist;
                playlist.container = Extension(file.path);
                playlist.mimeType = MediaMimeType("playlist", playlist.container, "");
                if (!Store(file, playlist))
                    return false;
                continue;
            }
            jobIndex_.push_back(i);
            jobs.push_back(
                {file.path, options_.thumbnailDir.empty()
                                ? ""
                                : options_.thumbnailDir + "/" + ThumbnailName(file.indexed)});
        }
        bool written = true;
        const bool ran = pool_.Run(
            jobs,
            [&](size_t job, pid_t worker) {
                if (options_.onProbeStart)
                    options_.onProbeStart(walk_.files[jobIndex_[job]].indexed, worker);
            },
            [&](size_t job, ProbedMedia& media) {
                written = written && Store(walk_.files[jobIndex_[job]], media);
                if (!written)
                    pool_.Cancel();  // the index cannot take more: stop probing
            });
        if (!ran) {
            poolError_ = pool_.error();
            return false;
        }
        return written && CommitNow();
    }

    // Writes (or, for a file that is not media, removes) the row of one probed file.
    bool Store(const WalkedFile& file, const ProbedMedia& media) {
        auto found = rows_.find(file.indexed);
        const IndexedRow* old = found == rows_.end() ? nullptr : &found->second;
        bool ok = true;
        if (media.failure.empty() && !KindWanted(file, MediaTableName(media.kind))) {
            // Not a kind this folder is indexed for: as if it were no media file.
            if (old != nullptr) {
                ok = Write([&] { return RemoveRow(*old); });
                ++summary_.removed;
            }
        } else if (!media.failure.empty()) {
            AddFailure(file.indexed, media.failure);
            if (old != nullptr) {
                ok = Write([&] { return RemoveRow(*old); });
                ++summary_.removed;
            }
        } else {
            ItemRow row;
            row.media = &media;
            row.indexedPath = file.indexed;
            row.title = media.title.empty() ? TitleOfFile(file.indexed) : media.title;
            row.parentId = folderIds_[file.folder];
            row.size = file.size;
            row.mtime = file.mtime;
            const bool sameTable = old != nullptr && old->table == MediaTableName(media.kind);
            if (old != nullptr && old->thumbnail != media.thumbnail)
                RemoveThumbnail(old->thumbnail);  // the file no longer has that picture
            if (old != nullptr && !sameTable)
                ok = Write([&] { return RemoveRow(*old); });
            ok = ok && Write([&] { return store_.WriteItem(row, sameTable ? old->id : 0); });
            ++(old != nullptr ? summary_.changed : summary_.added);
        }
        FileDone(file);
        return ok;
    }

    // Deletes a row and the thumbnail it pointed to.
    bool RemoveRow(const IndexedRow& row) {
        RemoveThumbnail(row.thumbnail);
        return store_.Delete(row.table, row.id);
    }

    // Only thumbnails in this run's cache are ours to delete.
    void RemoveThumbnail(const std::string& thumbnail) {
        if (!thumbnail.empty() && !options_.thumbnailDir.empty() &&
            IsUnder(thumbnail, options_.thumbnailDir))
            unlink(thumbnail.c_str());
    }

    bool RemoveGone() {
        std::vector<std::string> incomplete;
        for (const WalkedFolder& folder : walk_.folders) {
            if (!folder.complete)
                incomplete.push_back(folder.indexed);
        }
        for (const auto& [path, row] : rows_) {
            if (seen_.count(path) != 0)
                continue;
            bool walked = false, spared = false;
            for (const std::string& root : walk_.roots)
                walked = walked || IsUnder(path, root);
            for (const std::string& folder : incomplete)
                spared = spared || IsUnder(path, folder);
            if (!walked || spared)
                continue;
            if (!Write([&] { return RemoveRow(row); }))
                return false;
            ++(row.table == "directory" ? summary_.foldersRemoved : summary_.removed);
        }
        return CommitNow();
    }

    void FileDone(const WalkedFile& file) {
        ++filesDone_;
        currentFolder_ = &walk_.folders[file.folder].indexed;
        Report(false);
    }

    void Report(bool finished) {
        const double now = Now();
        if (!options_.progress || (!finished && now - lastReport_ < kProgressInterval))
            return;
        lastReport_ = now;
        IndexProgress progress;
        progress.filesDone = filesDone_;
        progress.filesTotal = walk_.files.size();
        progress.filesPerSecond =
            now > started_ ? static_cast<double>(filesDone_) / (now - started_) : 0;
        progress.currentFolder = currentFolder_ ? *currentFolder_ : "";
        progress.finished = finished;
        options_.progress(progress);
    }

    IndexOptions options_;
    IndexStore store_;
    WorkerPool pool_;
    WalkResult walk_;
    std::unordered_map<std::string, IndexedRow> rows_;
    std::unordered_set<std::string> seen_;
    std::vector<int64_t> folderIds_;
    std::map<std::string, std::string> rootTitles_;                 // indexed root -> title
    std::map<std::string, const std::set<std::string>*> rootKinds_;  // indexed root -> kinds
    std::vector<size_t> rootOf_;  // walked folder -> its root's index
    std::vector<size_t> jobIndex_;  // job number -> index in walk_.files
    IndexSummary summary_;
    std::string poolError_;
    double started_ = 0, lastReport_ = 0, transactionStarted_ = 0;
    bool inTransaction_ = false;
    size_t rowsInTransaction_ = 0;
    size_t filesDone_ = 0;
    const std::string* currentFolder_ = nullptr;
};

}  // namespace

IndexSummary RunIndex(const IndexOptions& options) {
    try {
        return IndexRun(options).Execute();
    } catch (const std::exception& e) {
        IndexSummary summary;
        summary.error = std::string("the index run stopped: ") + e.what();
        return summary;
    } catch (...) {
        IndexSummary summary;
        summary.error = "the index run stopped on an unexpected error";
        return summary;
    }
}

}  // namespace calyx_indexer
