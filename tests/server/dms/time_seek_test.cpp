// The TimeSeekRange.dlna.org header of transcoded streams.
#include <gtest/gtest.h>

#include "transcode/time_seek.h"

namespace calyx_dms {
namespace {

TEST(TimeSeek, SecondsAndClockTimes) {
    TimeSeek seek;
    ASSERT_TRUE(ParseTimeSeek("npt=30-", seek));
    EXPECT_DOUBLE_EQ(seek.start, 30);
    EXPECT_LT(seek.end, 0);
    ASSERT_TRUE(ParseTimeSeek("npt=12.5-20.25", seek));
    EXPECT_DOUBLE_EQ(seek.start, 12.5);
    EXPECT_DOUBLE_EQ(seek.end, 20.25);
    ASSERT_TRUE(ParseTimeSeek(" npt=1:02:03.500-1:02:04", seek));
    EXPECT_DOUBLE_EQ(seek.start, 3723.5);
    EXPECT_DOUBLE_EQ(seek.end, 3724);
    ASSERT_TRUE(ParseTimeSeek("npt=0:00:00-", seek));
    EXPECT_DOUBLE_EQ(seek.start, 0);
}

TEST(TimeSeek, RefusesWhatIsNotATimeRange) {
    TimeSeek seek;
    for (const char* bad :
         {"", "npt", "npt=", "npt=-10", "npt=10", "bytes=0-", "npt=a-", "npt=10-5", "npt=10-10",
          "npt=1:60:00-", "npt=1:00:60-", "npt=1.5:00:00-", "npt=10-x", "npt=+1-", "npt=1e3-",
          "npt=10- 20", "npt=1234567890-"}) {
        EXPECT_FALSE(ParseTimeSeek(bad, seek)) << bad;
    }
}

TEST(TimeSeek, Answer) {
    EXPECT_EQ(FormatTimeSeek(30, -1, 40.02), "npt=30.000-40.020/40.020");
    EXPECT_EQ(FormatTimeSeek(12.021, 20, 40), "npt=12.021-20.000/40.000");
    EXPECT_EQ(FormatTimeSeek(5, -1, 0), "npt=5.000-/*");
}

}  // namespace
}  // namespace calyx_dms
