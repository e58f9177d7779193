// The encoder argument strings of transcoding targets. One string both configures a
// transcode and, read by the library's GetTransBitRate and PredictTransFileSize, estimates
// its bit rate and size, so the two can never disagree.
//
// Grammar: options separated by blanks, each followed by its value:
//   -f mpegts|s16be|wav         output container (s16be: raw big-endian LPCM)
//   -vcodec libx264|copy            video encoder (absent: no video)
//   -preset NAME                x264's speed preset
//   -b Nk, -maxrate Nk          video bit rate, kbit/s (0: no video)
//   -bufsize Nk                 rate control buffer, kbit
//   -s WxH                      largest frame: bigger pictures are scaled down into it
//   -acodec aac|ac3|mp2|pcm_s16be|pcm_s16le|copy   audio encoder
//   -ab N[k]                    audio bit rate per channel, kbit/s
//   -ac N                       audio channels (1 to 8)
//   -ar N                       audio sample rate, Hz
#ifndef CALYX_TRANSCODER_ENCODER_ARGS_H
#define CALYX_TRANSCODER_ENCODER_ARGS_H

#include <string>

namespace calyx_transcoder {

struct EncoderArgs {
    std::string format;      // "mpegts", "s16be" or "wav"
    std::string videoCodec;  // "" (no video), "libx264" or "copy"
    std::string preset;
    long videoKbps = 0;
    long bufferKbits = 0;
    int maxWidth = 0;  // 0: no limit
    int maxHeight = 0;
    std::string audioCodec;  // "" (no audio), an encoder name, or "copy"
    long audioKbpsPerChannel = 0;
    int channels = 0;    // 0: as the source
    int sampleRate = 0;  // 0: as the source
};

// Reads `text`. False with `error` set for an unknown option, a missing or malformed value,
// or a combination that cannot be made (no container, copy mixed with an encoder...).
bool ParseEncoderArgs(const std::string& text, EncoderArgs& args, std::string& error);

// The string that ParseEncoderArgs reads back into `args`.
std::string FormatEncoderArgs(const EncoderArgs& args);

}  // namespace calyx_transcoder

#endif  // CALYX_TRANSCODER_ENCODER_ARGS_H
