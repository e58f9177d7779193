// The fields of a media index row, as libavformat and libavcodec report them.
#include "indexer/media_probe.h"

extern "C" {
#include <libavutil/display.h>
}

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "av/handles.h"
#include "calyx/media_names.h"
#include "indexer/cover_art.h"
#include "indexer/indexed_path.h"
#include "indexer/indexer.h"
#include "indexer/media_dates.h"
#include "indexer/thumbnail.h"

namespace calyx_indexer {

namespace {

bool IsImageCodec(AVCodecID id) {
    switch (id) {
        case AV_CODEC_ID_MJPEG:
        case AV_CODEC_ID_PNG:
        case AV_CODEC_ID_GIF:
        case AV_CODEC_ID_BMP:
        case AV_CODEC_ID_TIFF:
        case AV_CODEC_ID_WEBP:
        case AV_CODEC_ID_JPEG2000:
        case AV_CODEC_ID_JPEGLS:
            return true;
        default:
            return false;
    }
}

// Demuxers of single pictures: their one "video" stream is a still image.
bool IsImageDemuxer(const char* name) {
    const size_t length = strlen(name);
    return strcmp(name, "image2") == 0 || strcmp(name, "gif") == 0 ||
           (length > 5 && strcmp(name + length - 5, "_pipe") == 0);
}

std::string Tag(const AVFormatContext* format, const AVStream* audio, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(format->metadata, key, nullptr, 0);
    // Some containers (Ogg, for one) keep their tags on the audio stream.
    if (entry == nullptr && audio != nullptr)
        entry = av_dict_get(audio->metadata, key, nullptr, 0);
    return entry ? ValidUtf8(entry->value) : "";
}

int64_t BitRate(int64_t rate) {
    return rate > 0 && rate <= 0xFFFFFFFFLL ? rate : 0;
}

// Degrees clockwise, 0..359, from the stream's display matrix.
int VideoRotation(const AVStream* stream) {
    const uint8_t* matrix = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (matrix == nullptr)
        return 0;
    const double counterClockwise =
        av_display_rotation_get(reinterpret_cast<const int32_t*>(matrix));
    if (isnan(counterClockwise))
        return 0;
    const int degrees = static_cast<int>(lround(-counterClockwise)) % 360;
    return degrees < 0 ? degrees + 360 : degrees;
}

void ReadVideo(const AVStream* stream, ProbedMedia& media) {
    const AVCodecParameters* parameters = stream->codecpar;
    media.videoCodec = Calyx::MediaCodecName(avcodec_get_name(parameters->codec_id));
    media.width = parameters->width;
    media.height = parameters->height;
    AVRational rate = stream->avg_frame_rate;
    if (rate.num == 0 && rate.den == 0)
        rate = stream->r_frame_rate;
    media.frameRateNum = rate.num;
    media.frameRateDen = rate.den;
    media.videoBitrate = BitRate(parameters->bit_rate);
    media.rotation = VideoRotation(stream);
}

void ReadAudio(const AVStream* stream, ProbedMedia& media) {
    const AVCodecParameters* parameters = stream->codecpar;
    media.audioCodec = Calyx::MediaCodecName(avcodec_get_name(parameters->codec_id));
    media.channels = parameters->ch_layout.nb_channels;
    media.sampleRate = parameters->sample_rate;
    media.audioBitrate = BitRate(parameters->bit_rate);
    // Lossless codecs say how many bits their samples carry; PCM codecs imply it.
    media.bitsPerSample = parameters->bits_per_raw_sample > 0
                              ? parameters->bits_per_raw_sample
                              : av_get_bits_per_sample(parameters->codec_id);
}

void ReadTags(const AVFormatContext* format, const AVStream* audio, ProbedMedia& media) {
    media.title = Tag(format, audio, "title");
    media.artist = Tag(format, audio, "artist");
    media.album = Tag(format, audio, "album");
    media.genre = Tag(format, audio, "genre");
    media.track = atoi(Tag(format, audio, "track").c_str());  // "3/12" is track 3
    std::string date = Tag(format, audio, "date");
    if (date.empty())
        date = Tag(format, audio, "creation_time");
    media.year = YearOfTag(date);
    media.date = IndexDateOfTag(date);
}

// A photo's date taken and orientation, from the EXIF tags the JPEG decoder exports.
void ReadPhoto(AVFormatContext* format, int streamIndex, const std::string& thumbnailPath,
               ProbedMedia& media) {
    const AVCodecID codec = format->streams[streamIndex]->codecpar->codec_id;
    calyx_av::FramePtr picture = DecodeFirstPicture(format, streamIndex);
    if (!picture)
        return;
    const AVDictionaryEntry* taken = av_dict_get(picture->metadata, "DateTimeOriginal", nullptr, 0);
    if (taken == nullptr)
        taken = av_dict_get(picture->metadata, "DateTime", nullptr, 0);
    if (taken != nullptr) {
        media.date = IndexDateOfExif(taken->value);
        media.year = YearOfTag(media.date);
    }
    const AVDictionaryEntry* orientation =
        av_dict_get(picture->metadata, "Orientation", nullptr, 0);
    if (orientation != nullptr)
        media.rotation = RotationOfExifOrientation(atoi(orientation->value));
    if (!thumbnailPath.empty() && WriteJpegThumbnail(*picture, thumbnailPath).empty())
        media.thumbnail = thumbnailPath;
    WriteLargeForm(*picture, codec, thumbnailPath, media);
}

void ReadVideoThumbnail(AVFormatContext* format, int streamIndex, const std::string& thumbnailPath,
                        ProbedMedia& media) {
    if (thumbnailPath.empty())
        return;
    calyx_av::FramePtr picture = DecodeFirstPicture(format, streamIndex);
    if (picture && WriteJpegThumbnail(*picture, thumbnailPath).empty())
        media.thumbnail = thumbnailPath;
}

}  // namespace

ProbedMedia ProbeMediaFile(const std::string& path, const std::string& thumbnailPath,
                           bool videoThumbnail) {
    ProbedMedia media;
    AVFormatContext* opened = nullptr;
    int rc = avformat_open_input(&opened, path.c_str(), nullptr, nullptr);
    if (rc < 0) {
        media.failure = "libavformat cannot open it: " + calyx_av::AvErrorText(rc);
        return media;
    }
    calyx_av::InputPtr format(opened);
    if ((rc = avformat_find_stream_info(format.get(), nullptr)) < 0) {
        media.failure = "libavformat finds no stream information: " + calyx_av::AvErrorText(rc);
        return media;
    }

    const bool imageDemuxer = IsImageDemuxer(format->iformat->name);
    int video = -1, audio = -1, picture = -1;
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        const AVMediaType type = stream->codecpar->codec_type;
        const bool still = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 ||
                           (imageDemuxer && IsImageCodec(stream->codecpar->codec_id));
        if (type == AVMEDIA_TYPE_VIDEO && still && picture < 0)
            picture = static_cast<int>(i);
        else if (type == AVMEDIA_TYPE_VIDEO && !still && video < 0)
            video = static_cast<int>(i);
        else if (type == AVMEDIA_TYPE_AUDIO && audio < 0)
            audio = static_cast<int>(i);
    }
    const AVStream* audioStream = audio >= 0 ? format->streams[audio] : nullptr;
    if (video >= 0)
        media.kind = MediaKind::kVideo;
    else if (audio >= 0)
        media.kind = MediaKind::kMusic;
    else if (picture >= 0 && IsImageCodec(format->streams[picture]->codecpar->codec_id))
        media.kind = MediaKind::kPhoto;
    else {
        media.failure = "no video, audio or picture stream";
        return media;
    }

