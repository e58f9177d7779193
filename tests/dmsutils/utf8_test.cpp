#include "calyx/utf8.h"

#include <gtest/gtest.h>

namespace Calyx {
namespace {

const std::string kReplacement = "\xEF\xBF\xBD";

TEST(Utf8SequenceLength, ValidSequencesOfEachLength) {
    EXPECT_EQ(Utf8SequenceLength("a", 0), 1u);
    EXPECT_EQ(Utf8SequenceLength("\xC3\xA9", 0), 2u);          // é
    EXPECT_EQ(Utf8SequenceLength("\xE2\x99\xAA", 0), 3u);      // ♪
    EXPECT_EQ(Utf8SequenceLength("\xF0\x9F\x8E\xB5", 0), 4u);  // U+1F3B5
    EXPECT_EQ(Utf8SequenceLength("x\xC3\xA9", 1), 2u);
}

TEST(Utf8SequenceLength, InvalidSequencesAreZero) {
    EXPECT_EQ(Utf8SequenceLength("", 0), 0u);
    EXPECT_EQ(Utf8SequenceLength("a", 1), 0u);                 // past the end
    EXPECT_EQ(Utf8SequenceLength("\x80", 0), 0u);              // stray continuation
    EXPECT_EQ(Utf8SequenceLength("\xC0\xAF", 0), 0u);          // overlong
    EXPECT_EQ(Utf8SequenceLength("\xE0\x80\xAF", 0), 0u);      // overlong
    EXPECT_EQ(Utf8SequenceLength("\xED\xA0\x80", 0), 0u);      // surrogate
    EXPECT_EQ(Utf8SequenceLength("\xF4\x90\x80\x80", 0), 0u);  // above U+10FFFF
    EXPECT_EQ(Utf8SequenceLength("\xF5\x80\x80\x80", 0), 0u);
    EXPECT_EQ(Utf8SequenceLength("\xE2\x99", 0), 0u);      // cut short
    EXPECT_EQ(Utf8SequenceLength("\xE2\x41\xAA", 0), 0u);  // bad continuation
}

TEST(ValidUtf8, ValidTextIsUnchanged) {
    const std::string text = "Caf\xC3\xA9 \xE2\x99\xAA \xF0\x9F\x8E\xB5 plain";
    EXPECT_EQ(ValidUtf8(text), text);
    EXPECT_EQ(ValidUtf8(""), "");
}

TEST(ValidUtf8, EachInvalidByteBecomesOneReplacement) {
    EXPECT_EQ(ValidUtf8("Caf\xE9"), "Caf" + kReplacement);
    EXPECT_EQ(ValidUtf8("\xC0\xAF"), kReplacement + kReplacement);
    EXPECT_EQ(ValidUtf8("a\xE2\x99"), "a" + kReplacement + kReplacement);
    EXPECT_EQ(ValidUtf8("\xFF\xC3\xA9"), kReplacement + "\xC3\xA9");
}

}  // namespace
}  // namespace Calyx
