// One name per container and codec, shared by the indexer, the profile linter and docs.
#include "calyx/media_names.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace Calyx {
namespace {

std::string Lowered(const std::string& text) {
    std::string out = text;
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

struct DemuxerAlias {
    const char* demuxer;
    const char* container;
};

// Demuxers that answer to several names; the rules use one.
constexpr DemuxerAlias kDemuxerAliases[] = {
    {"mov,mp4,m4a,3gp,3g2,mj2", "mp4"},
    {"matroska,webm", "matroska"},
};

}  // namespace

std::string MediaContainerName(const std::string& demuxerName) {
    const std::string name = Lowered(demuxerName);
    for (const DemuxerAlias& alias : kDemuxerAliases) {
        if (name == alias.demuxer)
            return alias.container;
    }
    return name.substr(0, name.find(','));
}

std::string MediaCodecName(const std::string& codecName) {
    std::string name = Lowered(codecName);
    if (name.compare(0, 4, "pcm_") == 0)
        return "lpcm";
    return name;
}

const std::vector<std::string>& KnownMediaContainerNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list = {
            "aac", "ac3", "aiff",   "ape",    "asf",       "avi", "caf",    "dsf",
            "dts", "dv",  "eac3",   "flac",   "flv",       "gif", "image2", "matroska",
            "mp3", "mp4", "mpeg",   "mpegts", "mpegvideo", "mxf", "nut",    "ogg",
            "rm",  "swf", "truehd", "w64",    "wav",       "wtv", "wv",
        };
        std::sort(list.begin(), list.end());
        return list;
    }();
    return names;
}

const std::vector<std::string>& KnownMediaCodecNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list = {
            // video
            "av1",
            "flv1",
            "h263",
            "h264",
            "hevc",
            "mjpeg",
            "mpeg1video",
            "mpeg2video",
            "mpeg4",
            "msmpeg4v1",
            "msmpeg4v2",
            "msmpeg4v3",
            "rv30",
            "rv40",
            "theora",
            "vc1",
            "vp8",
            "vp9",
            "wmv1",
            "wmv2",
            "wmv3",
            // audio
            "aac",
            "ac3",
            "alac",
            "amr_nb",
            "amr_wb",
            "dts",
            "eac3",
            "flac",
            "lpcm",
            "mlp",
            "mp1",
            "mp2",
            "mp3",
            "opus",
            "truehd",
            "vorbis",
            "wavpack",
            "wmalossless",
            "wmapro",
            "wmav1",
            "wmav2",
        };
        std::sort(list.begin(), list.end());
        return list;
    }();
    return names;
}

}  // namespace Calyx
