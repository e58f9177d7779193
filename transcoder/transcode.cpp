#include "transcoder/transcode.h"

#include <errno.h>
#include <stdio.h>
#include <unistd.h>

#include <deque>

#include "av/handles.h"
#include "transcoder/audio_path.h"
#include "transcoder/muxer.h"
#include "transcoder/video_path.h"

namespace calyx_transcoder {

namespace {

// Packets read ahead while a stream copy looks for its first key frame.
constexpr size_t kMaxPacketsAhead = 4096;

bool WriteText(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool Report(int fd, double start, double duration, std::string& error) {
    char line[96];
    snprintf(line, sizeof line, "ok start=%.3f duration=%.3f\n", start, duration);
    if (!WriteText(fd, line)) {
        error = kReaderGone;
        return false;
    }
    return true;
}

int VideoStreamOf(const AVFormatContext* format) {
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
            (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0)
            return static_cast<int>(i);
    }
    return -1;
}

// Where the source's time line begins, in microseconds.
int64_t OriginOf(const AVFormatContext* format) {
    return format->start_time == AV_NOPTS_VALUE ? 0 : format->start_time;
}

// Moves the input to the key frame at or before `micros`; reading from the start is the
// fallback when the file cannot seek (the window then drops what comes before).
void SeekTo(AVFormatContext* format, int64_t micros) {
    if (micros > OriginOf(format))
        avformat_seek_file(format, -1, INT64_MIN, micros, micros, 0);
}

class Job {
public:
    Job(const TranscodeRequest& request, int fd) : request_(request), fd_(fd) {}

    bool Run(std::string& error);

private:
    bool Open(std::string& error);
    bool Encode(std::string& error);
    bool Copy(std::string& error);

