// The video of a transcode: decoded, cut to the window, scaled (libswscale) into the
// target's largest frame, encoded with libx264 and handed to the muxer.
#ifndef CALYX_TRANSCODER_VIDEO_PATH_H
#define CALYX_TRANSCODER_VIDEO_PATH_H

#include <string>

#include "av/handles.h"
#include "transcoder/decoder.h"
#include "transcoder/encoder_args.h"
#include "transcoder/muxer.h"
#include "transcoder/stream_window.h"

namespace calyx_transcoder {

class VideoPath {
public:
    // Opens the decoder of `input` and the encoder `args` name, adding its stream to `muxer`
    // (borrowed, as `input` is).
    bool Open(AVStream* input, const EncoderArgs& args, const StreamWindow& window, Muxer& muxer,
              std::string& error);
    // One packet of the input stream. False on a failure that ends the transcode; a packet
    // that does not decode is skipped.
    bool Feed(const AVPacket* packet, std::string& error);
    // Drains the decoder and the encoder.
    bool Finish(std::string& error);
    // The window's end has been reached: further packets are ignored.
    bool done() const { return done_; }

private:
    // Hands the decoder's frames to Decoded until the window ends.
    StreamDecoder::FrameHandler HandleFrames();
    bool Decoded(AVFrame* frame, std::string& error);
    bool Encode(AVFrame* frame, std::string& error);

    AVStream* input_ = nullptr;
    AVStream* output_ = nullptr;
    Muxer* muxer_ = nullptr;
    StreamWindow window_;
    int64_t startTs_ = 0;  // the window's start in the input's time base
    StreamDecoder decoder_;
    calyx_av::CodecPtr encoder_;
    calyx_av::ScalerPtr scaler_;
    int scaledFromWidth_ = 0;
    int scaledFromHeight_ = 0;
    int scaledFromFormat_ = -1;
    calyx_av::PacketPtr encoded_;
    int64_t lastPts_ = AV_NOPTS_VALUE;
    bool done_ = false;
};

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_VIDEO_PATH_H
