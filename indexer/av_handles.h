// Owning handles for libav objects, so every early return frees what was made.
#ifndef CALYX_INDEXER_AV_HANDLES_H
#define CALYX_INDEXER_AV_HANDLES_H

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

#include <memory>
#include <string>

namespace calyx_indexer {

struct FormatCloser {
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

using FormatPtr = std::unique_ptr<AVFormatContext, FormatCloser>;
using CodecPtr = std::unique_ptr<AVCodecContext, CodecFreer>;
using FramePtr = std::unique_ptr<AVFrame, FrameFreer>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFreer>;

// libav's text for an error code.
inline std::string AvErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(code, text, sizeof text);
    return text;
}

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_AV_HANDLES_H
