// UPnP duration, date and thumbnail size.
#include <gtest/gtest.h>

#include <climits>
#include <utility>

#include "calyx/host.h"
#include "support/host_fixtures.h"

using namespace calyx_test;

namespace {

std::pair<int, int> Thumbnail(int width, int height, int maxSide) {
    int outWidth = -12345;
    int outHeight = -12345;
    Calyx::DMSGetThumbnailRes(width, height, &outWidth, &outHeight, maxSide);
    return {outWidth, outHeight};
}

}  // namespace

TEST(DMSFormatUPNPDuration, HoursMinutesSeconds) {
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(3725), "1:02:05.000");
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(0), "0:00:00.000");
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(59), "0:00:59.000");
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(36000 + 59 * 60 + 1), "10:59:01.000");
}

TEST(DMSFormatUPNPDuration, HoursWrapAtSixty) {
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(216000), "0:00:00.000");
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(61 * 3600), "1:00:00.000");
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(59 * 3600 + 3599), "59:59:59.000");
}

TEST(DMSFormatUPNPDuration, NegativeAndExtremeInputsUseTruncatingDivision) {
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(-3725), "-1:-2:-5.000");
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(-1), "0:00:-1.000");
    // INT_MAX = 596523 h 14 min 7 s; 596523 mod 60 = 3.
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(INT_MAX), "3:14:07.000");
    EXPECT_EQ(Calyx::DMSFormatUPNPDuration(INT_MIN), "-3:-14:-8.000");
}

TEST(DMSFormatUPNPDate, EveryBlankBecomesT) {
    EXPECT_EQ(Calyx::DMSFormatUPNPDate("2012-05-06 07:08:09"), "2012-05-06T07:08:09");
    EXPECT_EQ(Calyx::DMSFormatUPNPDate(" a b  c "), "TaTbTTcT");
    EXPECT_EQ(Calyx::DMSFormatUPNPDate("2012-05-06"), "2012-05-06");
    EXPECT_EQ(Calyx::DMSFormatUPNPDate(""), "");
    // Only blanks are replaced, not tabs.
    EXPECT_EQ(Calyx::DMSFormatUPNPDate("a\tb"), "a\tb");
}

TEST(DMSFormatUPNPDate, NullIsBadParameter) {
    SyslogCapture capture;
    EXPECT_EQ(Calyx::DMSFormatUPNPDate(nullptr), "");
    EXPECT_EQ(CountContaining(capture.Stop(), "dmsutils:"), 1u);
}

TEST(DMSGetThumbnailRes, WithinLimitKeepsSize) {
    EXPECT_EQ(Thumbnail(100, 80, 160), std::make_pair(100, 80));
    EXPECT_EQ(Thumbnail(160, 160, 160), std::make_pair(160, 160));
    EXPECT_EQ(Thumbnail(161, 160, 160), std::make_pair(160, 160));
}

TEST(DMSGetThumbnailRes, LandscapeAndPortrait) {
    EXPECT_EQ(Thumbnail(1920, 1080, 160), std::make_pair(160, 90));
    EXPECT_EQ(Thumbnail(1080, 1920, 160), std::make_pair(90, 160));
}

TEST(DMSGetThumbnailRes, OddScaledSideIsRaisedToEven) {
    // 160 x 0.333 = 53.28, truncated to 53, raised to 54.
    EXPECT_EQ(Thumbnail(1000, 333, 160), std::make_pair(160, 54));
    EXPECT_EQ(Thumbnail(333, 1000, 160), std::make_pair(54, 160));
}

TEST(DMSGetThumbnailRes, SquareOverOddLimitGetsWiderByOne) {
    EXPECT_EQ(Thumbnail(1000, 1000, 159), std::make_pair(160, 159));
}

TEST(DMSGetThumbnailRes, ComputedInSinglePrecision) {
    // The reference computes maxSide x (height / width) in single precision too.
    for (int height = 1; height < 3000; height += 7) {
        float scaled = 160.0f * (static_cast<float>(height) / 3001.0f);
        int expected = static_cast<int>(scaled);
        expected += expected % 2;
        EXPECT_EQ(Thumbnail(3001, height, 160), std::make_pair(160, expected)) << height;
    }
}

TEST(DMSGetThumbnailRes, NegativeInputsStayDefined) {
    // 5 x (-7 / 10) = -3.5, truncated to -3, odd, raised to -2.
    EXPECT_EQ(Thumbnail(10, -7, 5), std::make_pair(5, -2));
    // Both sides within a negative limit? No: 0 > -1, so the height side is fixed and
    // the width is -1 x (0 / 0), NaN, which converts to 0.
    EXPECT_EQ(Thumbnail(0, 0, -1), std::make_pair(0, -1));
    // -7 x (-5 / 0) = +infinity saturates to INT_MAX, whose evening wraps to INT_MIN.
    EXPECT_EQ(Thumbnail(0, -5, -7), std::make_pair(-7, INT_MIN));
    EXPECT_EQ(Thumbnail(INT_MIN, INT_MIN, INT_MIN), std::make_pair(INT_MIN, INT_MIN));
}

TEST(DMSGetThumbnailRes, HugeInputsStayDefined) {
    // INT_MAX - 1 and both sides round to 2^31 in single precision: the scaled side
    // overflows int and saturates, as the appliance's conversion does.
    EXPECT_EQ(Thumbnail(INT_MAX, INT_MAX - 1, INT_MAX - 1), std::make_pair(INT_MAX - 1, INT_MIN));
    EXPECT_EQ(Thumbnail(INT_MAX, 1, 160), std::make_pair(160, 0));
    EXPECT_EQ(Thumbnail(1, INT_MAX, 159), std::make_pair(0, 159));
    EXPECT_EQ(Thumbnail(INT_MAX, INT_MAX, INT_MAX), std::make_pair(INT_MAX, INT_MAX));
}

TEST(DMSGetThumbnailRes, NullOutputsAreBadParameter) {
    int out = 7;
    SyslogCapture capture;
    Calyx::DMSGetThumbnailRes(1920, 1080, nullptr, &out, 160);
    Calyx::DMSGetThumbnailRes(1920, 1080, &out, nullptr, 160);
    EXPECT_EQ(CountContaining(capture.Stop(), "Bad parameter"), 2u);
    EXPECT_EQ(out, 7);
}
