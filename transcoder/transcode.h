// One transcode, from a media file to a stream on a file descriptor.
#ifndef CALYX_TRANSCODER_TRANSCODE_H
#define CALYX_TRANSCODER_TRANSCODE_H

#include <string>

#include "transcoder/encoder_args.h"

namespace calyx_transcoder {

struct TranscodeRequest {
    std::string input;  // the media file
    EncoderArgs args;
    double start = 0;  // seconds from the beginning of the media
    double end = -1;   // seconds; negative: to the end
};

// Writes to `fd` first one status line, then the stream:
//   "ok start=S duration=D\n"  S: where the stream really starts (seconds, the requested
//                              start for an encode, the key frame before it for a copy);
//                              D: the source's duration (0 when unknown)
//   "error REASON\n"           nothing follows
// Returns false with `error` when the transcode failed, before or after the status line.
bool Transcode(const TranscodeRequest& request, int fd, std::string& error);

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_TRANSCODE_H
