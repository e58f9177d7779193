// The output of a transcode: a libavformat muxer writing to a file descriptor (a pipe), so
// nothing ever touches the disk.
#ifndef CALYX_TRANSCODER_MUXER_H
#define CALYX_TRANSCODER_MUXER_H

#include <chrono>
#include <string>

#include "av/handles.h"

namespace calyx_transcoder {

// The error of a write whose reader has closed the pipe.
inline constexpr char kReaderGone[] = "the reader is gone";

class Muxer {
public:
    Muxer() = default;
    ~Muxer();
    Muxer(const Muxer&) = delete;
    Muxer& operator=(const Muxer&) = delete;

    // Makes a muxer of `format` ("mpegts", "s16be", "wav") that writes to `fd`.
    bool Open(const std::string& format, int fd, std::string& error);
    AVFormatContext* context() { return context_; }
    // Writes the container's header, once every stream has been added.
    bool Start(std::string& error);
    // Hands one packet of an output stream to the muxer (which takes its data). What is
    // buffered reaches the pipe at least every 50 ms, so a slow stream still flows.
    bool Write(AVPacket* packet, std::string& error);
    // Opens `encoder` (of `codec`; `name` names it in errors) for this container and adds
    // the output stream it feeds. Null with `error` set when it will not open.
    AVStream* OpenEncoderStream(AVCodecContext* encoder, const AVCodec* codec,
                                const std::string& name, std::string& error);
    // Sends `frame` (null: drain) to `encoder` and writes every packet it gives as a packet
    // of `stream`, through `scratch`. `what` ("audio", "video") names it in errors.
    bool Encode(AVCodecContext* encoder, AVFrame* frame, AVStream* stream, AVPacket* scratch,
                const char* what, std::string& error);
    // Writes what the muxer still holds and its trailer.
    bool Finish(std::string& error);

private:
    AVFormatContext* context_ = nullptr;
    AVIOContext* io_ = nullptr;
    int fd_ = -1;
    std::chrono::steady_clock::time_point flushed_;
};

// The encoder named `name` ("libx264", "aac", ...), its context to set up and a packet to
// receive into; null with `error` set when libav has no such encoder.
const AVCodec* NewEncoder(const std::string& name, calyx_av::CodecPtr& encoder,
                          calyx_av::PacketPtr& packet, std::string& error);

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_MUXER_H
