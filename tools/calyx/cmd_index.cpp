// calyx index: fill the media index from the files under some folders.
#include <sys/ioctl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "indexer/indexer.h"
#include "indexer/progress_text.h"
#include "tool.h"

namespace calyx_tool {

namespace {

struct IndexCommandOptions {
    calyx_indexer::IndexOptions run;
    bool noThumbnails = false;
    bool quiet = false;
    bool json = false;
    bool noWait = false;
};

// The thumbnail cache of the user: $XDG_CACHE_HOME/calyx/thumbnails, else ~/.cache/...
std::string DefaultThumbnailDir() {
    const char* cache = getenv("XDG_CACHE_HOME");
    if (cache != nullptr && cache[0] == '/')
        return std::string(cache) + "/calyx/thumbnails";
    const char* home = getenv("HOME");
    return std::string(home != nullptr && home[0] != '\0' ? home : "/tmp") +
           "/.cache/calyx/thumbnails";
}

size_t TerminalWidth() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

// A bar redrawn in place on a terminal; otherwise a plain line about once a second.
std::function<void(const calyx_indexer::IndexProgress&)> ProgressPrinter() {
    if (isatty(STDERR_FILENO)) {
        return [](const calyx_indexer::IndexProgress& p) {
            std::cerr << "\r\033[K" << calyx_indexer::ProgressBarLine(p, TerminalWidth() - 1)
                      << (p.finished ? "\n" : "") << std::flush;
        };
    }
    // A line when the folder changes or a second has passed; the summary tells the end.
    struct Last {
        time_t time = 0;
        std::string folder;
    };
    auto last = std::make_shared<Last>();
    return [last](const calyx_indexer::IndexProgress& p) {
        const time_t now = time(nullptr);
        if (p.finished || (now == last->time && p.currentFolder == last->folder))
            return;
        last->time = now;
        last->folder = p.currentFolder;
        std::cerr << calyx_indexer::ProgressPlainLine(p) << "\n" << std::flush;
    };
}

Json::Value SummaryJson(const calyx_indexer::IndexSummary& s) {
    Json::Value out(Json::objectValue);
    out["added"] = static_cast<Json::UInt64>(s.added);
    out["changed"] = static_cast<Json::UInt64>(s.changed);
    out["removed"] = static_cast<Json::UInt64>(s.removed);
    out["unchanged"] = static_cast<Json::UInt64>(s.unchanged);
    out["failed"] = static_cast<Json::UInt64>(s.failed);
    out["foldersAdded"] = static_cast<Json::UInt64>(s.foldersAdded);
    out["foldersRemoved"] = static_cast<Json::UInt64>(s.foldersRemoved);
    Json::Value playlists(Json::objectValue);
    playlists["entries"] = static_cast<Json::UInt64>(s.playlistEntries.entries);
    playlists["missing"] = static_cast<Json::UInt64>(s.playlistEntries.missing);
    playlists["urls"] = static_cast<Json::UInt64>(s.playlistEntries.urls);
    playlists["notUtf8"] = static_cast<Json::UInt64>(s.playlistEntries.notUtf8);
    out["playlistEntries"] = playlists;
    out["seconds"] = s.seconds;
    out["failures"] = Json::Value(Json::arrayValue);
    for (const calyx_indexer::FailedFile& failure : s.failures) {
        Json::Value entry(Json::objectValue);
        entry["path"] = failure.path;
        entry["reason"] = failure.reason;
        out["failures"].append(entry);
    }
    return out;
}

void RunIndexCommand(IndexCommandOptions& o) {
    if (o.run.probeTimeoutSeconds < 1)
        UsageFail("--probe-timeout: expected a whole number of seconds, at least 1");
    if (o.run.workers < 0)
        UsageFail("--workers: expected 0 (one per processor) or more");
    if (o.noThumbnails)
        o.run.thumbnailDir.clear();
    else if (o.run.thumbnailDir.empty())
        o.run.thumbnailDir = DefaultThumbnailDir();
    if (!o.quiet)
        o.run.progress = ProgressPrinter();
    // While calyx-dms (or another calyx index) indexes the same index, wait for it.
    o.run.waitForOtherRun = !o.noWait;
    o.run.onWaiting = [](const std::string& why) {
        std::cerr << "calyx index: " << why << " (Ctrl-C to give up)" << std::endl;
    };
    const calyx_indexer::IndexSummary summary = calyx_indexer::RunIndex(o.run);
    if (!summary.error.empty())
        Fail(summary.error);
    if (o.json)
        PrintJson(SummaryJson(summary));
    else
        std::cout << calyx_indexer::SummaryText(summary, 10);
}

}  // namespace

void AddIndexCommand(CLI::App& app) {
    auto o = std::make_shared<IndexCommandOptions>();
    CLI::App* cmd = app.add_subcommand(
        "index",
        "Fill the media index from the media files under folders (probing with libavformat)");
    cmd->add_option("folders", o->run.folders, "Folders to index")->required();
    cmd->add_option("--database", o->run.conninfo,
                    "libpq connection string (default: database \"calyx\", user \"admin\", "
                    "server from PGHOST/PGPORT)");
    cmd->add_option("--probe-timeout", o->run.probeTimeoutSeconds,
                    "Seconds a worker may spend on one file before it is stopped")
        ->default_val(10);
    cmd->add_option("--workers", o->run.workers, "Probing processes (default: one per processor)");
    cmd->add_option("--thumbnails", o->run.thumbnailDir,
                    "Thumbnail cache folder (default: $XDG_CACHE_HOME/calyx/thumbnails)");
    cmd->add_flag("--no-thumbnails", o->noThumbnails, "Make no thumbnails");
    cmd->add_flag("--follow-links", o->run.followLinks,
                  "Index files whose symbolic links lead out of the folders (off: left out)");
    cmd->add_flag("--quiet,-q", o->quiet, "No progress output");
    cmd->add_flag("--json", o->json, "Print the summary as JSON");
    cmd->add_flag("--no-wait", o->noWait,
                  "Fail at once when another index run (calyx-dms's) is writing the index, "
                  "instead of waiting for it");
    cmd->footer(
        "Progress goes to standard error (a bar on a terminal, plain lines otherwise), the "
        "summary to standard output. Files that cannot be indexed are counted and listed; "
        "the exit status is 1 only when the run itself fails. While another run writes the "
        "same index (calyx-dms indexing its media folders, or another calyx index), the "
        "command says so and waits for it to finish.");
    cmd->callback([o] { RunIndexCommand(*o); });
}

}  // namespace calyx_tool
