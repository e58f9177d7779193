// Opening the decoder of an input stream.
#ifndef CALYX_TRANSCODER_DECODER_H
#define CALYX_TRANSCODER_DECODER_H

#include <string>

#include "av/handles.h"

namespace calyx_transcoder {

// A decoder for `stream` using up to `threads` threads (0: as many as libav likes); null
// with `error` set when the codec is unknown or will not open.
calyx_av::CodecPtr OpenDecoder(const AVStream* stream, int threads, std::string& error);

// Packets that fail to decode are skipped, as players do; this many in a row mean the file
// is not worth going on with.
constexpr int kMaxBadPacketsInARow = 100;

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_DECODER_H
