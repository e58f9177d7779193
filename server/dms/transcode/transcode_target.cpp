#include "transcode/transcode_target.h"

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <vector>

#include "calyx/core.h"

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

// Decimal digits only, within [low, high].
bool ReadNumber(const std::string& text, int low, int high, int& out) {
    if (text.empty() || text.size() > 6 ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const long value = strtol(text.c_str(), nullptr, 10);
    if (value < low || value > high)
        return false;
    out = static_cast<int>(value);
    return true;
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
    const std::vector<std::string> parts = Calyx::StringExplode(token, "-");
    if (token == "remux") {
        t.kind = TranscodeTarget::kRemux;
    } else if (parts.size() == 5 && parts[0] == "ts" && parts[1] == "h264") {
        t.kind = TranscodeTarget::kVideo;
        t.audioCodec = parts[2];
        const size_t x = parts[3].find('x');
        if (!ValidAudioCodec(t.audioCodec) || x == std::string::npos ||
            !ReadNumber(parts[3].substr(0, x), 16, 4096, t.maxWidth) ||
            !ReadNumber(parts[3].substr(x + 1), 16, 2304, t.maxHeight) ||
            !ReadNumber(parts[4], 1, 2, t.channels))
            return false;
    } else if (parts.size() == 3 && (parts[0] == "lpcm" || parts[0] == "wav")) {
        t.kind = parts[0] == "lpcm" ? TranscodeTarget::kLpcm : TranscodeTarget::kWav;
        if (!ReadNumber(parts[1], 44100, 48000, t.sampleRate) ||
            (t.sampleRate != 44100 && t.sampleRate != 48000) ||
            !ReadNumber(parts[2], 1, 2, t.channels))
            return false;
    } else {
        return false;
    }
    // Only the exact form TargetToken writes: no signs, blanks or leading zeros.
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