    const TranscodeRequest& request_;
    int fd_;
    calyx_av::InputPtr input_;
    int video_ = -1;
    int audio_ = -1;
    double duration_ = 0;
    StreamWindow window_;
    Muxer muxer_;
};

bool Job::Run(std::string& error) {
    if (!Open(error)) {
        WriteText(fd_, "error " + error + "\n");
        return false;
    }
    return request_.args.videoCodec == "copy" ? Copy(error) : Encode(error);
}

bool Job::Open(std::string& error) {
    AVFormatContext* opened = nullptr;
    int rc = avformat_open_input(&opened, request_.input.c_str(), nullptr, nullptr);
    if (rc < 0) {
        error = "cannot open the file: " + calyx_av::AvErrorText(rc);
        return false;
    }
    input_.reset(opened);
    if ((rc = avformat_find_stream_info(opened, nullptr)) < 0) {
        error = "no stream information: " + calyx_av::AvErrorText(rc);
        return false;
    }
    const EncoderArgs& args = request_.args;
    if (!args.videoCodec.empty()) {
        video_ = VideoStreamOf(opened);
        if (video_ < 0) {
            error = "no video stream";
            return false;
        }
    }
    if (!args.audioCodec.empty()) {
        audio_ = av_find_best_stream(opened, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
        if (audio_ < 0 && args.videoCodec.empty()) {
            error = "no audio stream";
            return false;
        }
    }
    if (opened->duration != AV_NOPTS_VALUE && opened->duration > 0)
        duration_ = static_cast<double>(opened->duration) / AV_TIME_BASE;
    if (request_.start < 0 || (duration_ > 0 && request_.start >= duration_)) {
        error = "the start lies beyond the end";
        return false;
    }
    window_.start = OriginOf(opened) + static_cast<int64_t>(request_.start * AV_TIME_BASE);
    if (request_.end >= 0)
        window_.end = OriginOf(opened) + static_cast<int64_t>(request_.end * AV_TIME_BASE);
    return muxer_.Open(args.format, fd_, error);
}

bool Job::Encode(std::string& error) {
    VideoPath video;
    AudioPath audio;
    AVFormatContext* in = input_.get();
    if (video_ >= 0 && !video.Open(in->streams[video_], request_.args, window_, muxer_, error)) {
        WriteText(fd_, "error " + error + "\n");
        return false;
    }
    if (audio_ >= 0 && !audio.Open(in->streams[audio_], request_.args, window_, muxer_, error)) {
        WriteText(fd_, "error " + error + "\n");
        return false;
    }
    SeekTo(in, window_.start);
    if (!Report(fd_, request_.start, duration_, error) || !muxer_.Start(error))
        return false;
    calyx_av::PacketPtr packet(av_packet_alloc());
    if (!packet) {
        error = "out of memory";
        return false;
    }
    while ((video_ < 0 || !video.done()) && (audio_ < 0 || !audio.done())) {
        int rc = av_read_frame(in, packet.get());
        if (rc < 0)
            break;  // the end, or a file broken from here on: what was read is sent
        bool ok = true;
        if (packet->stream_index == video_)
            ok = video.Feed(packet.get(), error);
        else if (packet->stream_index == audio_)
            ok = audio.Feed(packet.get(), error);
        av_packet_unref(packet.get());
        if (!ok)
            return false;
    }
    return (video_ < 0 || video.Finish(error)) && (audio_ < 0 || audio.Finish(error)) &&
           muxer_.Finish(error);
}

bool Job::Copy(std::string& error) {
    AVFormatContext* in = input_.get();
    AVFormatContext* out = muxer_.context();
    int outIndex[2] = {-1, -1};  // of video_, audio_
    const int sources[2] = {video_, audio_};
    for (int i = 0; i < 2; ++i) {
        if (sources[i] < 0)
            continue;
        AVStream* source = in->streams[sources[i]];
        AVStream* stream = avformat_new_stream(out, nullptr);
        if (stream == nullptr || avcodec_parameters_copy(stream->codecpar, source->codecpar) < 0) {
            error = "out of memory";
            WriteText(fd_, "error " + error + "\n");
            return false;
        }
        stream->codecpar->codec_tag = 0;
        stream->time_base = source->time_base;
        outIndex[i] = stream->index;
    }
    SeekTo(in, window_.start);

    // The stream starts at the first key frame of the video: what comes before it cannot
    // be decoded, so the audio before it is dropped too.
    std::deque<calyx_av::PacketPtr> ahead;
    int64_t base = AV_NOPTS_VALUE;  // microseconds
    while (base == AV_NOPTS_VALUE && ahead.size() < kMaxPacketsAhead) {
        calyx_av::PacketPtr packet(av_packet_alloc());
        if (!packet || av_read_frame(in, packet.get()) < 0)
            break;
        const AVStream* stream = in->streams[packet->stream_index];
        if (packet->stream_index == video_ && (packet->flags & AV_PKT_FLAG_KEY) &&
            packet->pts != AV_NOPTS_VALUE)
            base = StreamWindow::Micros(packet->pts, stream->time_base);
        if (packet->stream_index == video_ && base == AV_NOPTS_VALUE)
            continue;
        ahead.push_back(std::move(packet));
    }
    if (base == AV_NOPTS_VALUE) {
        error = "no key frame to start from";
        WriteText(fd_, "error " + error + "\n");
        return false;
    }
    const double start = static_cast<double>(base - OriginOf(in)) / AV_TIME_BASE;
    if (!Report(fd_, start > 0 ? start : 0, duration_, error) || !muxer_.Start(error))
        return false;
    bool done[2] = {video_ < 0, audio_ < 0};
    for (;;) {
        calyx_av::PacketPtr packet;
        if (!ahead.empty()) {
            packet = std::move(ahead.front());
            ahead.pop_front();
        } else {
            packet.reset(av_packet_alloc());
            if (!packet || av_read_frame(in, packet.get()) < 0)
                break;
        }
        const int which = packet->stream_index == video_   ? 0
                          : packet->stream_index == audio_ ? 1
                                                           : -1;
        if (which < 0 || done[which])
            continue;
        const AVRational timeBase = in->streams[packet->stream_index]->time_base;
        const int64_t at = StreamWindow::Micros(packet->pts, timeBase);
        if (at != AV_NOPTS_VALUE && at < base)
            continue;
        if (at != AV_NOPTS_VALUE && window_.PastEnd(at)) {
            done[which] = true;
            if (done[0] && done[1])
                break;
            continue;
        }
        const int64_t shift = av_rescale_q(base, AV_TIME_BASE_Q, timeBase);
        if (packet->pts != AV_NOPTS_VALUE)
            packet->pts -= shift;
        if (packet->dts != AV_NOPTS_VALUE)
            packet->dts -= shift;
        packet->stream_index = outIndex[which];
        av_packet_rescale_ts(packet.get(), timeBase, out->streams[outIndex[which]]->time_base);
        packet->pos = -1;
        if (!muxer_.Write(packet.get(), error))
            return false;
    }
    return muxer_.Finish(error);
}

}  // namespace

bool Transcode(const TranscodeRequest& request, int fd, std::string& error) {
    Job job(request, fd);
    return job.Run(error);
}

}  // namespace calyx_transcoder
