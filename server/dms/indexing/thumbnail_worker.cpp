#include "indexing/thumbnail_worker.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "indexer/missing_thumbnails.h"

namespace calyx_dms {

namespace {

// "p12" -> photo row 12, "v7" -> video row 7; false for anything else.
bool ParseTarget(const std::string& objectId, calyx_indexer::ThumbnailTarget& target) {
    if (objectId.size() < 2 || (objectId[0] != 'p' && objectId[0] != 'v') ||
        objectId.find_first_not_of("0123456789", 1) != std::string::npos || objectId.size() > 19)
        return false;
    target.table = objectId[0] == 'p' ? "photo" : "video";
    target.id = strtoll(objectId.c_str() + 1, nullptr, 10);
    return target.id > 0;
}

}  // namespace

bool IsThumbnailWorkerCommand(int argc, char** argv) {
    return argc >= 2 && strcmp(argv[1], "--thumbnail-worker") == 0;
}

int RunThumbnailWorker(int argc, char** argv) {
    calyx_indexer::MissingThumbnailOptions options;
    for (int i = 2; i < argc; ++i) {
        calyx_indexer::ThumbnailTarget target;
        if (strcmp(argv[i], "--thumbnails") == 0 && i + 1 < argc) {
            options.thumbnailDir = argv[++i];
        } else if (ParseTarget(argv[i], target)) {
            options.targets.push_back(target);
        } else {
            fprintf(stderr, "calyx-dms-worker --thumbnail-worker: unexpected argument %s\n",
                    argv[i]);
            return 2;
        }
    }
    if (options.thumbnailDir.empty()) {
        fprintf(stderr, "calyx-dms-worker --thumbnail-worker: no --thumbnails folder\n");
        return 2;
    }
    const calyx_indexer::MissingThumbnailSummary summary =
        calyx_indexer::MakeMissingThumbnails(options);
    if (!summary.error.empty()) {
        printf("thumbnails not made: %s\n", summary.error.c_str());
        return 1;
    }
    for (const std::string& failure : summary.failures)
        fprintf(stderr, "calyx-dms-worker --thumbnail-worker: no thumbnail for %s\n",
                failure.c_str());
    printf("thumbnails made in the background: %zu made, %zu failed, %zu not needed\n",
           summary.made, summary.failed, summary.skipped);
    return 0;
}

}  // namespace calyx_dms
