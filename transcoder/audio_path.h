// The audio of a transcode: decoded, cut to the window, resampled (libswresample) to the
// target's rate, channels and sample format, encoded and handed to the muxer.
#ifndef CALYX_TRANSCODER_AUDIO_PATH_H
#define CALYX_TRANSCODER_AUDIO_PATH_H

#include <string>

#include "av/handles.h"
#include "transcoder/decoder.h"
#include "transcoder/encoder_args.h"
#include "transcoder/muxer.h"
#include "transcoder/stream_window.h"

namespace calyx_transcoder {

class AudioPath {
public:
    // Opens the decoder of `input` and the encoder `args` name, adding its stream to `muxer`
    // (borrowed, as `input` is).
    bool Open(AVStream* input, const EncoderArgs& args, const StreamWindow& window, Muxer& muxer,
              std::string& error);
    // One packet of the input stream. False on a failure that ends the transcode; a packet
    // that does not decode is skipped.
    bool Feed(const AVPacket* packet, std::string& error);
    // Drains the decoder, the resampler and the encoder.
    bool Finish(std::string& error);
    // The window's end has been reached: further packets are ignored.
    bool done() const { return done_; }

private:
    bool Decoded(const AVFrame* frame, std::string& error);
    bool Resample(const uint8_t** data, int samples, std::string& error);
    bool EncodeFromFifo(bool all, std::string& error);
    bool Encode(AVFrame* frame, std::string& error);
    // Hands the decoder's frames to Decoded until the window ends.
    StreamDecoder::FrameHandler HandleFrames();

    AVStream* input_ = nullptr;
    AVStream* output_ = nullptr;
    Muxer* muxer_ = nullptr;
    StreamWindow window_;
    StreamDecoder decoder_;
    calyx_av::CodecPtr encoder_;
    calyx_av::ResamplerPtr resampler_;
    calyx_av::FifoPtr fifo_;
    calyx_av::PacketPtr encoded_;
    int frameSamples_ = 0;                 // samples per encoded frame
    bool padLastFrame_ = false;            // the encoder takes whole frames only
    int64_t nextMicros_ = AV_NOPTS_VALUE;  // where a frame without timestamp starts
    int64_t samplesOut_ = 0;
    bool done_ = false;
};

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_AUDIO_PATH_H
