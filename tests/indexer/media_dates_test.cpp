// Dates and orientations as the index records them.
#include <gtest/gtest.h>

#include "indexer/media_dates.h"

namespace calyx_test {
namespace {

using namespace calyx_indexer;

TEST(MediaDates, TagDatesBecomeIndexDates) {
    EXPECT_EQ(IndexDateOfTag("2019-05-06"), "2019-05-06 00:00:00");
    EXPECT_EQ(IndexDateOfTag("2019-05-06T07:08:09.000000Z"), "2019-05-06 07:08:09");
    EXPECT_EQ(IndexDateOfTag("2019-05-06 07:08:09"), "2019-05-06 07:08:09");
    EXPECT_EQ(IndexDateOfTag("2019"), "");
    EXPECT_EQ(IndexDateOfTag("2019-05-06x"), "");
    EXPECT_EQ(IndexDateOfTag("May 2019"), "");
    EXPECT_EQ(YearOfTag("2019"), 2019);
    EXPECT_EQ(YearOfTag("2019-05-06"), 2019);
    EXPECT_EQ(YearOfTag("19"), 0);
    EXPECT_EQ(YearOfTag(""), 0);
}

TEST(MediaDates, ExifDatesAndOrientations) {
    EXPECT_EQ(IndexDateOfExif("2021:03:04 05:06:07"), "2021-03-04 05:06:07");
    EXPECT_EQ(IndexDateOfExif("2021:03:04"), "");
    EXPECT_EQ(IndexDateOfExif("    :  :     :  :  "), "");
    EXPECT_EQ(RotationOfExifOrientation(1), 0);
    EXPECT_EQ(RotationOfExifOrientation(3), 180);
    EXPECT_EQ(RotationOfExifOrientation(6), 90);
    EXPECT_EQ(RotationOfExifOrientation(8), 270);
    EXPECT_EQ(RotationOfExifOrientation(0), 0);
}

}  // namespace
}  // namespace calyx_test
