#include "transcoder/video_path.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <math.h>

#include <algorithm>

#include "transcoder/decoder.h"
#include "transcoder/frame_fit.h"

namespace calyx_transcoder {

namespace {

// x264's quality when the target names no bit rate.
const char kQuality[] = "23";
// Seconds between key frames: a renderer that joins late or drops data recovers quickly.
constexpr int kKeyFrameSeconds = 2;

AVRational FrameRateOf(const AVStream* stream) {
    AVRational rate = stream->avg_frame_rate;
    if (rate.num <= 0 || rate.den <= 0)
        rate = stream->r_frame_rate;
    if (rate.num <= 0 || rate.den <= 0 || av_q2d(rate) > 240)
        rate = AVRational{25, 1};
    return rate;
}

}  // namespace

bool VideoPath::Open(AVStream* input, const EncoderArgs& args, const StreamWindow& window,
                     Muxer& muxer, std::string& error) {
    input_ = input;
    muxer_ = &muxer;
    window_ = window;
    startTs_ = av_rescale_q(window.start, AV_TIME_BASE_Q, input->time_base);
    if (!decoder_.Open(input, 0, "video", error))
        return false;
    const AVCodec* codec = NewEncoder(args.videoCodec, encoder_, encoded_, error);
    if (codec == nullptr)
        return false;
    AVCodecContext* enc = encoder_.get();
    const AVCodecParameters* source = input->codecpar;
    AVRational aspect = input->sample_aspect_ratio.num > 0 ? input->sample_aspect_ratio
                                                           : source->sample_aspect_ratio;
    FitFrame(source->width, source->height, aspect.num, aspect.den, args.maxWidth, args.maxHeight,
             enc->width, enc->height);
    enc->pix_fmt = AV_PIX_FMT_YUV420P;
    enc->sample_aspect_ratio = AVRational{1, 1};
    enc->framerate = FrameRateOf(input);
    enc->time_base = input->time_base;
    enc->gop_size =
        std::max(1, static_cast<int>(lround(av_q2d(enc->framerate))) * kKeyFrameSeconds);
    enc->thread_count = 0;
    if (args.videoKbps > 0) {
        enc->bit_rate = args.videoKbps * 1000;
        enc->rc_max_rate = args.videoKbps * 1000;
        enc->rc_buffer_size =
            static_cast<int>((args.bufferKbits > 0 ? args.bufferKbits : 2 * args.videoKbps) * 1000);
    }
    if (!args.preset.empty())
        av_opt_set(enc->priv_data, "preset", args.preset.c_str(), 0);
    av_opt_set(enc->priv_data, "profile", "main", 0);
    // No B-frames and no look-ahead: the first picture leaves the encoder at once, so a
    // renderer starts (and a seek answers) in about half the time; the price is a somewhat
    // softer picture at the same bit rate.
    av_opt_set(enc->priv_data, "tune", "zerolatency", 0);
    if (args.videoKbps <= 0)
        av_opt_set(enc->priv_data, "crf", kQuality, 0);
    output_ = muxer.OpenEncoderStream(enc, codec, args.videoCodec, error);
    if (output_ == nullptr)
        return false;
    output_->avg_frame_rate = enc->framerate;
    return true;
}

bool VideoPath::Feed(const AVPacket* packet, std::string& error) {
    return done_ || decoder_.Feed(packet, HandleFrames(), error);
}

StreamDecoder::FrameHandler VideoPath::HandleFrames() {
    return [this](AVFrame* frame, std::string& error) { return done_ || Decoded(frame, error); };
}

bool VideoPath::Decoded(AVFrame* frame, std::string& error) {
    int64_t ts = frame->best_effort_timestamp;
    if (ts == AV_NOPTS_VALUE)
        ts = lastPts_ == AV_NOPTS_VALUE ? startTs_ : startTs_ + lastPts_ + 1;
    if (window_.PastEnd(StreamWindow::Micros(ts, input_->time_base))) {
        done_ = true;
        return true;
    }
    if (ts < startTs_)
        return true;
    int64_t pts = ts - startTs_;
    if (lastPts_ != AV_NOPTS_VALUE && pts <= lastPts_)
        pts = lastPts_ + 1;  // a repeated or reordered stamp: the encoder needs them rising
    lastPts_ = pts;

    AVCodecContext* enc = encoder_.get();
    if (frame->width == enc->width && frame->height == enc->height &&
        frame->format == enc->pix_fmt) {
        frame->pts = pts;
        frame->pict_type = AV_PICTURE_TYPE_NONE;
        frame->sample_aspect_ratio = enc->sample_aspect_ratio;
        return Encode(frame, error);
    }
    if (!scaler_ || scaledFromWidth_ != frame->width || scaledFromHeight_ != frame->height ||
        scaledFromFormat_ != frame->format) {
        scaler_.reset(sws_getContext(
            frame->width, frame->height, static_cast<AVPixelFormat>(frame->format), enc->width,
            enc->height, enc->pix_fmt, SWS_BILINEAR, nullptr, nullptr, nullptr));
        scaledFromWidth_ = frame->width;
        scaledFromHeight_ = frame->height;
        scaledFromFormat_ = frame->format;
        if (!scaler_) {
            error = "cannot scale the picture";
            return false;
        }
    }
    calyx_av::FramePtr scaled(av_frame_alloc());
    if (!scaled) {
        error = "out of memory";
        return false;
    }
    scaled->format = enc->pix_fmt;
    scaled->width = enc->width;
    scaled->height = enc->height;
    int rc = av_frame_get_buffer(scaled.get(), 0);
    if (rc >= 0)
        rc = sws_scale(scaler_.get(), frame->data, frame->linesize, 0, frame->height, scaled->data,
                       scaled->linesize);
    if (rc < 0) {
        error = "cannot scale the picture: " + calyx_av::AvErrorText(rc);
        return false;
    }
    scaled->pts = pts;
    scaled->sample_aspect_ratio = enc->sample_aspect_ratio;
    return Encode(scaled.get(), error);
}

bool VideoPath::Encode(AVFrame* frame, std::string& error) {
    return muxer_->Encode(encoder_.get(), frame, output_, encoded_.get(), "video", error);
}

bool VideoPath::Finish(std::string& error) {
    if (!done_ && !decoder_.Drain(HandleFrames(), error))
        return false;
    return Encode(nullptr, error);
}

}  // namespace calyx_transcoder
