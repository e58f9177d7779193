// Probing one file with libavformat (run inside a worker process).
#ifndef CALYX_INDEXER_MEDIA_PROBE_H
#define CALYX_INDEXER_MEDIA_PROBE_H

#include <string>

#include "indexer/probed_media.h"

namespace calyx_indexer {

// Reads the file at `path` (a file system path, not an indexed one). The kind follows the
// content: video when a video stream that is not an attached picture exists, else music
// when an audio stream exists, else photo when an image codec is found; otherwise the
// result carries a failure. A photo or video gets a thumbnail at `thumbnailPath` when that
// is not empty (a thumbnail that cannot be made leaves `thumbnail` empty, nothing more);
// with `videoThumbnail` false a video gets none (it is made later by WriteThumbnailOf).
ProbedMedia ProbeMediaFile(const std::string& path, const std::string& thumbnailPath,
                           bool videoThumbnail = true);

// Writes the thumbnail of the photo or video at `path` (a file system path) to
// `thumbnailPath`, as ProbeMediaFile makes it, and nothing else. Empty on success, else
// why not.
std::string WriteThumbnailOf(const std::string& path, const std::string& thumbnailPath);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_MEDIA_PROBE_H
