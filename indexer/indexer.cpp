// One index run: walk, compare with the index, probe what changed, write, remove what is gone.
#include "indexer/indexer.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "calyx/core.h"
#include "calyx/host.h"
#include "indexer/index_store.h"
#include "indexer/media_probe.h"
#include "indexer/playlist_file.h"
#include "indexer/thumbnail.h"
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

constexpr size_t kNoFile = static_cast<size_t>(-1);

bool IsSubtitle(const std::string& path) {
    const std::string ext = Extension(path);
    for (const char* format : kSubtitleFormats)
        if (ext == format)
            return true;
    return false;
}

// A language as subtitle names carry it: "en", "eng", "pt-BR", "zh-Hant".
bool IsLanguageTag(const std::string& text) {
    size_t letters = 0;
    while (letters < text.size() && isalpha(static_cast<unsigned char>(text[letters])))
        ++letters;
    if (letters < 2 || letters > 3)
        return false;
    if (letters == text.size())
        return true;
    const std::string region = text.substr(letters + 1);
    return text[letters] == '-' && region.size() >= 2 && region.size() <= 4 &&
           std::all_of(region.begin(), region.end(),
                       [](char c) { return isalnum(static_cast<unsigned char>(c)) != 0; });
}

bool IsPlaylist(const std::string& path) {
    const std::string ext = Extension(path);
    return ext == "m3u" || ext == "m3u8" || ext == "pls";
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
        LoadCoverNames();
        std::vector<std::string> present = options_.folders;
        if (options_.forgetAfterSeconds >= 0 && !CheckMediaFolders(present))
            return Fail("writing the media index failed: " + store_.error());
        if (options_.changedPaths.empty()) {
            walk_ = WalkFolders(present, options_.thumbnailDir, options_.followLinks);
            for (const WalkProblem& problem : walk_.problems)
                AddFailure(problem.indexed, problem.reason);
            walk_.problems.clear();
            if (walk_.roots.empty() && !(present.empty() && options_.forgetAfterSeconds >= 0))
                return Fail("no folder to index could be read");
            // The index records the folders it was filled from: the media server serves
            // only files inside them.
            if (options_.forgetAfterSeconds < 0)
                for (const std::string& root : walk_.roots)
                    if (!store_.RecordMediaFolder(root))
                        return Fail("writing the media index failed: " + store_.error());
            if (!store_.LoadRows(rows_))
                return Fail("cannot read the media index: " + store_.error());
        } else if (!PlanChanges(present)) {
            return Fail("cannot read the media index: " + store_.error());
        }
        ReadFolderSettings();
        for (const WalkProblem& problem : walk_.problems)
            AddFailure(problem.indexed, problem.reason);
        if (!WriteFolders() || !WriteFiles() || !RemoveGone() || !WriteVideoThumbnails())
            return Fail(poolError_.empty() ? "writing the media index failed: " + store_.error()
                                           : poolError_);
        // Right after a bulk change the planner's statistics describe the index as it was
        // (or are missing), and deep pages get plans made for a few rows.
        if (RowsChanged() >= options_.analyzeAfterRows && !store_.Analyze())
            return Fail("refreshing the index's statistics failed: " + store_.error());
        summary_.seconds = Now() - started_;
        Report(true);
        return summary_;
    }

