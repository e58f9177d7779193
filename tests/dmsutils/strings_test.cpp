#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calyx/core.h"
#include "support/test_support.h"

using calyx_test::SyslogCapture;
using Pieces = std::vector<std::string>;
using testing::HasSubstr;

namespace {

// strtok_r over a NUL-terminated copy: the splitter's defining behaviour.
Pieces ReferenceExplode(const std::string& s, const std::string& delims) {
    Pieces pieces;
    std::string copy = s.c_str();
    char* state = nullptr;
    for (char* t = strtok_r(&copy[0], delims.c_str(), &state); t != nullptr;
         t = strtok_r(nullptr, delims.c_str(), &state)) {
        pieces.emplace_back(t);
    }
    return pieces;
}

}  // namespace

TEST(StringIsNumeric, EmptyIsNeverNumeric) {
    EXPECT_FALSE(Calyx::StringIsNumeric("", false));
    EXPECT_FALSE(Calyx::StringIsNumeric("", true));
}

TEST(StringIsNumeric, LoneSignsAreAccepted) {
    EXPECT_TRUE(Calyx::StringIsNumeric("+", false));
    EXPECT_TRUE(Calyx::StringIsNumeric("-", true));
    EXPECT_FALSE(Calyx::StringIsNumeric("-", false));
}

TEST(StringIsNumeric, MinusOnlyWhenAllowed) {
    EXPECT_FALSE(Calyx::StringIsNumeric("-5", false));
    EXPECT_TRUE(Calyx::StringIsNumeric("-5", true));
}

TEST(StringIsNumeric, SignsOnlyFirst) {
    for (bool allow : {false, true}) {
        EXPECT_FALSE(Calyx::StringIsNumeric("5-", allow));
        EXPECT_FALSE(Calyx::StringIsNumeric("+-5", allow));
        EXPECT_FALSE(Calyx::StringIsNumeric("1 2", allow));
        EXPECT_TRUE(Calyx::StringIsNumeric("0123456789", allow));
        EXPECT_TRUE(Calyx::StringIsNumeric("+42", allow));
    }
}

TEST(StringIsNumeric, NoLengthLimit) {
    EXPECT_TRUE(Calyx::StringIsNumeric(std::string(1 << 20, '9'), false));
    std::string almost(1 << 20, '9');
    almost.back() = 'x';
    EXPECT_FALSE(Calyx::StringIsNumeric(almost, false));
}

TEST(StringReplace, ReplacesEveryOccurrence) {
    EXPECT_EQ(Calyx::StringReplace("aXbXc", "X", "--"), "a--b--c");
}

TEST(StringReplace, NoOccurrenceKeepsText) {
    EXPECT_EQ(Calyx::StringReplace("abc", "z", "q"), "abc");
}

TEST(StringReplace, LeftToRightNonOverlapping) {
    EXPECT_EQ(Calyx::StringReplace("aaa", "aa", "b"), "ba");
}

TEST(StringReplace, ReplacementIsNotSearchedAgain) {
    EXPECT_EQ(Calyx::StringReplace("aaa", "a", "aa"), "aaaaaa");
}

TEST(StringReplace, EmptyPatternLeavesTextUnchanged) {
    EXPECT_EQ(Calyx::StringReplace("abc", "", "x"), "abc");
}

TEST(StringReplace, LongInput) {
    std::string src;
    for (int i = 0; i < (1 << 20) / 4; ++i) {
        src += "ab\xff,";
    }
    std::string out = Calyx::StringReplace(src, ",", ";;");
    EXPECT_EQ(out.size(), src.size() + src.size() / 4);
    EXPECT_EQ(out.find(','), std::string::npos);
    EXPECT_EQ(Calyx::StringReplace(out, ";;", ","), src);
}

TEST(StringReplace, EveryByteValue) {
    for (int b = 0; b < 256; ++b) {
        std::string needle(1, static_cast<char>(b));
        std::string other = (b == 'x') ? "w" : "x";
        std::string src = other + needle + other + needle;
        EXPECT_EQ(Calyx::StringReplace(src, needle, "[]"), other + "[]" + other + "[]")
            << "byte " << b;
    }
}

