// Owning handles for libav objects, so every early return frees what was made; shared by
// the indexer and the transcoder. Header only: a part that includes it links libav* itself.
#ifndef CALYX_AV_HANDLES_H
#define CALYX_AV_HANDLES_H

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

namespace calyx_av {

struct InputCloser {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
struct CodecFreer {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct FrameFreer {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketFreer {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct ResamplerFreer {
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};
struct ScalerFreer {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
struct FifoFreer {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};

// An input opened by avformat_open_input.
using InputPtr = std::unique_ptr<AVFormatContext, InputCloser>;
using CodecPtr = std::unique_ptr<AVCodecContext, CodecFreer>;
using FramePtr = std::unique_ptr<AVFrame, FrameFreer>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;
using ResamplerPtr = std::unique_ptr<SwrContext, ResamplerFreer>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerFreer>;
using FifoPtr = std::unique_ptr<AVAudioFifo, FifoFreer>;

// libav's text for an error code.
inline std::string AvErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(code, text, sizeof text);
    return text;
}

}  // namespace calyx_av

#endif  // CALYX_AV_HANDLES_H
