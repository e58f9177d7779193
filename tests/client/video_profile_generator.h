// Generated media items and video-profile rules for the differential test and the benchmark.
#ifndef CALYX_TESTS_CLIENT_VIDEO_PROFILE_GENERATOR_H
#define CALYX_TESTS_CLIENT_VIDEO_PROFILE_GENERATOR_H

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "calyx/types.h"

namespace calyx_gen {

template <size_t N>
void CopyText(char (&field)[N], const std::string& text) {
    snprintf(field, N, "%s", text.c_str());
}

template <typename T>
const T& Pick(std::mt19937& rng, const std::vector<T>& choices) {
    return choices[std::uniform_int_distribution<size_t>(0, choices.size() - 1)(rng)];
}

inline int Between(std::mt19937& rng, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(rng);
}

// A realistic video item: a common combination of extension, container and codecs, with
// one field in five taken from another combination; usual frame sizes and bit rates.
inline ZEVO_MEDIA_INFO RealisticItem(std::mt19937& rng) {
    struct Kind {
        std::vector<std::string> exts, containers, videoCodecs, audioCodecs;
    };
    static const std::vector<Kind> kinds = {
        {{"mkv", "MKV"},
         {"matroska"},
         {"h264", "hevc", "vp9", "H264"},
         {"aac", "ac3", "dts", "mp3"}},
        {{"mp4", "m4v", "MP4"}, {"mp4"}, {"h264", "hevc", "mpeg4"}, {"aac", "ac3", "eac3"}},
        {{"ts", "m2ts"},
         {"mpegts", "MPEGTS"},
         {"h264", "mpeg2video", "vc1"},
         {"ac3", "mp2", "eac3"}},
        {{"avi"}, {"avi"}, {"mpeg4", "msmpeg4v3"}, {"mp3", "ac3", "pcm_s16le"}},
        {{"mpg", "vob"}, {"mpeg"}, {"mpeg2video"}, {"ac3", "mp2"}},
        {{"wmv"}, {"asf"}, {"wmv3", "vc1"}, {"wmav2", ""}},
        {{"mov"}, {"mov"}, {"h264", "prores"}, {"aac", "pcm_s16le"}},
    };
    static const std::vector<std::pair<int, int>> sizes = {
        {720, 480}, {720, 576}, {1280, 720}, {1920, 1080}, {3840, 2160}, {640, 360}, {1920, 800}};
    const Kind& kind = Pick(rng, kinds);
    const Kind& other = Between(rng, 0, 4) == 0 ? Pick(rng, kinds) : kind;
    int odd = Between(rng, 0, 3);  // which field may come from the other combination
    ZEVO_MEDIA_INFO item{};
    CopyText(item.path, "/volume1/video/Movies/title " + std::to_string(Between(rng, 1, 9999)) +
                            "." + Pick(rng, odd == 0 ? other.exts : kind.exts));
    CopyText(item.container_type, Pick(rng, odd == 1 ? other.containers : kind.containers));
    CopyText(item.video_codec, Pick(rng, odd == 2 ? other.videoCodecs : kind.videoCodecs));
    CopyText(item.audio_codec, Pick(rng, odd == 3 ? other.audioCodecs : kind.audioCodecs));
    std::pair<int, int> size = Pick(rng, sizes);
    item.resolutionx = size.first;
    item.resolutiony = size.second;
    item.video_bitrate = static_cast<uint32_t>(Between(rng, 500, 60000)) * 1000u;
    item.audio_bitrate =
        static_cast<uint32_t>(Pick(rng, std::vector<int>{128, 192, 384, 448, 640})) * 1000u;
    item.frame_bitrate = item.video_bitrate + item.audio_bitrate;
    item.frame_rate_num = Pick(rng, std::vector<int>{24000, 25, 30000, 50, 60000, 24});
    item.frame_rate_den = item.frame_rate_num > 100 ? 1001 : 1;
    item.channel = Pick(rng, std::vector<int>{1, 2, 6, 8});
    item.samplerate = 48000;
    return item;
}

// 16 realistic video profiles of 4 to 8 conditions each, as a renderer profile holds them.
inline std::map<std::string, std::string> RealisticProfiles() {
    return {
        {"AVC_TS_HD_50_AC3",
         "container_type@mpegts#video_codec@h264#resolutionx@1~1920#resolutiony@1~1080#audio_codec@"
         "ac3#channel@1~6#frame_rate_num@25"},
        {"AVC_TS_HD_60_AC3",
         "container_type@mpegts#video_codec@h264#resolutionx@1~1920#resolutiony@1~1080#audio_codec@"
         "ac3&eac3#channel@1~6#frame_rate_num@30000~60000"},
        {"AVC_MP4_MP_HD_AAC",
         "ext@mp4&m4v#container_type@mp4#video_codec@h264#resolutionx@1~1920#resolutiony@1~1080#"
         "audio_codec@aac#channel@1~2"},
        {"AVC_MP4_HP_HD_AC3",
         "ext@mp4#container_type@mp4#video_codec@h264#resolutionx@1~1920#resolutiony@1~1080#audio_"
         "codec@ac3#video_bitrate@1~40000000"},
        {"AVC_MKV_HP_HD_AAC",
         "ext@mkv#container_type@matroska#video_codec@h264#resolutionx@1~1920#resolutiony@1~1080#"
         "audio_codec@aac&mp3"},
        {"AVC_MKV_HP_HD_DTS",
         "ext@mkv#container_type@matroska#video_codec@h264#resolutionx@1~1920#audio_codec@dts#"
         "channel@1~8"},
        {"HEVC_MKV_UHD",
         "ext@mkv#container_type@matroska#video_codec@hevc#resolutionx@1~3840#resolutiony@1~2160#"
         "video_bitrate@1~80000000"},
        {"HEVC_MP4_UHD",
         "ext@mp4#container_type@mp4#video_codec@hevc#resolutionx@1~3840#resolutiony@1~2160#audio_"
         "codec@aac&ac3&eac3"},
        {"MPEG_PS_NTSC",
         "ext@mpg&vob#container_type@mpeg#video_codec@mpeg2video#resolutionx@720#resolutiony@480#"
         "audio_codec@ac3&mp2"},
        {"MPEG_PS_PAL",
         "ext@mpg&vob#container_type@mpeg#video_codec@mpeg2video#resolutionx@720#resolutiony@576#"
         "audio_codec@ac3&mp2"},
        {"MPEG_TS_HD",
         "container_type@mpegts#video_codec@mpeg2video#resolutionx@1~1920#resolutiony@1~1080#audio_"
         "codec@ac3&mp2#channel@1~6"},
        {"MPEG4_P2_AVI_SP",
         "ext@avi#container_type@avi#video_codec@mpeg4&msmpeg4v3#resolutionx@1~720#resolutiony@1~"
         "576#audio_codec@mp3&ac3"},
        {"MPEG4_P2_MP4_ASP",
         "ext@mp4#container_type@mp4#video_codec@mpeg4#resolutionx@1~1280#resolutiony@1~720#audio_"
         "codec@aac"},
        {"WMVHIGH_FULL",
         "ext@wmv#container_type@asf#video_codec@wmv3&vc1#resolutionx@1~1920#resolutiony@1~1080#"
         "audio_codec@wmav2"},
        {"VC1_TS_HD_AC3",
         "ext@ts&m2ts#container_type@mpegts#video_codec@vc1#resolutionx@1~1920#resolutiony@1~1080#"
         "audio_codec@ac3#frame_bitrate@1~45000000"},
        {"VP9_MKV",
         "ext@mkv#container_type@matroska#video_codec@vp9#resolutionx@1~3840#resolutiony@1~2160#"
         "audio_codec@aac&opus"},
    };
}

// A rule of hostile shape: empty pieces, repeated keys, keys inside pieces, "~" in odd
// places, upper-case alternatives, numbers with trailing text, overflowing numbers.
inline std::string HostileRule(std::mt19937& rng) {
    static const std::vector<std::string> keys = {"ext@",
                                                  "resolutionx@",
                                                  "resolutiony@",
                                                  "video_codec@",
                                                  "audio_codec@",
                                                  "container_type@",
                                                  "video_bitrate@",
                                                  "audio_bitrate@",
                                                  "frame_bitrate@",
                                                  "frame_rate_num@",
                                                  "frame_rate_den@",
                                                  "channel@",
                                                  "xx",
                                                  "foo@",
                                                  "EXT@",
                                                  "resolution@",
                                                  ""};
    static const std::vector<std::string> words = {
        "mkv", "MKV",    "mp4",      "ts",  "h264", "H264",    "hevc", "aac",        "AAC",
        "ac3", "mpegts", "matroska", "mp4", "",     "b/movie", "x",    "mpeg2video", "dts"};
    static const std::vector<std::string> numbers = {
        "0",          "1",          "2",           "6",           "720",
        "1080",       "1920",       "1080p",       "abc",         "-5",
        "+7",         " 42",        "\t9",         "99999999999", "-99999999999",
        "2147483647", "2147483648", "-2147483648", "4294967295",  "0x10",
        "1e3",        "",           "25",          "30000",       "1001",
        "128000"};
    std::string rule;
    int pieces = Between(rng, 0, 6);
    for (int p = 0; p < pieces; ++p) {
        if (p > 0 || Between(rng, 0, 4) == 0) {
            rule += Between(rng, 0, 5) == 0 ? "##" : "#";
        }
        int shape = Between(rng, 0, 9);
        if (shape == 0) {
            rule += Pick(rng, words) + Pick(rng, keys);  // a key inside a piece
        }
        const std::string& key = Pick(rng, keys);
        rule += key;
        if (shape == 1) {
            rule += Pick(rng, keys);  // a key inside the value
        }
        int valueShape = Between(rng, 0, 7);
        if (valueShape < 3) {
            int alternatives = Between(rng, 0, 3);
            for (int a = 0; a < alternatives; ++a) {
                if (a > 0 || Between(rng, 0, 5) == 0) {
                    rule += Between(rng, 0, 4) == 0 ? "&&" : "&";
                }
                rule += Pick(rng, words);
            }
        } else if (valueShape < 6) {
            rule += Pick(rng, numbers);
            int tildes = Between(rng, 0, 3);
            for (int t = 0; t < tildes; ++t) {
                rule += Between(rng, 0, 3) == 0 ? "~~" : "~";
                rule += Pick(rng, numbers);
            }
        } else if (valueShape == 6) {
            rule += "~" + Pick(rng, numbers);
        } else {
            rule += Pick(rng, numbers) + "~";
        }
    }
    if (Between(rng, 0, 6) == 0) {
        rule += "#";
    }
    return rule;
}

// An item that hostile rules can hit: small value sets around the rules' numbers and words,
// odd paths, empty and upper-case texts, bit rates beyond the int range.
inline ZEVO_MEDIA_INFO HostileItem(std::mt19937& rng) {
    static const std::vector<std::string> paths = {
        "/v/movie.mkv", "/v/movie.MKV", "/v/a.b/movie", "/v/movie", "/v/movie.",  "movie.mp4",
        "/v/x.ts",      "/v/.hidden",   "/v/film.H264", "/v/a.x",   "/v/clip.Mp4"};
    static const std::vector<std::string> texts = {"mkv", "MKV", "h264", "H264",   "hevc",
                                                   "aac", "AAC", "ac3",  "mpegts", "matroska",
                                                   "",    "mp4", "x",    "dts",    "mpeg2video"};
    static const std::vector<int> numbers = {
        0,    1,     2, 6, 7, 9, 25, 42, 720, 1080, 1920, -5, 2147483647, -2147483647 - 1,
        1001, 30000, 16};
    static const std::vector<uint32_t> rates = {0u,          1u,  128000u, 2147483647u, 2147483648u,
                                                4294967295u, 42u, 1080u,   25u};
    ZEVO_MEDIA_INFO item{};
    CopyText(item.path, Pick(rng, paths));
    CopyText(item.video_codec, Pick(rng, texts));
    CopyText(item.audio_codec, Pick(rng, texts));
    CopyText(item.container_type, Pick(rng, texts));
    item.resolutionx = Pick(rng, numbers);
    item.resolutiony = Pick(rng, numbers);
    item.frame_rate_num = Pick(rng, numbers);
    item.frame_rate_den = Pick(rng, numbers);
    item.channel = Pick(rng, numbers);
    item.video_bitrate = Pick(rng, rates);
    item.audio_bitrate = Pick(rng, rates);
    item.frame_bitrate = Pick(rng, rates);
    return item;
}

}  // namespace calyx_gen

#endif  // CALYX_TESTS_CLIENT_VIDEO_PROFILE_GENERATOR_H
