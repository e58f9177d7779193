// Transcoding targets: their URL tokens, MIME types and encoder arguments, and what the
// library's estimates make of those.
#include <gtest/gtest.h>

#include <string.h>

#include "calyx/host.h"
#include "transcode/transcode_target.h"

namespace calyx_dms {
namespace {

ZEVO_MEDIA_INFO Video(int width, int height) {
    ZEVO_MEDIA_INFO item{};
    item.resolutionx = width;
    item.resolutiony = height;
    item.channel = 6;
    item.samplerate = 48000;
    item.duration = 60;
    strcpy(item.audio_codec, "dts");
    return item;
}

TEST(TranscodeTarget, TokensReadBackExactly) {
    TranscodeTarget video;
    video.audioCodec = "ac3";
    video.maxWidth = 1280;
    video.maxHeight = 720;
    video.channels = 1;
    EXPECT_EQ(TargetToken(video), "ts-h264-ac3-1280x720-1");
    TranscodeTarget back;
    ASSERT_TRUE(ParseTranscodeToken("ts-h264-ac3-1280x720-1", back));
    EXPECT_EQ(back.kind, TranscodeTarget::kVideo);
    EXPECT_EQ(back.audioCodec, "ac3");
    EXPECT_EQ(back.maxWidth, 1280);
    EXPECT_EQ(back.maxHeight, 720);
    EXPECT_EQ(back.channels, 1);
    ASSERT_TRUE(ParseTranscodeToken("lpcm-44100-2", back));
    EXPECT_EQ(back.kind, TranscodeTarget::kLpcm);
    EXPECT_EQ(TargetMime(back), "audio/L16;rate=44100;channels=2");
    EXPECT_EQ(TargetExtension(back), "lpcm");
    ASSERT_TRUE(ParseTranscodeToken("wav-48000-1", back));
    EXPECT_EQ(TargetMime(back), "audio/wav");
    ASSERT_TRUE(ParseTranscodeToken("remux", back));
    EXPECT_EQ(back.kind, TranscodeTarget::kRemux);
    EXPECT_EQ(TargetMime(back), "video/mpeg");
    EXPECT_EQ(TargetExtension(back), "ts");
}

TEST(TranscodeTarget, RefusesAnyOtherToken) {
    TranscodeTarget t;
    for (const char* bad :
         {"", "remux2", "ts-h264-vorbis-1280x720-2", "ts-h264-aac-1280x720-3",
          "ts-h264-aac-1280x720", "ts-h264-aac-01280x720-2", "ts-h264-aac-+1280x720-2",
          "ts-h264-aac-1280x720-2x", "ts-h264-aac-99999x720-2", "ts-h264-aac-8x8-2", "lpcm-22050-2",
          "lpcm-44100-0", "wav-48000-2-", "flac-44100-2", "ts-hevc-aac-1280x720-2", "../../etc"}) {
        EXPECT_FALSE(ParseTranscodeToken(bad, t)) << bad;
    }
}

TEST(TranscodeTarget, PcmKeepsOrNearsTheRate) {
    ZEVO_MEDIA_INFO item = Video(0, 0);
    item.samplerate = 88200;
    TranscodeTarget t = PcmTargetFor(item, TranscodeTarget::kLpcm);
    EXPECT_EQ(t.sampleRate, 44100);
    EXPECT_EQ(t.channels, 2);
    item.samplerate = 96000;
    item.channel = 1;
    t = PcmTargetFor(item, TranscodeTarget::kWav);
    EXPECT_EQ(t.sampleRate, 48000);
    EXPECT_EQ(t.channels, 1);
}

TEST(TranscodeTarget, EncoderArgumentsFeedTheEstimates) {
    TranscodeTarget t;  // H.264/AAC within 1920x1080, stereo
    ZEVO_MEDIA_INFO hd = Video(1920, 1080);
    EXPECT_EQ(EncoderArgsFor(t, hd),
              "-f mpegts -vcodec libx264 -preset superfast -b 8000k -bufsize 16000k -s 1920x1080 "
              "-acodec aac -ab 64k -ac 2 -ar 48000");
    EXPECT_EQ(Calyx::GetTransBitRate(EncoderArgsFor(t, hd)), (8000 + 2 * 64) * 1024);
    EXPECT_EQ(Calyx::PredictTransFileSize(EncoderArgsFor(t, hd), 60),
              static_cast<int64_t>((8000 + 2 * 64) * 1024) * 60 / 8);
    // The rate follows the frame the target gives: a 4K picture in a 1280x720 box.
    t.maxWidth = 1280;
    t.maxHeight = 720;
    int w = 0;
    int h = 0;
    TargetFrameSize(t, Video(3840, 2160), w, h);
    EXPECT_EQ(w, 1280);
    EXPECT_EQ(h, 720);
    EXPECT_NE(EncoderArgsFor(t, Video(3840, 2160)).find("-b 4000k"), std::string::npos);
    EXPECT_NE(EncoderArgsFor(t, Video(320, 240)).find("-b 800k"), std::string::npos);
    TranscodeTarget pcm = PcmTargetFor(hd, TranscodeTarget::kLpcm);
    EXPECT_EQ(EncoderArgsFor(pcm, hd), "-f s16be -acodec pcm_s16be -b 0 -ab 750 -ac 2 -ar 48000");
    EXPECT_EQ(Calyx::GetTransBitRate(EncoderArgsFor(pcm, hd)), 2 * 750 * 1024);
    TranscodeTarget remux;
    remux.kind = TranscodeTarget::kRemux;
    ZEVO_MEDIA_INFO mkv = Video(1920, 1080);
    mkv.video_bitrate = 4000 * 1024;
    mkv.audio_bitrate = 6 * 100 * 1024;
    EXPECT_EQ(EncoderArgsFor(remux, mkv),
              "-f mpegts -vcodec copy -b 4000k -acodec copy -ab 100k -ac 6");
}

}  // namespace
}  // namespace calyx_dms
