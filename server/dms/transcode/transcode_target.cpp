#include "transcode/transcode_target.h"

#include <stdio.h>

#include <algorithm>

#include "transcoder/frame_fit.h"

namespace calyx_dms {

namespace {

// x264's preset: the fastest one whose picture stays watchable (ultrafast drops the
// deblocking filter and shows blocks).
const char kPreset[] = "superfast";

// Video bit rate (kbit/s) by the height of the transcoded frame.
long VideoKbpsFor(int height) {
    if (height <= 288)
        return 800;
    if (height <= 576)
        return 2000;
    if (height <= 720)
        return 4000;
    return 8000;
}

// Audio bit rate per channel (kbit/s) of the video targets' audio encoders.
long AudioKbpsPerChannel(const std::string& codec) {
    return codec == "aac" ? 64 : 96;
}

bool ValidAudioCodec(const std::string& codec) {
    return codec == "aac" || codec == "ac3" || codec == "mp2";
}

// PCM bit rate per channel in the estimates' kilobits (1024 bits).
long PcmKbpsPerChannel(int sampleRate) {
    return sampleRate * 16L / 1024;
}

}  // namespace

std::string TargetToken(const TranscodeTarget& t) {
    char text[96];
    switch (t.kind) {
        case TranscodeTarget::kVideo:
            snprintf(text, sizeof text, "ts-h264-%s-%dx%d-%d", t.audioCodec.c_str(), t.maxWidth,
                     t.maxHeight, t.channels);
            return text;
        case TranscodeTarget::kRemux:
            return "remux";
        case TranscodeTarget::kLpcm:
        case TranscodeTarget::kWav:
            snprintf(text, sizeof text, "%s-%d-%d",
                     t.kind == TranscodeTarget::kLpcm ? "lpcm" : "wav", t.sampleRate, t.channels);
            return text;
    }
    return "";
}

bool ParseTranscodeToken(const std::string& token, TranscodeTarget& out) {
    TranscodeTarget t;
    char codec[8] = {0};
    char kind[8] = {0};
    int used = 0;
    if (token == "remux") {
        t.kind = TranscodeTarget::kRemux;
    } else if (sscanf(token.c_str(), "ts-h264-%7[a-z0-9]-%dx%d-%d%n", codec, &t.maxWidth,
                      &t.maxHeight, &t.channels, &used) == 4) {
        t.kind = TranscodeTarget::kVideo;
        t.audioCodec = codec;
        if (!ValidAudioCodec(t.audioCodec) || t.maxWidth < 16 || t.maxWidth > 4096 ||
            t.maxHeight < 16 || t.maxHeight > 2304)
            return false;
    } else if (sscanf(token.c_str(), "%7[a-z]-%d-%d%n", kind, &t.sampleRate, &t.channels, &used) ==
               3) {
        const std::string name = kind;
        if (name != "lpcm" && name != "wav")
            return false;
        t.kind = name == "lpcm" ? TranscodeTarget::kLpcm : TranscodeTarget::kWav;
        if (t.sampleRate != 44100 && t.sampleRate != 48000)
            return false;
    } else {
        return false;
    }
    if (t.kind != TranscodeTarget::kRemux && (t.channels < 1 || t.channels > 2))
        return false;
    // Only the exact form TokenOf writes: no signs, blanks, leading zeros or trailing text.
    if (TargetToken(t) != token)
        return false;
    out = t;
    return true;
}

std::string TargetExtension(const TranscodeTarget& target) {
    switch (target.kind) {
        case TranscodeTarget::kLpcm:
            return "lpcm";
        case TranscodeTarget::kWav:
            return "wav";
        default:
            return "ts";
    }
}

std::string TargetMime(const TranscodeTarget& target) {
    switch (target.kind) {
        case TranscodeTarget::kLpcm:
            return "audio/L16;rate=" + std::to_string(target.sampleRate) +
                   ";channels=" + std::to_string(target.channels);
        case TranscodeTarget::kWav:
            return "audio/wav";
        default:
            return "video/mpeg";
    }
}

TranscodeTarget PcmTargetFor(const ZEVO_MEDIA_INFO& item, TranscodeTarget::Kind kind) {
    TranscodeTarget t;
    t.kind = kind;
    t.channels = std::clamp(item.channel, 1, 2);
    t.sampleRate = item.samplerate > 0 && item.samplerate % 11025 == 0 ? 44100 : 48000;
    return t;
}

void TargetFrameSize(const TranscodeTarget& target, const ZEVO_MEDIA_INFO& item, int& width,
                     int& height) {
    calyx_transcoder::FitFrame(item.resolutionx, item.resolutiony, 0, 0, target.maxWidth,
                               target.maxHeight, width, height);
}

std::string EncoderArgsFor(const TranscodeTarget& t, const ZEVO_MEDIA_INFO& item) {
    const std::string ch = std::to_string(t.channels);
    switch (t.kind) {
        case TranscodeTarget::kVideo: {
            int width = 0;
            int height = 0;
            TargetFrameSize(t, item, width, height);
            const std::string rate = std::to_string(VideoKbpsFor(height));
            const std::string bufferSize = std::to_string(2 * VideoKbpsFor(height));
            return std::string("-f mpegts -vcodec libx264 -preset ") + kPreset + " -b " + rate +
                   "k -bufsize " + bufferSize + "k -s " + std::to_string(t.maxWidth) + "x" +
                   std::to_string(t.maxHeight) + " -acodec " + t.audioCodec + " -ab " +
                   std::to_string(AudioKbpsPerChannel(t.audioCodec)) + "k -ac " + ch + " -ar 48000";
        }
        case TranscodeTarget::kRemux: {
            const int channels = std::max(item.channel, 1);
            const long video =
                (item.video_bitrate > 0 ? item.video_bitrate : item.frame_bitrate) / 1024;
            const long audio = item.audio_bitrate / 1024 / channels;
            return "-f mpegts -vcodec copy -b " + std::to_string(video) + "k -acodec copy -ab " +
                   std::to_string(audio) + "k -ac " + std::to_string(channels);
        }
        case TranscodeTarget::kLpcm:
        case TranscodeTarget::kWav: {
            const bool lpcm = t.kind == TranscodeTarget::kLpcm;
            return std::string("-f ") +
                   (lpcm ? "s16be -acodec pcm_s16be" : "wav -acodec pcm_s16le") + " -b 0 -ab " +
                   std::to_string(PcmKbpsPerChannel(t.sampleRate)) + " -ac " + ch + " -ar " +
                   std::to_string(t.sampleRate);
        }
    }
    return "";
}

}  // namespace calyx_dms
