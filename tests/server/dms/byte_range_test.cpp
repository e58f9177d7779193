// Byte ranges of media requests.
#include <gtest/gtest.h>

#include "http/byte_range.h"

namespace calyx_dms {
namespace {

TEST(ByteRange, FirstAndLast) {
    ByteRange r = ParseByteRange("bytes=10-19", 100);
    EXPECT_EQ(r.result, ByteRange::kPart);
    EXPECT_EQ(r.first, 10);
    EXPECT_EQ(r.length, 10);
}

TEST(ByteRange, OpenEndAndPastTheEnd) {
    ByteRange r = ParseByteRange("bytes=90-", 100);
    EXPECT_EQ(r.result, ByteRange::kPart);
    EXPECT_EQ(r.first, 90);
    EXPECT_EQ(r.length, 10);
    r = ParseByteRange("bytes=90-5000", 100);
    EXPECT_EQ(r.length, 10);
}

TEST(ByteRange, Suffix) {
    ByteRange r = ParseByteRange("bytes=-30", 100);
    EXPECT_EQ(r.result, ByteRange::kPart);
    EXPECT_EQ(r.first, 70);
    EXPECT_EQ(r.length, 30);
    r = ParseByteRange("bytes=-500", 100);
    EXPECT_EQ(r.first, 0);
    EXPECT_EQ(r.length, 100);
    EXPECT_EQ(ParseByteRange("bytes=-0", 100).result, ByteRange::kUnsatisfiable);
}

TEST(ByteRange, Unsatisfiable) {
    EXPECT_EQ(ParseByteRange("bytes=100-", 100).result, ByteRange::kUnsatisfiable);
    EXPECT_EQ(ParseByteRange("bytes=0-", 0).result, ByteRange::kUnsatisfiable);
    EXPECT_EQ(ParseByteRange("bytes=999999999999999999-", 100).result, ByteRange::kUnsatisfiable);
}

TEST(ByteRange, IgnoredHeadersServeTheWholeFile) {
    for (const char* header : {"", "items=0-1", "bytes=5-2", "bytes=a-b", "bytes=", "bytes=-",
                               "bytes=1-x", "bytes 0-1", "bytes=99999999999999999999-"}) {
        ByteRange r = ParseByteRange(header, 100);
        EXPECT_EQ(r.result, ByteRange::kWhole) << header;
        EXPECT_EQ(r.length, 100) << header;
    }
}

TEST(ByteRange, FirstOfSeveralRanges) {
    ByteRange r = ParseByteRange("bytes=0-9, 20-29", 100);
    EXPECT_EQ(r.result, ByteRange::kPart);
    EXPECT_EQ(r.length, 10);
}

}  // namespace
}  // namespace calyx_dms
