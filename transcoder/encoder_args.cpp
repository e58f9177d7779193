#include "transcoder/encoder_args.h"

#include <stdlib.h>

#include <set>
#include <vector>

#include "calyx/core.h"

namespace calyx_transcoder {

namespace {

// A decimal number, optionally followed by "k" (the estimates read "2000k" as 2000 too).
bool ReadNumber(const std::string& text, long low, long high, long& out) {
    if (text.empty() || text[0] < '0' || text[0] > '9')
        return false;
    char* end = nullptr;
    long value = strtol(text.c_str(), &end, 10);
    if (*end == 'k')
        ++end;
    if (*end != '\0' || value < low || value > high)
        return false;
    out = value;
    return true;
}

bool ReadSize(const std::string& text, int& width, int& height) {
    size_t x = text.find('x');
    long w = 0;
    long h = 0;
    if (x == std::string::npos || !ReadNumber(text.substr(0, x), 16, 8192, w) ||
        !ReadNumber(text.substr(x + 1), 16, 8192, h))
        return false;
    width = static_cast<int>(w);
    height = static_cast<int>(h);
    return true;
}

bool OneOf(const std::string& value, const std::set<std::string>& allowed) {
    return allowed.count(value) > 0;
}

}  // namespace

bool ParseEncoderArgs(const std::string& text, EncoderArgs& args, std::string& error) {
    const std::vector<std::string> pieces = Calyx::StringExplode(text, " \n");
    args = EncoderArgs{};
    for (size_t i = 0; i < pieces.size(); i += 2) {
        const std::string& name = pieces[i];
        if (i + 1 >= pieces.size()) {
            error = "option " + name + " has no value";
            return false;
        }
        const std::string& value = pieces[i + 1];
        long number = 0;
        bool ok = true;
        if (name == "-f") {
            args.format = value;
            ok = OneOf(value, {"mpegts", "s16be", "wav"});
        } else if (name == "-vcodec") {
            args.videoCodec = value;
            ok = OneOf(value, {"libx264", "copy"});
        } else if (name == "-acodec") {
            args.audioCodec = value;
            ok = OneOf(value, {"aac", "ac3", "mp2", "pcm_s16be", "pcm_s16le", "copy"});
        } else if (name == "-preset") {
            args.preset = value;
            ok = OneOf(value, {"ultrafast", "superfast", "veryfast", "faster", "fast", "medium"});
        } else if (name == "-b" || name == "-maxrate") {
            ok = ReadNumber(value, 0, 200000, args.videoKbps);
        } else if (name == "-bufsize") {
            ok = ReadNumber(value, 0, 400000, args.bufferKbits);
        } else if (name == "-s") {
            ok = ReadSize(value, args.maxWidth, args.maxHeight);
        } else if (name == "-ab") {
            ok = ReadNumber(value, 0, 2000, args.audioKbpsPerChannel);
        } else if (name == "-ac") {
            ok = ReadNumber(value, 1, 8, number);
            args.channels = static_cast<int>(number);
        } else if (name == "-ar") {
            ok = ReadNumber(value, 8000, 192000, number);
            args.sampleRate = static_cast<int>(number);
        } else {
            error = "unknown option " + name;
            return false;
        }
        if (!ok) {
            error = "bad value \"" + value + "\" for " + name;
            return false;
        }
    }
    if (args.format.empty()) {
        error = "no container (-f)";
        return false;
    }
    const bool copy = args.videoCodec == "copy" || args.audioCodec == "copy";
    if (copy &&
        (args.videoCodec != "copy" || args.audioCodec != "copy" || args.format != "mpegts")) {
        error = "a stream copy copies both streams into MPEG-TS";
        return false;
    }
    if (args.format != "mpegts" && (!args.videoCodec.empty() || args.audioCodec.empty())) {
        error = "an audio container takes one audio stream";
        return false;
    }
    if ((args.format == "s16be") != (args.audioCodec == "pcm_s16be") ||
        (args.format == "wav") != (args.audioCodec == "pcm_s16le")) {
        error = "the audio codec does not fit the container";
        return false;
    }
    return true;
}

std::string FormatEncoderArgs(const EncoderArgs& args) {
    std::string out = "-f " + args.format;
    if (!args.videoCodec.empty())
        out += " -vcodec " + args.videoCodec;
    if (!args.preset.empty())
        out += " -preset " + args.preset;
    out += " -b " + std::to_string(args.videoKbps) + "k";
    if (args.bufferKbits > 0)
        out += " -bufsize " + std::to_string(args.bufferKbits) + "k";
    if (args.maxWidth > 0 && args.maxHeight > 0)
        out += " -s " + std::to_string(args.maxWidth) + "x" + std::to_string(args.maxHeight);
    if (!args.audioCodec.empty())
        out += " -acodec " + args.audioCodec;
    out += " -ab " + std::to_string(args.audioKbpsPerChannel) + "k";
    if (args.channels > 0)
        out += " -ac " + std::to_string(args.channels);
    if (args.sampleRate > 0)
        out += " -ar " + std::to_string(args.sampleRate);
    return out;
}

}  // namespace calyx_transcoder
