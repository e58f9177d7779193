// The index worker: calyx-dms-worker started by the server with --index-worker. It runs
// one index run of the folders on its command line and reports on standard output
// (worker_report.h); the server reads it (index_scheduler.h).
#ifndef CALYX_DMS_INDEXING_INDEX_WORKER_H
#define CALYX_DMS_INDEXING_INDEX_WORKER_H

namespace calyx_dms {

// True when the command line asks for the worker (its first argument is --index-worker).
bool IsIndexWorkerCommand(int argc, char** argv);

// Runs the worker: 0 when the run finished (files that could not be indexed included),
// 1 when it could not be made, 2 for a command line that is not the server's.
int RunIndexWorker(int argc, char** argv);

}  // namespace calyx_dms

#endif  // CALYX_DMS_INDEXING_INDEX_WORKER_H
