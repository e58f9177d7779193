// The first picture of a stream, and the scaled JPEGs made from it.
#ifndef CALYX_INDEXER_THUMBNAIL_H
#define CALYX_INDEXER_THUMBNAIL_H

#include <string>

#include "av/handles.h"

namespace calyx_indexer {

// Longest side of a thumbnail, in pixels.
constexpr int kThumbnailSide = 160;

// Decodes the first picture of stream `streamIndex`, reading the format from where
// probing left it. Null when no picture can be decoded. For a JPEG, the picture's
// metadata carries the EXIF tags (DateTimeOriginal, Orientation, ...).
calyx_av::FramePtr DecodeFirstPicture(AVFormatContext* format, int streamIndex);

// Decodes the picture held whole in one packet (an attached picture: a cover in a song or
// video file). Null when it cannot be decoded.
calyx_av::FramePtr DecodePicturePacket(const AVCodecParameters& parameters, const AVPacket& packet);

// Writes `picture` scaled so that its longer side is at most `maxSide` (never enlarged) as
// a JPEG file at `path` (through a temporary file, so a reader never sees half a picture).
// Empty on success, else why not.
std::string WriteJpegScaled(const AVFrame& picture, const std::string& path, int maxSide);

// The file name (no folder) of the thumbnail of the file indexed as `indexedPath`: the
// same for every run and every program that makes it.
std::string ThumbnailFileName(const std::string& indexedPath);

// WriteJpegScaled to kThumbnailSide.
std::string WriteJpegThumbnail(const AVFrame& picture, const std::string& path);

// Writes `size` bytes to `path` through a temporary file. Empty on success, else why not.
std::string WriteWholeFile(const std::string& path, const void* data, size_t size);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_THUMBNAIL_H
