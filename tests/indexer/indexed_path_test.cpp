// Indexed paths: UTF-8 kept, other bytes and "%" escaped, and back again.
#include <gtest/gtest.h>

#include "indexer/indexed_path.h"
#include "indexer/indexer.h"

namespace calyx_test {
namespace {

using calyx_indexer::DecodeIndexedPath;
using calyx_indexer::EncodeIndexedPath;

TEST(IndexedPath, Utf8IsKeptOtherBytesAndPercentAreEscaped) {
    EXPECT_EQ(EncodeIndexedPath("/media/Caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xB5.mp3"),
              "/media/Caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xB5.mp3");
    EXPECT_EQ(EncodeIndexedPath("/media/caf\xE9.mp3"), "/media/caf%E9.mp3");
    EXPECT_EQ(EncodeIndexedPath("/media/100%.mp3"), "/media/100%25.mp3");
    EXPECT_EQ(EncodeIndexedPath("/a/%E9"), "/a/%25E9");  // looks escaped, is not
    EXPECT_EQ(EncodeIndexedPath(""), "");
}

TEST(IndexedPath, InvalidSequencesAreEscapedByteByByte) {
    EXPECT_EQ(EncodeIndexedPath("\xC0\xAF"), "%C0%AF");                // overlong "/"
    EXPECT_EQ(EncodeIndexedPath("\xED\xA0\x80"), "%ED%A0%80");         // a surrogate
    EXPECT_EQ(EncodeIndexedPath("\xF4\x90\x80\x80"), "%F4%90%80%80");  // above U+10FFFF
    EXPECT_EQ(EncodeIndexedPath("a\xE2\x82"), "a%E2%82");              // cut short
    EXPECT_EQ(EncodeIndexedPath("\xFF\xFE"), "%FF%FE");
}

TEST(IndexedPath, DecodingUndoesEncodingForEveryByte) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    all += "\xC3\xA9%25%";
    const std::string indexed = EncodeIndexedPath(all);
    EXPECT_EQ(calyx_indexer::ValidUtf8(indexed), indexed);  // fit for the index
    EXPECT_EQ(DecodeIndexedPath(indexed), all);
}

TEST(IndexedPath, MalformedEscapesDecodeAsTheyStand) {
    EXPECT_EQ(DecodeIndexedPath("/a/100%"), "/a/100%");
    EXPECT_EQ(DecodeIndexedPath("/a/%G1"), "/a/%G1");
    EXPECT_EQ(DecodeIndexedPath("/a/%4"), "/a/%4");
    EXPECT_EQ(DecodeIndexedPath("/a/%4a"), "/a/J");
}

TEST(IndexedPath, TagsAreMadeValidUtf8) {
    EXPECT_EQ(calyx_indexer::ValidUtf8("Caf\xE9"), "Caf\xEF\xBF\xBD");
    EXPECT_EQ(calyx_indexer::ValidUtf8("Caf\xC3\xA9"), "Caf\xC3\xA9");
}

}  // namespace
}  // namespace calyx_test
