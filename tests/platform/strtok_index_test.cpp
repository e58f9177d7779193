// QLIBCStrTokIndex, the token cursor of the portable platform operations.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/platform.h"

namespace {

std::vector<std::string> Tokens(std::string text, const char* seps) {
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    char* cursor = buffer.data();
    std::vector<std::string> tokens;
    while (char* token = QLIBCStrTokIndex(&cursor, seps)) {
        tokens.emplace_back(token);
    }
    // The cursor rests on the end of the text once no token is left.
    EXPECT_EQ(*cursor, '\0');
    EXPECT_EQ(QLIBCStrTokIndex(&cursor, seps), nullptr);
    return tokens;
}

}  // namespace

TEST(QLIBCStrTokIndex, NonEmptyTokensInOrder) {
    EXPECT_EQ(Tokens("a;b;c", ";"), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(Tokens(";;a;;b;", ";"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Tokens("a b,c ,d", " ,"), (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_EQ(Tokens("", ";"), std::vector<std::string>{});
    EXPECT_EQ(Tokens(";;;", ";"), std::vector<std::string>{});
    EXPECT_EQ(Tokens("a;b", ""), std::vector<std::string>{"a;b"});
}

TEST(QLIBCStrTokIndex, CursorAdvancesPastTheSeparator) {
    char text[] = "one;two";
    char* cursor = text;
    char* first = QLIBCStrTokIndex(&cursor, ";");
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first, "one");
    EXPECT_EQ(cursor, text + 4);
    EXPECT_STREQ(QLIBCStrTokIndex(&cursor, ";"), "two");
    EXPECT_EQ(cursor, text + 7);
}

TEST(QLIBCStrTokIndex, NullArgumentsGiveNull) {
    char* cursor = nullptr;
    EXPECT_EQ(QLIBCStrTokIndex(&cursor, ";"), nullptr);
    EXPECT_EQ(QLIBCStrTokIndex(nullptr, ";"), nullptr);
    char text[] = "a;b";
    cursor = text;
    EXPECT_STREQ(QLIBCStrTokIndex(&cursor, nullptr), "a;b");
}
