// The media indexer: fills the media index database from the files under some folders.
//
// How a program uses it (the `calyx index` command and the media server do the same):
//
//     calyx_indexer::IndexOptions options;
//     options.conninfo = "";                        // "": database "calyx", user "admin"
//     options.folders = {"/srv/media"};
//     options.thumbnailDir = "/var/cache/calyx/thumbnails";
//     options.progress = [](const calyx_indexer::IndexProgress& p) { ... };
//     calyx_indexer::IndexSummary summary = calyx_indexer::RunIndex(options);
//     if (!summary.error.empty()) { /* nothing was indexed: say why */ }
//
// RunIndex applies the schema, walks the folders, probes every new or changed file in a
// pool of worker processes forked for the run, and writes rows in transactions. It
// blocks until the run ends and never throws. The server should call it from a thread
// of its own (a run on an unchanged tree takes well under a second per 10,000 files, a
// first run much longer) and not start a second run meanwhile: a second run on the same
// database and schema fails at once with an error. The workers run only the probing
// code and exit with the run; they take no part in the caller's threads or state.
//
// Paths in the index are UTF-8: bytes of a file name that are not valid UTF-8 are written
// as "%XX" and "%" itself as "%25". DecodeIndexedPath turns an indexed path back into the
// name to open (indexer/indexed_path.h).
#ifndef CALYX_INDEXER_INDEXER_H
#define CALYX_INDEXER_INDEXER_H

#include <sys/types.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "indexer/indexed_path.h"
#include "indexer/playlist_file.h"

namespace calyx_indexer {

// Where a run stands, reported after every file and at most a few times a second.
struct IndexProgress {
    size_t filesDone = 0;   // files finished (unchanged, indexed or failed)
    size_t filesTotal = 0;  // files found by the walk
    double filesPerSecond = 0;
    std::string currentFolder;  // folder of the last file finished (as indexed)
    bool finished = false;      // the last report of a run
};

struct IndexOptions {
    // libpq connection string; empty: database "calyx" as the user "admin", host and port
    // from PGHOST and PGPORT (the connection the library's MediaDB makes).
    std::string conninfo;
    std::vector<std::string> folders;  // absolute or relative; each must be a readable folder
    int probeTimeoutSeconds = 10;      // a worker busy longer on one file is killed
    int workers = 0;                   // 0: one per processor
    // A run that added, rewrote, removed, hid or showed at least this many rows refreshes
    // the planner's statistics of the index (ANALYZE) before it ends.
    size_t analyzeAfterRows = 200;
    std::string thumbnailDir;  // empty: no thumbnails are made
    // File names (any case) that make a picture its folder's cover rather than a photo,
    // best first. Empty: those of Calyx::GetCoverList, else DefaultCoverNames().
    std::vector<std::string> coverNames;
    std::function<void(const IndexProgress&)> progress;  // may be empty
    // Called once the rows of the run are written and visible to readers, before the
    // thumbnails of the videos among them are made (a video's row gets its thumbnail
    // after the rest of the run, so that clients can list everything sooner); may be empty.
    std::function<void()> onRowsWritten;
    // Called just before a file is handed to the worker process `worker`; may be empty.
    std::function<void(const std::string& path, pid_t worker)> onProbeStart;
    // The titles of the folders' own rows (what a server shows at the top of its folder
    // tree), by folder as given in `folders`; a folder not named here gets its own name. A
    // changed title replaces the old one.
    std::map<std::string, std::string> folderTitles;
    // The kinds of media ("music", "video", "photo", "playlist") indexed under a folder of
    // `folders` (keys as given there); a folder not named here takes every kind. Files of
    // other kinds are left out, and their rows removed, like files that are not media.
    std::map<std::string, std::set<std::string>> folderKinds;
    // When another run holds this index: false fails at once; true calls `onWaiting` (may
    // be empty) once with the reason and waits until that run has finished.
    bool waitForOtherRun = false;
    std::function<void(const std::string& why)> onWaiting;
    // Paths under `folders` that changed (files or folders; absolute; present or gone).
    // Empty: every folder is walked. Otherwise only these are looked at and only their
    // rows read: a folder is walked whole, a file is looked at alone, a path that is gone
    // loses its rows and every row under it. A path whose folder has no row yet stands for
    // that folder.
    std::vector<std::string> changedPaths;
    // Below 0: a folder of `folders` that cannot be read is a failure, as for the command
    // line. 0 or more: a media folder that is gone (missing, not a folder, or a mount
    // point found on its parent's device) has its rows hidden, recorded in media_folder,
    // shown again when it returns and deleted once it has been gone this many seconds.
    long long forgetAfterSeconds = -1;
    // Index files whose symbolic links lead out of `folders` (off: such links are left
    // out, and the media server refuses to serve them).
    bool followLinks = false;
};

struct FailedFile {
    std::string path;  // as indexed (see DecodeIndexedPath)
    std::string reason;
};

struct IndexSummary {
    std::string error;     // non-empty when the run could not start or stopped early
    size_t added = 0;      // files that got a new row
    size_t changed = 0;    // files whose row was rewritten
    size_t removed = 0;    // rows of files that are gone or no longer readable media
    size_t unchanged = 0;  // files whose size and modification time were as indexed
    size_t failed = 0;     // files that could not be indexed
    size_t foldersAdded = 0;
    size_t foldersRemoved = 0;
    size_t hidden = 0;               // rows hidden because their media folder is gone
    size_t shown = 0;                // hidden rows shown again because their media folder returned
    size_t forgotten = 0;            // rows deleted because their media folder was gone too long
    PlaylistCounts playlistEntries;  // the entries of the playlists read in this run
    std::vector<FailedFile> failures;  // the first ones, in the order met
    double seconds = 0;
};

// Subtitle files recorded beside videos, by extension (any case).
inline constexpr const char* kSubtitleFormats[] = {"srt", "ass", "ssa", "sub", "smi", "vtt"};

// The cover file names used when the settings name none: cover.jpg, folder.jpg,
// cover.png, folder.png, front.jpg, albumart.jpg.
std::vector<std::string> DefaultCoverNames();

// Runs one indexing run. Never throws.
IndexSummary RunIndex(const IndexOptions& options);

// The MIME type the index records for a container (as MediaContainerName gives it) and
// kind ("video", "music", "photo" or "playlist"); for photos `codec` decides. Unknown
// combinations give "application/octet-stream".
std::string MediaMimeType(const std::string& kind, const std::string& container,
                          const std::string& codec);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_INDEXER_H
