// What probing one file found: the fields of its row in the media index.
#ifndef CALYX_INDEXER_PROBED_MEDIA_H
#define CALYX_INDEXER_PROBED_MEDIA_H

#include <stdint.h>

#include <string>

namespace calyx_indexer {

enum class MediaKind : int { kNone = 0, kVideo, kMusic, kPhoto, kPlaylist };

// The media table of a kind: "video", "music", "photo", "playlist" ("" for kNone).
const char* MediaTableName(MediaKind kind);

struct ProbedMedia {
    std::string failure;  // empty when the file is media; otherwise why it is not
    MediaKind kind = MediaKind::kNone;
    std::string container, videoCodec, audioCodec, mimeType;
    int width = 0, height = 0;
    int frameRateNum = 0, frameRateDen = 0;
    int64_t videoBitrate = 0, audioBitrate = 0, frameBitrate = 0;
    int channels = 0, sampleRate = 0;
    int bitsPerSample = 0;  // of the audio samples (0: unknown, or a lossy codec)
    int duration = 0;       // whole seconds, rounded to nearest
    int rotation = 0;       // degrees clockwise, 0..359
    std::string title, artist, album, genre;
    int track = 0, year = 0;
    std::string date;       // "YYYY-MM-DD hh:mm:ss" or empty
    std::string thumbnail;  // path of the thumbnail written, or empty
    // The cover: the picture attached to a song or video, or the picture of a cover file.
    std::string coverOriginal;  // the picture as it was: extracted file, or the cover file
    std::string coverMime;      // its MIME type
    int coverWidth = 0, coverHeight = 0;
    std::string coverThumbnail;  // JPEG, longer side 160 (DLNA JPEG_TN)
    std::string coverSmall;      // JPEG, longer side 480 (DLNA JPEG_SM)
    // A photo larger than 1920 pixels or not a JPEG: a JPEG of it with a longer side of
    // 1920 (DLNA JPEG_LRG); empty otherwise.
    std::string large;
};

// Serialised form sent from a worker process to the indexer (any byte values allowed).
std::string SerializeProbedMedia(const ProbedMedia& media);
// False when `bytes` is not a whole serialised record.
bool DeserializeProbedMedia(const std::string& bytes, ProbedMedia& media);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_PROBED_MEDIA_H
