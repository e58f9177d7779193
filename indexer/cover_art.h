// Covers and the other pictures derived from a media file: where they are written and how
// they are made (inside a probing worker).
//
// The derived files of one source file sit in the thumbnail cache beside its thumbnail
// "<name>.jpg": "<name>-cover.<jpg|png|...>" (an embedded cover as it was),
// "<name>-cover-tn.jpg", "<name>-cover-sm.jpg" and "<name>-large.jpg".
#ifndef CALYX_INDEXER_COVER_ART_H
#define CALYX_INDEXER_COVER_ART_H

#include <string>

#include "av/handles.h"
#include "indexer/probed_media.h"

namespace calyx_indexer {

// Longer side of the small cover (DLNA JPEG_SM) and of a photo's large form (JPEG_LRG).
constexpr int kCoverSmallSide = 480;
constexpr int kLargeSide = 1920;

// The thumbnail path with its ".jpg" replaced by `suffix` ("-cover-tn.jpg", ...).
std::string DerivedPicturePath(const std::string& thumbnailPath, const std::string& suffix);

// The picture attached to `stream` of a song or video (its packet holds the picture
// file's bytes): written as it was, and scaled. Leaves the cover fields empty when
// `thumbnailPath` is empty or the picture cannot be read.
void ReadAttachedCover(const AVStream& stream, const std::string& thumbnailPath,
                       ProbedMedia& media);

// A picture file named as a cover of its folder: the cover fields only (the original is
// the file itself); a failure when it is not a picture.
ProbedMedia ProbeCoverFile(const std::string& path, const std::string& thumbnailPath);

// The large form of a photo when it is larger than kLargeSide or not a JPEG.
void WriteLargeForm(const AVFrame& picture, AVCodecID codec, const std::string& thumbnailPath,
                    ProbedMedia& media);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_COVER_ART_H
