// What the index worker tells the server, one JSON object a line on its standard output:
//   {"progress": {"done": N, "total": N, "rate": F, "folder": "..."}}
//   {"waiting": "why"}        another run holds the index; the worker waits for it
//   {"rows_written": true}    every row of the run is written and visible to readers
//                             (the thumbnails of new videos follow)
//   {"summary": {"added": N, "changed": N, "removed": N, "unchanged": N, "failed": N,
//                "seconds": F}}
//   {"error": "why"}          the run could not be made
#ifndef CALYX_DMS_INDEXING_WORKER_REPORT_H
#define CALYX_DMS_INDEXING_WORKER_REPORT_H

#include <stddef.h>

#include <string>

namespace calyx_dms {

struct WorkerReport {
    enum Kind { kNone, kProgress, kWaiting, kRowsWritten, kSummary, kError } kind = kNone;
    // kProgress
    size_t done = 0;
    size_t total = 0;
    double rate = 0;     // files per second
    std::string folder;  // the folder of the last file finished (as indexed)
    // kSummary
    size_t added = 0, changed = 0, removed = 0, unchanged = 0, failed = 0;
    double seconds = 0;
    // kWaiting, kError
    std::string text;
};

// One line (with its "\n") for `report`.
std::string FormatWorkerReport(const WorkerReport& report);

// The report of one line (without its "\n"); kind kNone for a line that is not one.
WorkerReport ParseWorkerReport(const std::string& line);

}  // namespace calyx_dms

#endif  // CALYX_DMS_INDEXING_WORKER_REPORT_H
