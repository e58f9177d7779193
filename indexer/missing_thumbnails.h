// Thumbnails that the index lacks, made for some of its photos and videos after the index
// run that left them out (the index was filled without thumbnails, or its cache lost one).
#ifndef CALYX_INDEXER_MISSING_THUMBNAILS_H
#define CALYX_INDEXER_MISSING_THUMBNAILS_H

#include <stdint.h>

#include <string>
#include <vector>

namespace calyx_indexer {

// One photo or video row: `table` is "photo" or "video".
struct ThumbnailTarget {
    std::string table;
    int64_t id = 0;
};

struct MissingThumbnailOptions {
    std::string conninfo;      // as IndexOptions::conninfo
    std::string thumbnailDir;  // where the thumbnails go (made when missing)
    std::vector<ThumbnailTarget> targets;
};

struct MissingThumbnailSummary {
    std::string error;                  // non-empty when the index could not be read at all
    size_t made = 0;                    // rows that got a thumbnail
    size_t skipped = 0;                 // rows gone, hidden, or with a thumbnail already
    size_t failed = 0;                  // files whose picture could not be made
    std::vector<std::string> failures;  // "path: why", the first few
};

// For each target whose row has no thumbnail: decodes the file's first picture, writes the
// thumbnail into `thumbnailDir` under the indexer's own name for it, records it in the row
// (only if the row still names the same file and still has none) and marks the row's
// folder and table changed, as an index run does. Never throws.
MissingThumbnailSummary MakeMissingThumbnails(const MissingThumbnailOptions& options);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_MISSING_THUMBNAILS_H
