#include <gtest/gtest.h>

#include <string>

#include "calyx/core.h"

namespace {

std::string AllBytes() {
    std::string s;
    for (int b = 0; b < 256; ++b) {
        s += static_cast<char>(b);
    }
    return s;
}

bool Unreserved(unsigned char c) {
    return isalnum(c) || c == '-' || c == '.' || c == '_';
}

}  // namespace

TEST(URLEncode, EncodesReservedCharacters) {
    EXPECT_EQ(Calyx::URLEncode("a b/c~d"), "a%20b%2Fc%7Ed");
    EXPECT_EQ(Calyx::URLEncodeNoSlash("a b/c~d"), "a%20b/c%7Ed");
}

TEST(URLEncode, Utf8ByteByByteUpperCase) {
    EXPECT_EQ(Calyx::URLEncode("\xC3\xA9"), "%C3%A9");
    EXPECT_EQ(Calyx::URLEncode(""), "");
    EXPECT_EQ(Calyx::URLEncode("A-z.0_9+"), "A-z.0_9%2B");
}

TEST(URLEncode, EveryByteValue) {
    std::string all = AllBytes();
    std::string encoded = Calyx::URLEncode(all);
    std::string expected;
    char hex[4];
    for (int b = 0; b < 256; ++b) {
        if (Unreserved(static_cast<unsigned char>(b))) {
            expected += static_cast<char>(b);
        } else {
            snprintf(hex, sizeof hex, "%%%02X", b);
            expected += hex;
        }
    }
    EXPECT_EQ(encoded, expected);
    std::string noSlash = Calyx::URLEncodeNoSlash(all);
    EXPECT_EQ(noSlash, Calyx::StringReplace(expected, "%2F", "/"));
}

TEST(URLEncode, LongInput) {
    std::string s(1 << 20, ' ');
    std::string encoded = Calyx::URLEncode(s);
    EXPECT_EQ(encoded.size(), 3u * s.size());
    EXPECT_EQ(encoded.substr(0, 6), "%20%20");
}

TEST(XMLEscape, EscapesFiveSpecialCharacters) {
    EXPECT_EQ(Calyx::XMLEscape("a<b & \"c\"", nullptr), "a&lt;b &amp; &quot;c&quot;");
    EXPECT_EQ(Calyx::XMLEscape("'>'", nullptr), "&apos;&gt;&apos;");
}

TEST(XMLEscape, DashCharactersWinOverEntities) {
    EXPECT_EQ(Calyx::XMLEscape("a/b&c", "/&"), "a-b-c");
}

TEST(XMLEscape, NulByteBecomesDashWithDashList) {
    std::string s("a\0b", 3);
    EXPECT_EQ(Calyx::XMLEscape(s, "/"), "a-b");
    EXPECT_EQ(Calyx::XMLEscape(s, nullptr), s);
}

TEST(XMLEscape, EveryByteValueAndLongInput) {
    std::string escaped = Calyx::XMLEscape(AllBytes(), nullptr);
    std::string expected;
    for (int b = 0; b < 256; ++b) {
        switch (b) {
            case '"':
                expected += "&quot;";
                break;
            case '<':
                expected += "&lt;";
                break;
            case '>':
                expected += "&gt;";
                break;
            case '\'':
                expected += "&apos;";
                break;
            case '&':
                expected += "&amp;";
                break;
            default:
                expected += static_cast<char>(b);
        }
    }
    EXPECT_EQ(escaped, expected);
    std::string big(1 << 20, '&');
    EXPECT_EQ(Calyx::XMLEscape(big, nullptr).size(), 5u * big.size());
}

TEST(SQLEscape, DoublesSingleQuotesOnly) {
    EXPECT_EQ(Calyx::SQLEscapeString("it's \\ fine"), "it''s \\ fine");
    EXPECT_EQ(Calyx::SQLEscapeString(""), "");
}

TEST(SQLEscape, ConditionQuotesFirstThenBackslashes) {
    EXPECT_EQ(Calyx::SQLEscapeCondition("a'b\\c"), "a''b\\\\c");
    EXPECT_EQ(Calyx::SQLEscapeCondition("\\'"), "\\\\''");
}

TEST(SQLEscape, EveryByteValue) {
    std::string all = AllBytes().substr(1);  // the text ends at a NUL byte
    std::string expected;
    std::string expectedCondition;
    for (char c : all) {
        expected += c;
        expectedCondition += c;
        if (c == '\'') {
            expected += c;
            expectedCondition += c;
        }
        if (c == '\\') {
            expectedCondition += c;
        }
    }
    EXPECT_EQ(Calyx::SQLEscapeString(all), expected);
    EXPECT_EQ(Calyx::SQLEscapeCondition(all), expectedCondition);
}

TEST(SQLEscape, LongInput) {
    std::string s(1 << 20, '\'');
    EXPECT_EQ(Calyx::SQLEscapeString(s).size(), 2u * s.size());
    std::string b(1 << 20, '\\');
    EXPECT_EQ(Calyx::SQLEscapeCondition(b).size(), 2u * b.size());
}
