#include "transcoder/muxer.h"

#include <errno.h>
#include <unistd.h>

namespace calyx_transcoder {

namespace {

constexpr int kBufferBytes = 64 * 1024;
constexpr auto kFlushPeriod = std::chrono::milliseconds(50);

// AVIO's write callback: the whole buffer reaches the pipe, or the reader is gone.
int WriteAll(void* opaque, uint8_t* data, int size) {
    const int fd = *static_cast<int*>(opaque);
    int done = 0;
    while (done < size) {
        ssize_t n = write(fd, data + done, static_cast<size_t>(size - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return AVERROR(n < 0 ? errno : EIO);
        done += static_cast<int>(n);
    }
    return size;
}

}  // namespace

Muxer::~Muxer() {
    if (io_ != nullptr) {
        av_freep(&io_->buffer);
        avio_context_free(&io_);
    }
    avformat_free_context(context_);
}

bool Muxer::Open(const std::string& format, int fd, std::string& error) {
    fd_ = fd;
    int rc = avformat_alloc_output_context2(&context_, nullptr, format.c_str(), nullptr);
    if (rc < 0) {
        error = "no muxer for " + format + ": " + calyx_av::AvErrorText(rc);
        return false;
    }
    auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
    io_ = buffer ? avio_alloc_context(buffer, kBufferBytes, 1, &fd_, nullptr, WriteAll, nullptr)
                 : nullptr;
    if (io_ == nullptr) {
        av_free(buffer);
        error = "out of memory";
        return false;
    }
    io_->seekable = 0;  // a pipe: the muxer never goes back to patch a header
    context_->pb = io_;
    context_->flags |= AVFMT_FLAG_CUSTOM_IO;
    context_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_MAKE_NON_NEGATIVE;
    return true;
}

bool Muxer::Start(std::string& error) {
    int rc = avformat_write_header(context_, nullptr);
    if (rc < 0) {
        error = "cannot write the header: " + calyx_av::AvErrorText(rc);
        return false;
    }
    avio_flush(io_);
    flushed_ = std::chrono::steady_clock::now();
    if (io_->error < 0) {
        error = kReaderGone;
        return false;
    }
    return true;
}

bool Muxer::Write(AVPacket* packet, std::string& error) {
    int rc = av_interleaved_write_frame(context_, packet);
    if (rc >= 0) {
        auto now = std::chrono::steady_clock::now();
        if (now - flushed_ >= kFlushPeriod) {
            avio_flush(io_);
            flushed_ = now;
        }
        rc = io_->error;
    }
    if (rc < 0) {
        error = rc == AVERROR(EPIPE) ? kReaderGone : "cannot write: " + calyx_av::AvErrorText(rc);
        return false;
    }
    return true;
}

bool Muxer::Finish(std::string& error) {
    int rc = av_write_trailer(context_);
    avio_flush(io_);
    if (rc >= 0)
        rc = io_->error;
    if (rc < 0) {
        error = "cannot finish the stream: " + calyx_av::AvErrorText(rc);
        return false;
    }
    return true;
}

bool Muxer::Encode(AVCodecContext* encoder, AVFrame* frame, AVStream* stream, AVPacket* scratch,
                   const char* what, std::string& error) {
    int rc = avcodec_send_frame(encoder, frame);
    while (rc >= 0 || rc == AVERROR_EOF) {
        rc = avcodec_receive_packet(encoder, scratch);
        if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF)
            return true;
        if (rc < 0)
            break;
        scratch->stream_index = stream->index;
        av_packet_rescale_ts(scratch, encoder->time_base, stream->time_base);
        if (!Write(scratch, error))
            return false;
    }
    error = std::string("the ") + what + " does not encode: " + calyx_av::AvErrorText(rc);
    return false;
}

AVStream* Muxer::OpenEncoderStream(AVCodecContext* encoder, const AVCodec* codec,
                                   const std::string& name, std::string& error) {
    if (context_->oformat->flags & AVFMT_GLOBALHEADER)
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    const int rc = avcodec_open2(encoder, codec, nullptr);
    if (rc < 0) {
        error = "cannot open the " + name + " encoder: " + calyx_av::AvErrorText(rc);
        return nullptr;
    }
    AVStream* stream = avformat_new_stream(context_, nullptr);
    if (stream == nullptr) {
        error = "out of memory";
        return nullptr;
    }
    avcodec_parameters_from_context(stream->codecpar, encoder);
    stream->time_base = encoder->time_base;
    return stream;
}

const AVCodec* NewEncoder(const std::string& name, calyx_av::CodecPtr& encoder,
                          calyx_av::PacketPtr& packet, std::string& error) {
    const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
    if (codec == nullptr) {
        error = "no " + name + " encoder";
        return nullptr;
    }
    encoder.reset(avcodec_alloc_context3(codec));
    packet.reset(av_packet_alloc());
    if (!encoder || !packet) {
        error = "out of memory";
        return nullptr;
    }
    return codec;
}

}  // namespace calyx_transcoder
