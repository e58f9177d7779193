// Thumbnails made in the background: photos and videos listed to a client without the
// thumbnail the index lacks are handed, after the answer, to a thumbnail worker process
// (calyx-dms-worker started by exec: libav never runs in, nor is mapped by, the threaded
// server). One worker at a time, in the order asked; each object is asked for once per
// server run, so a file whose picture cannot be made is not tried again and again.
//
// Everything here runs on the GLib main loop of the server.
#ifndef CALYX_DMS_INDEXING_THUMBNAIL_BACKLOG_H
#define CALYX_DMS_INDEXING_THUMBNAIL_BACKLOG_H

#include <sys/types.h>

#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

namespace calyx_dms {

// The worker's arguments after the program: the thumbnail folder and the object ids.
std::vector<std::string> ThumbnailWorkerArguments(const std::string& thumbnailFolder,
                                                  const std::vector<std::string>& objectIds);

struct ThumbnailBacklogSettings {
    std::string program;          // the worker program (started with --thumbnail-worker)
    std::string thumbnailFolder;  // where the index keeps thumbnails
    std::string workerLog;        // the worker's standard error goes here
};

class ThumbnailBacklog {
public:
    explicit ThumbnailBacklog(ThumbnailBacklogSettings settings);
    ~ThumbnailBacklog();  // Stop()
    ThumbnailBacklog(const ThumbnailBacklog&) = delete;
    ThumbnailBacklog& operator=(const ThumbnailBacklog&) = delete;

    // Object ids ("p12", "v7") of rows shown without a thumbnail. Those not asked for
    // before are queued; a worker starts when none runs.
    void Want(const std::vector<std::string>& objectIds);

    // Ends a worker under way (the thumbnails it made stay) and drops the queue.
    void Stop();

    // Most objects one worker is given.
    static constexpr size_t kBatch = 100;

private:
    void StartWorker();
    // Reads what the worker says; false once it has ended (its source is done).
    bool Read();
    void Finish();

    ThumbnailBacklogSettings settings_;
    std::unordered_set<std::string> asked_;
    std::deque<std::string> queue_;
    pid_t pid_ = -1;
    int fd_ = -1;
    unsigned source_ = 0;  // GLib source of the worker's pipe
    std::string said_;     // the worker's line
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_INDEXING_THUMBNAIL_BACKLOG_H
