#include "calyx/media_names.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace Calyx {
namespace {

TEST(MediaContainerName, DemuxersWithSeveralNamesGetOne) {
    EXPECT_EQ(MediaContainerName("mov,mp4,m4a,3gp,3g2,mj2"), "mp4");
    EXPECT_EQ(MediaContainerName("matroska,webm"), "matroska");
}

TEST(MediaContainerName, OtherDemuxersKeepTheirName) {
    EXPECT_EQ(MediaContainerName("mpegts"), "mpegts");
    EXPECT_EQ(MediaContainerName("mpeg"), "mpeg");
    EXPECT_EQ(MediaContainerName("avi"), "avi");
    EXPECT_EQ(MediaContainerName("asf"), "asf");
    EXPECT_EQ(MediaContainerName("ASF"), "asf");
    EXPECT_EQ(MediaContainerName(""), "");
}

TEST(MediaContainerName, AnUnknownNameListGivesItsFirstName) {
    EXPECT_EQ(MediaContainerName("foo,bar"), "foo");
}

TEST(MediaCodecName, PcmVariantsAreLpcm) {
    EXPECT_EQ(MediaCodecName("pcm_s16le"), "lpcm");
    EXPECT_EQ(MediaCodecName("pcm_bluray"), "lpcm");
    EXPECT_EQ(MediaCodecName("pcm_dvd"), "lpcm");
    EXPECT_EQ(MediaCodecName("pcm"), "pcm");
}

TEST(MediaCodecName, OtherCodecsKeepTheirNameInLowerCase) {
    EXPECT_EQ(MediaCodecName("h264"), "h264");
    EXPECT_EQ(MediaCodecName("HEVC"), "hevc");
    EXPECT_EQ(MediaCodecName("mpeg2video"), "mpeg2video");
}

TEST(KnownMediaNames, SortedAndHoldTheTableResults) {
    const auto& containers = KnownMediaContainerNames();
    const auto& codecs = KnownMediaCodecNames();
    EXPECT_TRUE(std::is_sorted(containers.begin(), containers.end()));
    EXPECT_TRUE(std::is_sorted(codecs.begin(), codecs.end()));
    for (const char* name : {"mp4", "matroska", "mpegts", "mpeg", "avi", "asf"}) {
        EXPECT_TRUE(std::binary_search(containers.begin(), containers.end(), name)) << name;
    }
    for (const char* name : {"h264", "hevc", "mpeg2video", "mpeg4", "wmv2", "aac", "lpcm", "mp3"}) {
        EXPECT_TRUE(std::binary_search(codecs.begin(), codecs.end(), name)) << name;
    }
    EXPECT_FALSE(std::binary_search(containers.begin(), containers.end(), "mov"));
}

}  // namespace
}  // namespace Calyx
