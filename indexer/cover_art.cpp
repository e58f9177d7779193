// Covers are read where the media is probed, so a damaged picture can only end a worker.
#include "indexer/cover_art.h"

#include "calyx/media_names.h"
#include "indexer/indexer.h"
#include "indexer/thumbnail.h"

namespace calyx_indexer {

namespace {

std::string CodecName(AVCodecID codec) {
    return Calyx::MediaCodecName(avcodec_get_name(codec));
}

// The small forms of a decoded cover; the cover counts only when both could be written.
void WriteCoverForms(const AVFrame& picture, const std::string& thumbnailPath, ProbedMedia& media) {
    const std::string thumbnail = DerivedPicturePath(thumbnailPath, "-cover-tn.jpg");
    const std::string small = DerivedPicturePath(thumbnailPath, "-cover-sm.jpg");
    if (!WriteJpegScaled(picture, thumbnail, kThumbnailSide).empty() ||
        !WriteJpegScaled(picture, small, kCoverSmallSide).empty())
        return;
    media.coverThumbnail = thumbnail;
    media.coverSmall = small;
    media.coverWidth = picture.width;
    media.coverHeight = picture.height;
}

}  // namespace

std::string DerivedPicturePath(const std::string& thumbnailPath, const std::string& suffix) {
    const bool jpg =
        thumbnailPath.size() > 4 && thumbnailPath.compare(thumbnailPath.size() - 4, 4, ".jpg") == 0;
    return (jpg ? thumbnailPath.substr(0, thumbnailPath.size() - 4) : thumbnailPath) + suffix;
}

void ReadAttachedCover(const AVStream& stream, const std::string& thumbnailPath,
                       ProbedMedia& media) {
    const AVPacket& packet = stream.attached_pic;
    if (thumbnailPath.empty() || packet.size <= 0)
        return;
    const std::string codec = CodecName(stream.codecpar->codec_id);
    const std::string mime = MediaMimeType("photo", "", codec);
    calyx_av::FramePtr picture = DecodePicturePacket(*stream.codecpar, packet);
    if (!picture || mime == "application/octet-stream")
        return;
    const std::string original = DerivedPicturePath(
        thumbnailPath, "-cover." + std::string(codec == "mjpeg" ? "jpg" : codec));
    if (!WriteWholeFile(original, packet.data, static_cast<size_t>(packet.size)).empty())
        return;
    WriteCoverForms(*picture, thumbnailPath, media);
    if (!media.coverThumbnail.empty()) {
        media.coverOriginal = original;
        media.coverMime = mime;
    }
}

ProbedMedia ProbeCoverFile(const std::string& path, const std::string& thumbnailPath) {
    ProbedMedia media;
    AVFormatContext* opened = nullptr;
    int rc = avformat_open_input(&opened, path.c_str(), nullptr, nullptr);
    if (rc < 0) {
        media.failure = "libavformat cannot open this cover picture: " + calyx_av::AvErrorText(rc);
        return media;
    }
    calyx_av::InputPtr format(opened);
    if ((rc = avformat_find_stream_info(format.get(), nullptr)) < 0) {
        media.failure = "libavformat finds no picture in this cover: " + calyx_av::AvErrorText(rc);
        return media;
    }
    int stream = -1;
    for (unsigned i = 0; i < format->nb_streams && stream < 0; ++i)
        if (format->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            stream = static_cast<int>(i);
    const std::string mime =
        stream < 0
            ? ""
            : MediaMimeType("photo", "", CodecName(format->streams[stream]->codecpar->codec_id));
    if (stream < 0 || mime == "application/octet-stream") {
        media.failure = "this cover is not a picture";
        return media;
    }
    media.coverOriginal = path;
    media.coverMime = mime;
    media.coverWidth = format->streams[stream]->codecpar->width;
    media.coverHeight = format->streams[stream]->codecpar->height;
    if (thumbnailPath.empty())
        return media;  // no cache: the cover is offered as it is
    calyx_av::FramePtr picture = DecodeFirstPicture(format.get(), stream);
    if (picture)
        WriteCoverForms(*picture, thumbnailPath, media);
    return media;
}

void WriteLargeForm(const AVFrame& picture, AVCodecID codec, const std::string& thumbnailPath,
                    ProbedMedia& media) {
    if (thumbnailPath.empty() ||
        (codec == AV_CODEC_ID_MJPEG && picture.width <= kLargeSide && picture.height <= kLargeSide))
        return;
    const std::string large = DerivedPicturePath(thumbnailPath, "-large.jpg");
    if (WriteJpegScaled(picture, large, kLargeSide).empty())
        media.large = large;
}

}  // namespace calyx_indexer
