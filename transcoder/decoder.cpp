#include "transcoder/decoder.h"

namespace calyx_transcoder {

calyx_av::CodecPtr OpenDecoder(const AVStream* stream, int threads, std::string& error) {
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (codec == nullptr) {
        error = std::string("no decoder for ") + avcodec_get_name(stream->codecpar->codec_id);
        return nullptr;
    }
    calyx_av::CodecPtr context(avcodec_alloc_context3(codec));
    if (!context) {
        error = "out of memory";
        return nullptr;
    }
    int rc = avcodec_parameters_to_context(context.get(), stream->codecpar);
    if (rc >= 0) {
        context->pkt_timebase = stream->time_base;
        context->thread_count = threads;
        rc = avcodec_open2(context.get(), codec, nullptr);
    }
    if (rc < 0) {
        error = std::string("cannot open the ") + codec->name +
                " decoder: " + calyx_av::AvErrorText(rc);
        return nullptr;
    }
    return context;
}

bool StreamDecoder::Open(const AVStream* stream, int threads, const char* what,
                         std::string& error) {
    what_ = what;
    decoder_ = OpenDecoder(stream, threads, error);
    if (!decoder_)
        return false;
    frame_.reset(av_frame_alloc());
    if (!frame_) {
        error = "out of memory";
        return false;
    }
    return true;
}

bool StreamDecoder::Feed(const AVPacket* packet, const FrameHandler& handler, std::string& error) {
    const int rc = avcodec_send_packet(decoder_.get(), packet);
    if (rc < 0 && rc != AVERROR_EOF) {
        if (++badInARow_ > kMaxBadPacketsInARow) {
            error = std::string("the ") + what_ + " does not decode: " + calyx_av::AvErrorText(rc);
            return false;
        }
        return true;
    }
    badInARow_ = 0;
    return Receive(handler, error);
}

bool StreamDecoder::Drain(const FrameHandler& handler, std::string& error) {
    avcodec_send_packet(decoder_.get(), nullptr);
    return Receive(handler, error);
}

bool StreamDecoder::Receive(const FrameHandler& handler, std::string& error) {
    for (;;) {
        const int rc = avcodec_receive_frame(decoder_.get(), frame_.get());
        if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF)
            return true;
        if (rc < 0)
            return true;  // a broken frame: skipped
        const bool ok = handler(frame_.get(), error);
        av_frame_unref(frame_.get());
        if (!ok)
            return false;
    }
}

}  // namespace calyx_transcoder
