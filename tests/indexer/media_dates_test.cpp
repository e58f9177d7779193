// Dates and orientations as the index records them; the MIME table.
#include <gtest/gtest.h>

#include "indexer.h"
#include "media_dates.h"

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

TEST(MimeTable, ByContainerAndKindAndForPhotosByCodec) {
    EXPECT_EQ(MediaMimeType("video", "mp4", "h264"), "video/mp4");
    EXPECT_EQ(MediaMimeType("music", "mp4", ""), "audio/mp4");
    EXPECT_EQ(MediaMimeType("video", "matroska", ""), "video/x-matroska");
    EXPECT_EQ(MediaMimeType("music", "matroska", ""), "audio/x-matroska");
    EXPECT_EQ(MediaMimeType("photo", "image2", "mjpeg"), "image/jpeg");
    EXPECT_EQ(MediaMimeType("photo", "png_pipe", "png"), "image/png");
    EXPECT_EQ(MediaMimeType("playlist", "pls", ""), "audio/x-scpls");
    EXPECT_EQ(MediaMimeType("video", "nosuch", ""), "application/octet-stream");
    EXPECT_EQ(MediaMimeType("photo", "mp4", ""), "application/octet-stream");
}

}  // namespace
}  // namespace calyx_test
