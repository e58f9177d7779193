#include "transcoder/audio_path.h"

#include <stdlib.h>

#include <algorithm>

#include "transcoder/decoder.h"

namespace calyx_transcoder {

namespace {

// Samples per encoded frame for encoders that take any number (PCM).
constexpr int kPcmFrameSamples = 4096;

// The rate `codec` supports that is nearest to `wanted` (`wanted` when it takes any).
int SupportedRate(const AVCodec* codec, int wanted) {
    if (codec->supported_samplerates == nullptr)
        return wanted;
    int best = codec->supported_samplerates[0];
    for (const int* rate = codec->supported_samplerates; *rate != 0; ++rate) {
        if (abs(*rate - wanted) < abs(best - wanted))
            best = *rate;
    }
    return best;
}

// A layout with a known order: decoders may report only a channel count.
AVChannelLayout OrderedLayout(const AVChannelLayout& layout) {
    AVChannelLayout out{};
    if (layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&out, layout.nb_channels);
    else
        av_channel_layout_copy(&out, &layout);
    return out;
}

}  // namespace

bool AudioPath::Open(AVStream* input, const EncoderArgs& args, const StreamWindow& window,
                     Muxer& muxer, std::string& error) {
    input_ = input;
    muxer_ = &muxer;
    window_ = window;
    if (!decoder_.Open(input, 1, "audio", error))
        return false;
    const AVCodec* codec = NewEncoder(args.audioCodec, encoder_, encoded_, error);
    if (codec == nullptr)
        return false;
    AVCodecContext* enc = encoder_.get();
    enc->sample_fmt = codec->sample_fmts ? codec->sample_fmts[0] : AV_SAMPLE_FMT_S16;
    enc->sample_rate =
        SupportedRate(codec, args.sampleRate > 0 ? args.sampleRate : input->codecpar->sample_rate);
    const int channels = args.channels > 0
                             ? args.channels
                             : std::clamp(input->codecpar->ch_layout.nb_channels, 1, 2);
    av_channel_layout_default(&enc->ch_layout, channels);
    if (args.audioKbpsPerChannel > 0 &&
        (codec->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) == 0)
        enc->bit_rate = args.audioKbpsPerChannel * 1000 * channels;
    enc->time_base = AVRational{1, enc->sample_rate};
    output_ = muxer.OpenEncoderStream(enc, codec, args.audioCodec, error);
    if (output_ == nullptr)
        return false;
    frameSamples_ = enc->frame_size > 0 ? enc->frame_size : kPcmFrameSamples;
    padLastFrame_ =
        enc->frame_size > 0 && (codec->capabilities & AV_CODEC_CAP_SMALL_LAST_FRAME) == 0;
    fifo_.reset(av_audio_fifo_alloc(enc->sample_fmt, channels, frameSamples_ * 2));
    if (!fifo_) {
        error = "out of memory";
        return false;
    }
    return true;
}

bool AudioPath::Feed(const AVPacket* packet, std::string& error) {
    return done_ || decoder_.Feed(packet, HandleFrames(), error);
}

StreamDecoder::FrameHandler AudioPath::HandleFrames() {
    return [this](AVFrame* frame, std::string& error) { return done_ || Decoded(frame, error); };
}

bool AudioPath::Decoded(const AVFrame* frame, std::string& error) {
    if (frame->sample_rate <= 0 || frame->nb_samples <= 0)
        return true;
    int64_t at = StreamWindow::Micros(frame->best_effort_timestamp, input_->time_base);
    if (at == AV_NOPTS_VALUE)
        at = nextMicros_ != AV_NOPTS_VALUE ? nextMicros_ : window_.start;
    const int64_t length = av_rescale(frame->nb_samples, AV_TIME_BASE, frame->sample_rate);
    nextMicros_ = at + length;
    if (window_.PastEnd(at)) {
        done_ = true;
        return true;
    }
    if (at + length <= window_.start)
        return true;
    int skip = 0;
    if (at < window_.start)
        skip = static_cast<int>(av_rescale(window_.start - at, frame->sample_rate, AV_TIME_BASE));
    int count = frame->nb_samples - skip;
    if (window_.end >= 0) {
        const int64_t keep = av_rescale(window_.end - at, frame->sample_rate, AV_TIME_BASE) - skip;
        if (keep < count) {
            count = static_cast<int>(std::max<int64_t>(keep, 0));
            done_ = true;
        }
    }
    if (count <= 0)
        return true;

    if (!resampler_) {
        AVChannelLayout in = OrderedLayout(frame->ch_layout);
        SwrContext* made = nullptr;
        int rc = swr_alloc_set_opts2(
            &made, &encoder_->ch_layout, encoder_->sample_fmt, encoder_->sample_rate, &in,
            static_cast<AVSampleFormat>(frame->format), frame->sample_rate, 0, nullptr);
        av_channel_layout_uninit(&in);
        resampler_.reset(made);
        if (rc < 0 || (rc = swr_init(made)) < 0) {
            error = "cannot convert the audio: " + calyx_av::AvErrorText(rc);
            return false;
        }
    }
    const AVSampleFormat format = static_cast<AVSampleFormat>(frame->format);
    const int bytes = av_get_bytes_per_sample(format);
    const int channels = frame->ch_layout.nb_channels;
    const uint8_t* data[AV_NUM_DATA_POINTERS] = {};
    if (av_sample_fmt_is_planar(format)) {
        if (channels > AV_NUM_DATA_POINTERS) {
            error = "too many audio channels";
            return false;
        }
        for (int c = 0; c < channels; ++c)
            data[c] = frame->extended_data[c] + static_cast<ptrdiff_t>(skip) * bytes;
    } else {
        data[0] = frame->extended_data[0] + static_cast<ptrdiff_t>(skip) * bytes * channels;
    }
    return Resample(data, count, error) && EncodeFromFifo(false, error);
}

bool AudioPath::Resample(const uint8_t** data, int samples, std::string& error) {
    const int room = swr_get_out_samples(resampler_.get(), samples);
    if (room <= 0)
        return true;
    calyx_av::FramePtr converted(av_frame_alloc());
    if (!converted) {
        error = "out of memory";
        return false;
    }
    converted->format = encoder_->sample_fmt;
    converted->nb_samples = room;
    av_channel_layout_copy(&converted->ch_layout, &encoder_->ch_layout);
    int rc = av_frame_get_buffer(converted.get(), 0);
    if (rc >= 0)
        rc = swr_convert(resampler_.get(), converted->data, room, data, samples);
    if (rc > 0)
        rc = av_audio_fifo_write(fifo_.get(), reinterpret_cast<void**>(converted->data), rc);
    if (rc < 0) {
        error = "cannot convert the audio: " + calyx_av::AvErrorText(rc);
        return false;
    }
    return true;
}

bool AudioPath::EncodeFromFifo(bool all, std::string& error) {
    for (;;) {
        const int available = av_audio_fifo_size(fifo_.get());
        if (available <= 0 || (available < frameSamples_ && !all))
            return true;
        const int take = std::min(available, frameSamples_);
        calyx_av::FramePtr frame(av_frame_alloc());
        if (!frame) {
            error = "out of memory";
            return false;
        }
        frame->format = encoder_->sample_fmt;
        frame->sample_rate = encoder_->sample_rate;
        frame->nb_samples = padLastFrame_ ? frameSamples_ : take;
        av_channel_layout_copy(&frame->ch_layout, &encoder_->ch_layout);
        int rc = av_frame_get_buffer(frame.get(), 0);
        if (rc >= 0)
            rc = av_audio_fifo_read(fifo_.get(), reinterpret_cast<void**>(frame->data), take);
        if (rc < 0) {
            error = "cannot buffer the audio: " + calyx_av::AvErrorText(rc);
            return false;
        }
        if (take < frame->nb_samples)
            av_samples_set_silence(frame->data, take, frame->nb_samples - take,
                                   encoder_->ch_layout.nb_channels, encoder_->sample_fmt);
        frame->pts = samplesOut_;
        samplesOut_ += frame->nb_samples;
        if (!Encode(frame.get(), error))
            return false;
    }
}

bool AudioPath::Encode(AVFrame* frame, std::string& error) {
    return muxer_->Encode(encoder_.get(), frame, output_, encoded_.get(), "audio", error);
}

bool AudioPath::Finish(std::string& error) {
    if (!done_ && !decoder_.Drain(HandleFrames(), error))
        return false;
    if (resampler_) {
        const int room = swr_get_out_samples(resampler_.get(), 0);
        if (room > 0 && !Resample(nullptr, 0, error))
            return false;
    }
    return EncodeFromFifo(true, error) && Encode(nullptr, error);
}

}  // namespace calyx_transcoder
