// The first picture of a stream, and the small JPEG made from it.
#ifndef CALYX_INDEXER_THUMBNAIL_H
#define CALYX_INDEXER_THUMBNAIL_H

#include <string>

#include "indexer/av_handles.h"

namespace calyx_indexer {

// Longest side of a thumbnail, in pixels.
constexpr int kThumbnailSide = 160;

// Decodes the first picture of stream `streamIndex`, reading the format from where
// probing left it. Null when no picture can be decoded. For a JPEG, the picture's
// metadata carries the EXIF tags (DateTimeOriginal, Orientation, ...).
FramePtr DecodeFirstPicture(AVFormatContext* format, int streamIndex);

// Writes `picture` scaled to fit kThumbnailSide as a JPEG file at `path` (through a
// temporary file, so a reader never sees half a thumbnail). Empty on success, else why not.
std::string WriteJpegThumbnail(const AVFrame& picture, const std::string& path);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_THUMBNAIL_H
