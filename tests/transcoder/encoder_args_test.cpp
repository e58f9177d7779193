// The encoder argument grammar of the transcoding worker.
#include <gtest/gtest.h>

#include "transcoder/encoder_args.h"

namespace calyx_transcoder {
namespace {

TEST(EncoderArgs, ReadsAVideoTarget) {
    EncoderArgs args;
    std::string error;
    ASSERT_TRUE(ParseEncoderArgs(
        "-f mpegts -vcodec libx264 -preset superfast -b 4000k -bufsize 8000k -s 1280x720 "
        "-acodec aac -ab 64k -ac 2 -ar 48000",
        args, error))
        << error;
    EXPECT_EQ(args.format, "mpegts");
    EXPECT_EQ(args.videoCodec, "libx264");
    EXPECT_EQ(args.preset, "superfast");
    EXPECT_EQ(args.videoKbps, 4000);
    EXPECT_EQ(args.bufferKbits, 8000);
    EXPECT_EQ(args.maxWidth, 1280);
    EXPECT_EQ(args.maxHeight, 720);
    EXPECT_EQ(args.audioCodec, "aac");
    EXPECT_EQ(args.audioKbpsPerChannel, 64);
    EXPECT_EQ(args.channels, 2);
    EXPECT_EQ(args.sampleRate, 48000);
    EXPECT_EQ(FormatEncoderArgs(args),
              "-f mpegts -vcodec libx264 -preset superfast -b 4000k -bufsize 8000k -s 1280x720 "
              "-acodec aac -ab 64k -ac 2 -ar 48000");
}

TEST(EncoderArgs, ReadsAudioAndCopyTargets) {
    EncoderArgs args;
    std::string error;
    ASSERT_TRUE(
        ParseEncoderArgs("-f s16be -acodec pcm_s16be -b 0 -ab 689 -ac 2 -ar 44100", args, error));
    EXPECT_EQ(args.videoCodec, "");
    EXPECT_EQ(args.audioKbpsPerChannel, 689);
    ASSERT_TRUE(
        ParseEncoderArgs("-f mpegts -vcodec copy -b 200k -acodec copy -ab 64k -ac 6", args, error));
    EXPECT_EQ(args.channels, 6);
}

TEST(EncoderArgs, RefusesWhatItCannotMake) {
    EncoderArgs args;
    for (const char* bad :
         {"", "-vcodec libx264", "-f mp4 -vcodec libx264 -acodec aac", "-f mpegts -vcodec vp9",
          "-f mpegts -vcodec libx264 -acodec aac -ab", "-f mpegts -x 1",
          "-f mpegts -vcodec copy -acodec aac", "-f wav -acodec pcm_s16be",
          "-f s16be -acodec pcm_s16be -vcodec libx264", "-f wav -acodec pcm_s16le -ac 9",
          "-f wav -acodec pcm_s16le -ar 100", "-f mpegts -vcodec libx264 -s 1280",
          "-f mpegts -vcodec libx264 -b -5k", "-f mpegts -vcodec libx264 -preset placebo"}) {
        std::string error;
        EXPECT_FALSE(ParseEncoderArgs(bad, args, error)) << bad;
        EXPECT_FALSE(error.empty()) << bad;
    }
}

}  // namespace
}  // namespace calyx_transcoder
