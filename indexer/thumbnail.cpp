// Thumbnails and other scaled forms: decode one picture with libavcodec, scale it with
// libswscale, encode a JPEG.
#include "indexer/thumbnail.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include "calyx/host.h"

namespace calyx_indexer {

namespace {

// Enough packets to get past the decoder delay of any common video codec.
constexpr int kMaxPacketsForFirstPicture = 500;

// Sends packets of the stream until the decoder gives a picture.
calyx_av::FramePtr DecodeFrom(AVFormatContext* format, AVCodecContext* decoder, int streamIndex) {
    calyx_av::PacketPtr packet(av_packet_alloc());
    calyx_av::FramePtr frame(av_frame_alloc());
    if (!packet || !frame)
        return nullptr;
    for (int sent = 0; sent < kMaxPacketsForFirstPicture;) {
        const bool more = av_read_frame(format, packet.get()) >= 0;
        if (more && packet->stream_index != streamIndex) {
            av_packet_unref(packet.get());
            continue;
        }
        avcodec_send_packet(decoder, more ? packet.get() : nullptr);  // null: drain
        av_packet_unref(packet.get());
        ++sent;
        if (avcodec_receive_frame(decoder, frame.get()) == 0)
            return frame;
        if (!more)
            break;
    }
    return nullptr;
}

}  // namespace

calyx_av::FramePtr DecodeFirstPicture(AVFormatContext* format, int streamIndex) {
    const AVCodecParameters* parameters = format->streams[streamIndex]->codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    if (codec == nullptr)
        return nullptr;
    calyx_av::CodecPtr decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), parameters) < 0)
        return nullptr;
    decoder->thread_count = 1;  // one picture: threads would only add delay
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return nullptr;
    return DecodeFrom(format, decoder.get(), streamIndex);
}

calyx_av::FramePtr DecodePicturePacket(const AVCodecParameters& parameters,
                                       const AVPacket& packet) {
    const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
    if (codec == nullptr || packet.size <= 0)
        return nullptr;
    calyx_av::CodecPtr decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), &parameters) < 0)
        return nullptr;
    decoder->thread_count = 1;
    calyx_av::FramePtr frame(av_frame_alloc());
    if (!frame || avcodec_open2(decoder.get(), codec, nullptr) < 0 ||
        avcodec_send_packet(decoder.get(), &packet) < 0)
        return nullptr;
    avcodec_send_packet(decoder.get(), nullptr);  // drain: the packet is the whole picture
    return avcodec_receive_frame(decoder.get(), frame.get()) == 0 ? std::move(frame) : nullptr;
}

// FNV-1a of the indexed path.
std::string ThumbnailFileName(const std::string& indexedPath) {
    uint64_t hash = 1469598103934665603ULL;
    for (unsigned char c : indexedPath)
        hash = (hash ^ c) * 1099511628211ULL;
    char name[32];
    snprintf(name, sizeof name, "%016llx.jpg", static_cast<unsigned long long>(hash));
    return name;
}

std::string WriteJpegThumbnail(const AVFrame& picture, const std::string& path) {
    return WriteJpegScaled(picture, path, kThumbnailSide);
}

std::string WriteWholeFile(const std::string& path, const void* data, size_t size) {
    const std::string temporary = path + ".part" + std::to_string(getpid());
    FILE* file = fopen(temporary.c_str(), "wb");
    if (file == nullptr)
        return "cannot write " + temporary;
    const bool written = size == 0 || fwrite(data, 1, size, file) == size;
    if (fclose(file) != 0 || !written || rename(temporary.c_str(), path.c_str()) != 0) {
        unlink(temporary.c_str());
        return "cannot write " + path;
    }
    return "";
}

std::string WriteJpegScaled(const AVFrame& picture, const std::string& path, int maxSide) {
    int width = 0, height = 0;
    Calyx::DMSGetThumbnailRes(picture.width, picture.height, &width, &height, maxSide);
    if (picture.width <= 0 || picture.height <= 0 || width <= 0 || height <= 0)
        return "picture has no size";

    // The JPEG encoder takes full-range 4:2:0.
    const AVPixelFormat jpegFormat = AV_PIX_FMT_YUVJ420P;
    SwsContext* scaler =
        sws_getContext(picture.width, picture.height, static_cast<AVPixelFormat>(picture.format),
                       width, height, jpegFormat, SWS_BICUBIC, nullptr, nullptr, nullptr);
    if (scaler == nullptr)
        return "cannot scale this picture format";
    calyx_av::FramePtr small(av_frame_alloc());
    small->width = width;
    small->height = height;
    small->format = jpegFormat;
    int rc = av_frame_get_buffer(small.get(), 0);
    if (rc >= 0)
        sws_scale(scaler, picture.data, picture.linesize, 0, picture.height, small->data,
                  small->linesize);
    sws_freeContext(scaler);
    if (rc < 0)
        return calyx_av::AvErrorText(rc);

    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    calyx_av::CodecPtr encoder(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!encoder)
        return "no JPEG encoder";
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = jpegFormat;
    encoder->time_base = AVRational{1, 25};
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA * 4;
    small->quality = encoder->global_quality;
    if ((rc = avcodec_open2(encoder.get(), codec, nullptr)) < 0 ||
        (rc = avcodec_send_frame(encoder.get(), small.get())) < 0 ||
        (rc = avcodec_send_frame(encoder.get(), nullptr)) < 0)
        return calyx_av::AvErrorText(rc);
    calyx_av::PacketPtr jpeg(av_packet_alloc());
    if ((rc = avcodec_receive_packet(encoder.get(), jpeg.get())) < 0)
        return calyx_av::AvErrorText(rc);

    return WriteWholeFile(path, jpeg->data, static_cast<size_t>(jpeg->size));
}

}  // namespace calyx_indexer
