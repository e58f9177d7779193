// The decoding side of a transcode's stream: packets in, frames out.
#ifndef CALYX_TRANSCODER_DECODER_H
#define CALYX_TRANSCODER_DECODER_H

#include <functional>
#include <string>

#include "av/handles.h"

namespace calyx_transcoder {

// A decoder for `stream` using up to `threads` threads (0: as many as libav likes); null
// with `error` set when the codec is unknown or will not open.
calyx_av::CodecPtr OpenDecoder(const AVStream* stream, int threads, std::string& error);

// Packets that fail to decode are skipped, as players do; this many in a row mean the file
// is not worth going on with.
constexpr int kMaxBadPacketsInARow = 100;

// One stream's decoder fed packet by packet; every frame it gives goes to a handler.
class StreamDecoder {
public:
    // Called with each decoded frame (unreferenced afterwards); false ends the transcode,
    // with the handler's error.
    using FrameHandler = std::function<bool(AVFrame* frame, std::string& error)>;

    // Opens the decoder of `stream` (as OpenDecoder); `what` ("audio", "video") names the
    // stream in errors.
    bool Open(const AVStream* stream, int threads, const char* what, std::string& error);
    // Sends one packet and hands on the frames that come out. A packet that does not decode
    // is skipped, and so is a broken frame; kMaxBadPacketsInARow bad packets in a row end
    // the transcode. False with `error` set when it ends.
    bool Feed(const AVPacket* packet, const FrameHandler& handler, std::string& error);
    // Drains the decoder: its last frames go to `handler`.
    bool Drain(const FrameHandler& handler, std::string& error);

private:
    bool Receive(const FrameHandler& handler, std::string& error);

    calyx_av::CodecPtr decoder_;
    calyx_av::FramePtr frame_;
    const char* what_ = "";
    int badInARow_ = 0;
};

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_DECODER_H