private:
    size_t RowsChanged() const {
        return summary_.added + summary_.changed + summary_.removed + summary_.foldersAdded +
               summary_.foldersRemoved + summary_.hidden + summary_.shown + summary_.forgotten;
    }

    // Hides the rows of media folders that are gone, shows those of returned ones, forgets
    // those gone too long; `present` keeps the folders to walk.
    bool CheckMediaFolders(std::vector<std::string>& present) {
        const int64_t now = time(nullptr);
        std::vector<std::string> kept;
        for (const std::string& folder : present) {
            const MediaFolderState state = LookAtMediaFolder(folder);
            const std::string indexed = EncodeIndexedPath(state.path);
            bool known = false, wasMountPoint = false;
            int64_t missingSince = 0;
            if (!store_.ReadMediaFolder(indexed, known, missingSince, wasMountPoint))
                return false;
            const bool gone = !state.present || (wasMountPoint && !state.mountPoint);
            if (!gone) {
                kept.push_back(state.path);
                size_t shown = 0;
                if (!store_.Begin() || !store_.WriteMediaFolder(indexed, 0, state.mountPoint) ||
                    !store_.SetHiddenUnder(indexed, false, shown) || !store_.Commit())
                    return false;
                summary_.shown += shown;
                continue;
            }
            if (missingSince == 0)
                missingSince = now;
            if (now - missingSince < options_.forgetAfterSeconds || !known) {
                size_t hidden = 0;
                if (!store_.Begin() ||
                    !store_.WriteMediaFolder(indexed, missingSince, wasMountPoint) ||
                    !store_.SetHiddenUnder(indexed, true, hidden) || !store_.Commit())
                    return false;
                summary_.hidden += hidden;
                continue;
            }
            // Gone too long: its rows go, with their thumbnails.
            std::unordered_map<std::string, IndexedRow> rows;
            if (!store_.LoadRowsAt(indexed, true, rows))
                return false;
            for (const auto& entry : rows)
                if (!Write([&] { return RemoveRow(entry.second); }))
                    return false;
            summary_.forgotten += rows.size();
            if (!Write([&] { return store_.DeleteMediaFolder(indexed); }) || !CommitNow())
                return false;
        }
        present = kept;
        return true;
    }

    struct MediaFolderState {
        std::string path;  // absolute, links resolved where it exists
        bool present = false;
        bool mountPoint = false;
    };

    static MediaFolderState LookAtMediaFolder(const std::string& folder) {
        MediaFolderState state;
        state.path = ResolveAsFarAsItGoes(AbsolutePath(folder));
        char resolved[PATH_MAX];
        struct stat info {
        }, parent{};
        if (realpath(state.path.c_str(), resolved) == nullptr || stat(resolved, &info) != 0 ||
            !S_ISDIR(info.st_mode))
            return state;
        state.path = resolved;
        state.present = true;
        const std::string above = state.path == "/" ? "/" : state.path + "/..";
        state.mountPoint = stat(above.c_str(), &parent) == 0 && parent.st_dev != info.st_dev;
        return state;
    }

    static std::string AbsolutePath(const std::string& path) {
        std::string absolute = path;
        if (absolute.empty() || absolute[0] != '/') {
            char cwd[PATH_MAX];
            if (getcwd(cwd, sizeof cwd) != nullptr)
                absolute = std::string(cwd) + "/" + absolute;
        }
        while (absolute.size() > 1 && absolute.back() == '/')
            absolute.pop_back();
        return absolute;
    }

    // `path` with links resolved in its longest part that exists: a media folder that is
    // gone is recorded under the same name as when it was there.
    static std::string ResolveAsFarAsItGoes(const std::string& path) {
        std::string head = path, tail;
        char resolved[PATH_MAX];
        while (realpath(head.c_str(), resolved) == nullptr) {
            if (head == "/" || head.empty())
                return path;
            const size_t slash = head.rfind('/');
            tail = head.substr(slash) + tail;
            head = slash == 0 ? "/" : head.substr(0, slash);
        }
        const std::string base = resolved;
        return tail.empty() ? base : (base == "/" ? tail : base + tail);
    }

    static std::string ParentOf(const std::string& path) {
        const size_t slash = path.rfind('/');
        return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
    }

    // The walk of an incremental run: every changed path (or the nearest folder above it
    // that has a row) under one of `roots`, each below an anchor folder that has a row.
    bool PlanChanges(const std::vector<std::string>& roots) {
        std::vector<std::string> resolvedRoots;
        for (const std::string& root : roots) {
            char resolved[PATH_MAX];
            if (realpath(root.c_str(), resolved) != nullptr)
                resolvedRoots.emplace_back(resolved);
        }
        std::set<std::string> starts;
        for (const std::string& changed : options_.changedPaths) {
            std::string path = AbsolutePath(changed);
            const std::string* root = nullptr;
            for (const std::string& candidate : resolvedRoots)
                if (IsUnder(path, candidate))
                    root = &candidate;
            if (root == nullptr || path.find("/.", root->size()) != std::string::npos)
                continue;  // not under a media folder that is there, or a hidden name
            while (path != *root) {
                const std::string parent = ParentOf(path);
                if (parent == *root)
                    break;
                const int64_t id = store_.FolderId(EncodeIndexedPath(parent));
                if (id < 0)
                    return false;
                if (id > 0)
                    break;
                path = parent;  // a new folder: walked whole
            }
            starts.insert(path);
        }
        std::map<std::string, size_t> anchors;
        for (const std::string& start : starts) {
            bool covered = false;
            for (const std::string& other : starts)
                covered = covered || (other != start && IsUnder(start, other));
            if (covered)
                continue;
            const std::string indexed = EncodeIndexedPath(start);
            walk_.roots.push_back(indexed);
            if (!store_.LoadRowsAt(indexed, true, rows_))
                return false;
            size_t parent = kNoFolder;
            if (std::find(resolvedRoots.begin(), resolvedRoots.end(), start) ==
                resolvedRoots.end()) {
                const std::string above = ParentOf(start);
                auto anchor = anchors.find(above);
                if (anchor == anchors.end()) {
                    struct stat info {};
                    if (stat(above.c_str(), &info) != 0)
                        continue;  // gone meanwhile: the next change says more
                    anchor = anchors.emplace(above, walk_.folders.size()).first;
                    walk_.folders.push_back({above, EncodeIndexedPath(above), kNoFolder,
                                             static_cast<int64_t>(info.st_mtime), true});
                    if (!store_.LoadRowsAt(EncodeIndexedPath(above), false, rows_))
                        return false;
                }
                parent = anchor->second;
            }
            WalkPath(walk_, start, parent, options_.thumbnailDir,
                     LinkPolicy{options_.folders, options_.followLinks});
        }
        return true;
    }

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

    // The titles and kinds of the folders to index, from the options' keys (folders as
    // given), resolved as the walk resolves them.
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
    }

    // The title of a folder's row: a root's configured title, else the folder's name.
    std::string FolderTitle(const WalkedFolder& folder) const {
        auto title =
            folder.parent == kNoFolder ? rootTitles_.find(folder.indexed) : rootTitles_.end();
        return title != rootTitles_.end() ? title->second : BaseName(folder.indexed);
    }

    // Whether the folder of `options.folders` that holds the file takes media of this kind
    // ("music", ...). A run over changed paths walks below the folders' roots, so the
    // folder is found by path.
    bool KindWanted(const WalkedFile& file, const std::string& kind) const {
        for (const auto& [root, kinds] : rootKinds_)
            if (IsUnder(file.indexed, root))
                return kinds->count(kind) != 0;
        return true;
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
        if (!ChooseCovers())
            return false;
        std::vector<ProbeJob> jobs;
        for (size_t i = 0; i < walk_.files.size(); ++i) {
            const WalkedFile& file = walk_.files[i];
            seen_.insert(file.indexed);
            auto found = rows_.find(file.indexed);
            const bool cover = folderCover_[file.folder] == i;
            if (IsSubtitle(file.path)) {
                subtitles_.push_back(i);  // written once the videos are known
                continue;
            }
            if (!cover && IsCoverName(file.path)) {
                // A second cover of the folder: neither a cover nor a photo of its own.
                if (found != rows_.end() && found->second.table != "cover" &&
                    !Write([&] { return RemoveRow(found->second); }))
                    return false;
                FileDone(file);
                continue;
            }
            if (found != rows_.end() && found->second.table != "directory" &&
                (found->second.table == "cover") == cover &&
                (!cover || found->second.id == folderIds_[file.folder]) &&
                found->second.size == file.size && found->second.mtime == file.mtime &&
                !KindWanted(file, found->second.table) && found->second.table != "cover") {
                // Its folder no longer takes this kind.
                if (!Write([&] { return RemoveRow(found->second); }))
                    return false;
                ++summary_.removed;
                FileDone(file);
                continue;
            }
            if (found != rows_.end() && found->second.table != "directory" &&
                (found->second.table == "cover") == cover &&
                (!cover || found->second.id == folderIds_[file.folder]) &&
                found->second.size == file.size && found->second.mtime == file.mtime) {
                ++summary_.unchanged;
                if (found->second.table == "video")
                    videos_.insert(file.indexed);
                FileDone(file);
                continue;
            }
            if (IsPlaylist(file.path) && !cover) {
                if (!StorePlaylist(file))
                    return false;
                continue;
            }
            jobIndex_.push_back(i);
            // A new video's thumbnail waits until every row is written: clients list the
            // items sooner, and the thumbnails follow. A changed one keeps its row whole.
            const bool later = !options_.thumbnailDir.empty() && found == rows_.end();
            jobs.push_back({file.path, ThumbnailPathOf(file),
                            cover   ? ProbeJob::kCover
                            : later ? ProbeJob::kMediaLater
                                    : ProbeJob::kMedia});
        }
        bool written = true;
        const bool ran = pool_.Run(
            jobs,
            [&](size_t job, pid_t worker) {
                if (options_.onProbeStart)
                    options_.onProbeStart(walk_.files[jobIndex_[job]].indexed, worker);
            },
            [&](size_t job, ProbedMedia& media) {
                written = written && (jobs[job].kind == ProbeJob::kCover
                                          ? StoreCover(walk_.files[jobIndex_[job]], media)
                                          : Store(walk_.files[jobIndex_[job]], media));
                if (!written)
                    pool_.Cancel();  // the index cannot take more: stop probing
            });
        if (!ran) {
            poolError_ = pool_.error();
            return false;
        }
        return written && WriteSubtitles() && CommitNow();
    }

    std::string ThumbnailPathOf(const WalkedFile& file) const {
        return options_.thumbnailDir.empty()
                   ? ""
                   : options_.thumbnailDir + "/" + ThumbnailFileName(file.indexed);
    }

    // The thumbnails of the videos written without one (left for now), recorded in
    // their rows. A thumbnail that cannot be made leaves the row without one, as before.
    bool WriteVideoThumbnails() {
        if (options_.onRowsWritten)
            options_.onRowsWritten();
        std::vector<ProbeJob> jobs;
        for (size_t i : videosLackingThumbnail_)
            jobs.push_back(
                {walk_.files[i].path, ThumbnailPathOf(walk_.files[i]), ProbeJob::kThumbnail});
        bool written = true;
        const bool ran = pool_.Run(jobs, nullptr, [&](size_t job, ProbedMedia& made) {
            const WalkedFile& file = walk_.files[videosLackingThumbnail_[job]];
            if (!written || made.thumbnail.empty())
                return;
            written = Write([&] {
                return store_.SetVideoThumbnail(file.indexed, folderIds_[file.folder],
                                                made.thumbnail);
            });
            if (!written)
                pool_.Cancel();
        });
        if (!ran) {
            poolError_ = pool_.error();
            return false;
        }
        return written && CommitNow();
    }

    // The file names that make a picture its folder's cover, lower-cased, best first.
    void LoadCoverNames() {
        std::vector<std::string> names = options_.coverNames;
        if (names.empty())
            Calyx::GetCoverList(names);
        if (names.empty())
            names = DefaultCoverNames();
        for (std::string& name : names)
            coverNames_.push_back(Calyx::StringToLower(name));
    }

    // The rank of the file's name among the cover names, or the number of names.
    size_t CoverRank(const std::string& path) const {
        const std::string name = Calyx::StringToLower(BaseName(path));
        size_t rank = 0;
        while (rank < coverNames_.size() && coverNames_[rank] != name)
            ++rank;
        return rank;
    }

    bool IsCoverName(const std::string& path) const { return CoverRank(path) < coverNames_.size(); }

    // Each folder's cover: the file whose name comes first in the cover names. A run over
    // changed paths sees some files of a folder only: the cover the index names stays when
    // it is still there and comes first.
    bool ChooseCovers() {
        folderCover_.assign(walk_.folders.size(), kNoFile);
        for (size_t i = 0; i < walk_.files.size(); ++i) {
            const size_t rank = CoverRank(walk_.files[i].path);
            size_t& chosen = folderCover_[walk_.files[i].folder];
            if (rank < coverNames_.size() &&
                (chosen == kNoFile || rank < CoverRank(walk_.files[chosen].path)))
                chosen = i;
        }
        if (options_.changedPaths.empty())
            return true;
        for (size_t folder = 0; folder < folderCover_.size(); ++folder) {
            const size_t chosen = folderCover_[folder];
            std::string current;
            if (chosen == kNoFile || folderIds_[folder] == 0)
                continue;
            if (!store_.FolderCoverFile(folderIds_[folder], current))
                return false;
            struct stat info {};
            if (!current.empty() && current != walk_.files[chosen].indexed &&
                CoverRank(current) < CoverRank(walk_.files[chosen].path) &&
                stat(DecodeIndexedPath(current).c_str(), &info) == 0)
                folderCover_[folder] = kNoFile;
        }
        return true;
    }

    // Records a folder's cover file (a file that was a row of its own before loses it).
    bool StoreCover(const WalkedFile& file, const ProbedMedia& media) {
        auto found = rows_.find(file.indexed);
        const IndexedRow* old = found == rows_.end() ? nullptr : &found->second;
        const int64_t folderId = folderIds_[file.folder];
        bool ok = true;
        if (old != nullptr && old->table != "cover")
            ok = Write([&] { return RemoveRow(*old); });
        else if (old != nullptr)
            RemoveDerived(*old, media);
        if (!media.failure.empty())
            AddFailure(file.indexed, media.failure);
        coverWritten_.insert(folderId);
        ok = ok && Write([&] {
                 return store_.WriteFolderCover(folderId, file.indexed, file.size, file.mtime,
                                                media.failure.empty() ? &media : nullptr);
             });
        FileDone(file);
        return ok;
    }

    // Subtitle rows, each linked to the video of its folder whose name it begins with. A
    // run over changed paths knows the folder's other videos from the index only.
    bool WriteSubtitles() {
        std::set<int64_t> asked;
        for (size_t i : subtitles_) {
            const int64_t folderId = folderIds_[walk_.files[i].folder];
            if (!options_.changedPaths.empty() && asked.insert(folderId).second) {
                std::vector<std::string> known;
                if (!store_.VideoPathsIn(folderId, known))
                    return false;
                videos_.insert(known.begin(), known.end());
            }
        }
        for (size_t i : subtitles_) {
            const WalkedFile& file = walk_.files[i];
            SubtitleRow row;
            row.indexedPath = file.indexed;
            row.format = Extension(file.path);
            row.parentId = folderIds_[file.folder];
            row.size = file.size;
            row.mtime = file.mtime;
            const std::string folder = walk_.folders[file.folder].indexed + "/";
            const std::string stem = TitleOfFile(file.indexed);  // "Film.en" of "Film.en.srt"
            size_t dot = stem.rfind('.');
            if (dot != std::string::npos && !IsLanguageTag(stem.substr(dot + 1)))
                dot = std::string::npos;  // "Film.part1.srt" belongs to "Film.part1" only
            for (auto video = videos_.lower_bound(folder);
                 video != videos_.end() && video->compare(0, folder.size(), folder) == 0; ++video) {
                if (video->find('/', folder.size()) != std::string::npos)
                    continue;  // in a subfolder
                const std::string videoStem = TitleOfFile(*video);
                if (videoStem == stem) {
                    row.videoPath = *video;
                    row.language.clear();
                    break;
                }
                if (dot != std::string::npos && dot > 0 && videoStem == stem.substr(0, dot)) {
                    row.videoPath = *video;
                    row.language = stem.substr(dot + 1);
                }
            }
            if (row.videoPath.empty() && dot != std::string::npos && dot > 0)
                row.language = stem.substr(dot + 1);
            auto found = rows_.find(file.indexed);
            const IndexedRow* old = found == rows_.end() ? nullptr : &found->second;
            if (old != nullptr && old->table == "subtitle" && old->size == row.size &&
                old->mtime == row.mtime && old->videoPath == row.videoPath &&
                old->language == row.language) {
                FileDone(file);
                continue;
            }
            if (old != nullptr && old->table != "subtitle" &&
                !Write([&] { return RemoveRow(*old); }))
                return false;  // a file that was indexed as something else before
            const int64_t existing = old != nullptr && old->table == "subtitle" ? old->id : 0;
            if (!Write([&] { return store_.WriteSubtitle(row, existing); }))
                return false;
            FileDone(file);
        }
        return true;
    }

    // A playlist's row and its entries; one that cannot be read is a failed file.
    bool StorePlaylist(const WalkedFile& file) {
        ProbedMedia playlist;
        playlist.kind = MediaKind::kPlaylist;
        playlist.container = Extension(file.path);
        playlist.mimeType = MediaMimeType("playlist", playlist.container, "");
        std::vector<PlaylistEntry> entries;
        ReadPlaylist(file.path, entries, playlist.failure);
        if (!Store(file, playlist))
            return false;
        if (!playlist.failure.empty() || !KindWanted(file, "playlist"))
            return true;
        CountEntries(entries, summary_.playlistEntries);
        return Write([&] { return store_.WritePlaylistEntries(file.indexed, entries); });
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
            if (old != nullptr)
                RemoveDerived(*old, media);
            if (old != nullptr && !sameTable)
                ok = Write([&] { return RemoveRow(*old); });
            ok = ok && Write([&] { return store_.WriteItem(row, sameTable ? old->id : 0); });
            ++(old != nullptr ? summary_.changed : summary_.added);
            if (media.kind == MediaKind::kVideo)
                videos_.insert(file.indexed);
            if (media.kind == MediaKind::kVideo && media.thumbnail.empty() &&
                !options_.thumbnailDir.empty())
                videosLackingThumbnail_.push_back(static_cast<size_t>(&file - walk_.files.data()));
        }
        FileDone(file);
        return ok;
    }

    // Deletes a row and the pictures made from its file. A cover row only clears its
    // folder's cover.
    bool RemoveRow(const IndexedRow& row) {
        RemoveThumbnail(row.thumbnail);
        for (const std::string& picture : row.derived)
            RemoveThumbnail(picture);
        if (row.table == "cover")
            return store_.WriteFolderCover(row.id, "", 0, 0, nullptr);
        return store_.Delete(row.table, row.id);
    }

    // The pictures of `old` that the new probe result no longer names.
    void RemoveDerived(const IndexedRow& old, const ProbedMedia& media) {
        for (const std::string& picture : old.derived)
            if (picture != media.coverOriginal && picture != media.coverThumbnail &&
                picture != media.coverSmall && picture != media.large)
                RemoveThumbnail(picture);
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
            if (!walked || spared || (row.table == "cover" && coverWritten_.count(row.id) != 0))
                continue;
            if (!Write([&] { return RemoveRow(row); }))
                return false;
            if (row.table == "directory")
                ++summary_.foldersRemoved;
            else if (row.table != "cover" && row.table != "subtitle")
                ++summary_.removed;
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
    std::map<std::string, std::string> rootTitles_;                  // indexed root -> title
    std::map<std::string, const std::set<std::string>*> rootKinds_;  // indexed root -> kinds
    std::vector<size_t> jobIndex_;  // job number -> index in walk_.files
    std::vector<std::string> coverNames_;
    std::vector<size_t> folderCover_;             // folder -> index of its cover file, or kNoFile
    std::unordered_set<int64_t> coverWritten_;    // folders whose cover this run wrote
    std::vector<size_t> subtitles_;               // indexes in walk_.files of subtitle files
    std::set<std::string> videos_;                // indexed paths of the videos, new and old
    std::vector<size_t> videosLackingThumbnail_;  // in walk_.files: videos written without one
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