TEST(StringImplode, KeepsEmptyElements) {
    EXPECT_EQ(Calyx::StringImplode({"a", "", "b"}, ","), "a,,b");
}

TEST(StringImplode, EmptyAndSingle) {
    EXPECT_EQ(Calyx::StringImplode({}, ","), "");
    EXPECT_EQ(Calyx::StringImplode({"only"}, ","), "only");
    EXPECT_EQ(Calyx::StringImplode({"a", "b"}, " and "), "a and b");
}

TEST(StringExplode, BlankRunsCountAsOne) {
    EXPECT_EQ(Calyx::StringExplode(" a  b ", " "), (Pieces{"a", "b"}));
}

TEST(StringExplode, DelimitersAreASet) {
    EXPECT_EQ(Calyx::StringExplode("a;b,c", ",;"), (Pieces{"a", "b", "c"}));
}

TEST(StringExplode, EmptyInputGivesNoPieces) {
    EXPECT_TRUE(Calyx::StringExplode("", ",").empty());
    EXPECT_TRUE(Calyx::StringExplode(",,,", ",").empty());
}

TEST(StringExplode, TrailingAndRepeatedDelimitersDropped) {
    EXPECT_EQ(Calyx::StringExplode("a,,b,", ","), (Pieces{"a", "b"}));
}

TEST(StringExplode, NulByteEndsTheText) {
    std::string s("a,b\0c,d", 7);
    EXPECT_EQ(Calyx::StringExplode(s, ","), (Pieces{"a", "b"}));
}

TEST(StringExplode, EmptyDelimiterSetGivesWholeText) {
    EXPECT_EQ(Calyx::StringExplode("a b", ""), (Pieces{"a b"}));
}

TEST(StringExplode, MatchesTokenizerOnEveryByteValue) {
    std::string all;
    for (int b = 1; b < 256; ++b) {
        all += static_cast<char>(b);
        all += "x";
    }
    for (int b = 1; b < 256; ++b) {
        std::string delim(1, static_cast<char>(b));
        EXPECT_EQ(Calyx::StringExplode(all, delim), ReferenceExplode(all, delim)) << "byte " << b;
    }
}

TEST(StringExplode, LongInput) {
    std::string s;
    while (s.size() < (1u << 20)) {
        s += "word \n\t,";
    }
    Pieces pieces = Calyx::StringExplode(s, " \n,");
    EXPECT_EQ(pieces, ReferenceExplode(s, " \n,"));
    EXPECT_EQ(pieces.size(), 2 * (s.size() / 8));  // "word" and the tab of every group
}

TEST(StringToLower, OnlyAsciiLettersChange) {
    EXPECT_EQ(Calyx::StringToLower("MiXeD 123 \xC3\x89"), "mixed 123 \xC3\x89");
    std::string all;
    for (int b = 0; b < 256; ++b) {
        all += static_cast<char>(b);
    }
    std::string lowered = Calyx::StringToLower(all);
    ASSERT_EQ(lowered.size(), 256u);
    for (int b = 0; b < 256; ++b) {
        int expected = (b >= 'A' && b <= 'Z') ? b + 32 : b;
        EXPECT_EQ(static_cast<unsigned char>(lowered[b]), expected);
    }
}

TEST(AddUnderscore, JoinsWordsWithUnderscore) {
    std::string out = "old";
    Calyx::AddUnderscore("  My   Music ", out);
    EXPECT_EQ(out, "My_Music");
}

TEST(AddUnderscore, TabsStayAndBlanksOnlyGiveEmpty) {
    std::string out = "old";
    Calyx::AddUnderscore("a\tb c", out);
    EXPECT_EQ(out, "a\tb_c");
    Calyx::AddUnderscore("    ", out);
    EXPECT_EQ(out, "");
}

TEST(AddUnderscore, EmptyInputIsReportedAndLeavesOutput) {
    std::string out = "unchanged";
    SyslogCapture capture;
    Calyx::AddUnderscore("", out);
    std::vector<std::string> lines = capture.Stop();
    EXPECT_EQ(out, "unchanged");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], testing::ContainsRegex("dmsutils:[0-9]+ Bad parameter"));
}