    media.container = Calyx::MediaContainerName(format->iformat->name);
    media.frameBitrate = BitRate(format->bit_rate);
    if (format->duration != AV_NOPTS_VALUE && format->duration > 0)
        media.duration = static_cast<int>((format->duration + AV_TIME_BASE / 2) / AV_TIME_BASE);
    ReadTags(format.get(), audioStream, media);
    if (audioStream != nullptr && media.kind != MediaKind::kPhoto)
        ReadAudio(audioStream, media);

    std::string mimeCodec;
    if (media.kind != MediaKind::kPhoto && picture >= 0)
        ReadAttachedCover(*format->streams[picture], thumbnailPath, media);
    if (media.kind == MediaKind::kVideo) {
        ReadVideo(format->streams[video], media);
        ReadVideoThumbnail(format.get(), video, videoThumbnail ? thumbnailPath : "", media);
    } else if (media.kind == MediaKind::kPhoto) {
        const AVCodecParameters* parameters = format->streams[picture]->codecpar;
        media.width = parameters->width;
        media.height = parameters->height;
        media.duration = 0;  // a still picture has no playing time or bit rate
        media.frameBitrate = 0;
        mimeCodec = Calyx::MediaCodecName(avcodec_get_name(parameters->codec_id));
        ReadPhoto(format.get(), picture, thumbnailPath, media);
    }
    media.mimeType = MediaMimeType(MediaTableName(media.kind), media.container, mimeCodec);
    return media;
}

std::string WriteThumbnailOf(const std::string& path, const std::string& thumbnailPath) {
    AVFormatContext* opened = nullptr;
    int rc = avformat_open_input(&opened, path.c_str(), nullptr, nullptr);
    if (rc < 0)
        return "libavformat cannot open it: " + calyx_av::AvErrorText(rc);
    calyx_av::InputPtr format(opened);
    if ((rc = avformat_find_stream_info(format.get(), nullptr)) < 0)
        return "libavformat finds no stream information: " + calyx_av::AvErrorText(rc);
    // The picture ProbeMediaFile takes: a moving video stream first, else a still image.
    const bool imageDemuxer = IsImageDemuxer(format->iformat->name);
    int chosen = -1;
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
            continue;
        const bool attached = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        const bool still = imageDemuxer && IsImageCodec(stream->codecpar->codec_id);
        if (!attached && !still) {
            chosen = static_cast<int>(i);
            break;
        }
        if (still && chosen < 0)
            chosen = static_cast<int>(i);
    }
    if (chosen < 0)
        return "no video stream and no picture";
    calyx_av::FramePtr picture = DecodeFirstPicture(format.get(), chosen);
    if (!picture)
        return "no picture can be decoded";
    return WriteJpegThumbnail(*picture, thumbnailPath);
}

}  // namespace calyx_indexer
