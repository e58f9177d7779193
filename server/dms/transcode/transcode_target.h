// The forms calyx-dms transcodes to: their URL tokens, MIME types and encoder arguments.
// The encoder arguments are the documented table of targets (docs/server.md): the worker
// is configured by them and the library's estimates read them for res@size and
// res@bitrate.
#ifndef CALYX_DMS_TRANSCODE_TRANSCODE_TARGET_H
#define CALYX_DMS_TRANSCODE_TRANSCODE_TARGET_H

#include <string>

#include "calyx/types.h"

namespace calyx_dms {

struct TranscodeTarget {
    enum Kind {
        kVideo,  // MPEG-TS: H.264 (libx264) and `audioCodec`
        kRemux,  // MPEG-TS: the source's video and audio copied (no re-encoding)
        kLpcm,   // raw 16-bit big-endian PCM (DLNA LPCM)
        kWav,    // WAV, 16-bit little-endian PCM
    } kind = kVideo;
    std::string audioCodec = "aac";  // kVideo: "aac", "ac3" or "mp2"
    int maxWidth = 1920;             // kVideo: the largest frame
    int maxHeight = 1080;
    int channels = 2;        // kVideo, kLpcm, kWav: 1 or 2
    int sampleRate = 48000;  // kLpcm, kWav: 44100 or 48000
};

// The URL token: "ts-h264-aac-1920x1080-2", "remux", "lpcm-44100-2", "wav-48000-2".
std::string TargetToken(const TranscodeTarget& target);
// Reads a token back; false for anything TokenOf cannot give.
bool ParseTranscodeToken(const std::string& token, TranscodeTarget& out);
// The URL's file name extension: "ts", "lpcm" or "wav".
std::string TargetExtension(const TranscodeTarget& target);
// "video/mpeg", "audio/L16;rate=44100;channels=2" or "audio/wav".
std::string TargetMime(const TranscodeTarget& target);

// The LPCM or WAV target for a music item: 16 bits, at most 2 channels, 44.1 or 48 kHz
// (44.1 kHz for sources of 11025 Hz multiples, else 48 kHz).
TranscodeTarget PcmTargetFor(const ZEVO_MEDIA_INFO& item, TranscodeTarget::Kind kind);

// The frame size a video target gives `item`.
void TargetFrameSize(const TranscodeTarget& target, const ZEVO_MEDIA_INFO& item, int& width,
                     int& height);

// The encoder arguments that make `target` from `item` (the table of targets).
std::string EncoderArgsFor(const TranscodeTarget& target, const ZEVO_MEDIA_INFO& item);

}  // namespace calyx_dms

#endif  // CALYX_DMS_TRANSCODE_TRANSCODE_TARGET_H
