// Texts for showing a run: a progress bar for terminals, plain lines otherwise, a summary.
#ifndef CALYX_INDEXER_PROGRESS_TEXT_H
#define CALYX_INDEXER_PROGRESS_TEXT_H

#include <string>

#include "indexer/indexer.h"

namespace calyx_indexer {

// One terminal line (no line break) of at most `width` columns: a bar, files done of
// total, files per second and the current folder (its start cut when it does not fit).
std::string ProgressBarLine(const IndexProgress& progress, size_t width);

// A plain line for logs: "indexed 120 of 456 files, 37.2 files/s, in /media/a".
std::string ProgressPlainLine(const IndexProgress& progress);

// The summary: a line of counts, a line of folder counts, and up to `reasons` failures
// with their reasons (and how many more there are). Lines end with "\n".
std::string SummaryText(const IndexSummary& summary, size_t reasons);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_PROGRESS_TEXT_H
