// The kept answers of Browse and Search: found while the index keeps its update id, within
// their byte bound, least recently used out first; and the key of a client's profile.
#include <gtest/gtest.h>

#include "upnp/answer_cache.h"
#include "upnp/page_walks.h"
#include "upnp/result_hand_over.h"

namespace calyx_dms {
namespace {

KeptAnswer AnswerOf(size_t bytes, long long returned = 1) {
    KeptAnswer answer;
    answer.result = std::make_shared<const std::string>(bytes, 'x');
    answer.returned = returned;
    return answer;
}

TEST(AnswerCache, FindsWhatItKeptUnderTheSameUpdateId) {
    AnswerCache cache(1 << 20);
    EXPECT_EQ(cache.Find("a", 5), nullptr);
    cache.Store("a", 5, AnswerOf(100, 7));
    auto found = cache.Find("a", 5);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->returned, 7);
    EXPECT_EQ(found->result->size(), 100u);
    EXPECT_EQ(cache.Find("b", 5), nullptr);
}

TEST(AnswerCache, DropsEverythingOnceTheUpdateIdMoves) {
    AnswerCache cache(1 << 20);
    cache.Store("a", 5, AnswerOf(100));
    EXPECT_EQ(cache.Find("a", 6), nullptr);
    EXPECT_EQ(cache.size(), 0u);
    EXPECT_EQ(cache.bytes(), 0u);
    // An answer made under the id before is not kept any more.
    cache.Store("a", 5, AnswerOf(100));
    EXPECT_EQ(cache.Find("a", 6), nullptr);
    // One made under a newer id replaces all.
    cache.Store("b", 6, AnswerOf(100));
    cache.Store("c", 7, AnswerOf(100));
    EXPECT_EQ(cache.Find("b", 7), nullptr);
    EXPECT_NE(cache.Find("c", 7), nullptr);
}

TEST(AnswerCache, StaysWithinItsBoundLeastRecentlyUsedOutFirst) {
    const size_t bound = 64 * 1024;
    AnswerCache cache(bound);
    for (int i = 0; i < 3; ++i)
        cache.Store("k" + std::to_string(i), 1, AnswerOf(12 * 1024));
    ASSERT_NE(cache.Find("k0", 1), nullptr);  // k1 is now the least recently used
    for (int i = 3; i < 6; ++i)
        cache.Store("k" + std::to_string(i), 1, AnswerOf(12 * 1024));
    EXPECT_LE(cache.bytes(), bound);
    EXPECT_EQ(cache.Find("k1", 1), nullptr);
    EXPECT_NE(cache.Find("k0", 1), nullptr);
    EXPECT_NE(cache.Find("k5", 1), nullptr);
    // Kept again under the same key: counted once.
    const size_t before = cache.bytes();
    cache.Store("k5", 1, AnswerOf(12 * 1024));
    EXPECT_EQ(cache.bytes(), before);
}

TEST(AnswerCache, KeepsNoAnswerLargerThanAQuarterOfItsBoundAndNothingWhenOff) {
    AnswerCache cache(64 * 1024);
    cache.Store("big", 1, AnswerOf(17 * 1024));
    EXPECT_EQ(cache.Find("big", 1), nullptr);
    AnswerCache off(0);
    off.Store("a", 1, AnswerOf(10));
    EXPECT_EQ(off.Find("a", 1), nullptr);
}

TEST(AnswerCache, ProfileKeysDifferByEveryEffect) {
    Calyx::DMSClientChecker plain("agent", "", true);
    const std::string base = ProfileEffectsKey(plain);
    EXPECT_EQ(ProfileEffectsKey(Calyx::DMSClientChecker("agent", "", true)), base);
    Calyx::DMSClientChecker musicOnly("agent", "", true);
    musicOnly.m_isMusicOnly = true;
    EXPECT_NE(ProfileEffectsKey(musicOnly), base);
    Calyx::DMSClientChecker option("agent", "", true);
    option.m_capability = 4;
    EXPECT_NE(ProfileEffectsKey(option), base);
    Calyx::DMSClientChecker offend("agent", "", true);
    offend.m_offendChars = "&";
    EXPECT_NE(ProfileEffectsKey(offend), base);
    Calyx::DMSClientChecker named("agent", "", true);
    named.m_profileName = "another";
    EXPECT_NE(ProfileEffectsKey(named), base);
}

TEST(PageWalks, APageThatStartsWhereTheClientsLastEndedContinuesItsWalk) {
    PageWalks walks;
    EXPECT_FALSE(walks.Answered("a", "folder", 0, 10));  // the start is no step
    EXPECT_TRUE(walks.Answered("a", "folder", 10, 10));
    EXPECT_TRUE(walks.Answered("a", "folder", 20, 5));
    EXPECT_FALSE(walks.Answered("a", "folder", 40, 10));  // out of order
    EXPECT_TRUE(walks.Answered("a", "folder", 50, 10));
    // Another client, or another listing, walks on its own.
    EXPECT_FALSE(walks.Answered("b", "folder", 60, 10));
    EXPECT_FALSE(walks.Answered("a", "other", 60, 10));
    EXPECT_TRUE(walks.Answered("a", "folder", 60, 10));
}

TEST(ResultHandOver, EscapesAsTheStackEscapesArguments) {
    std::string out = "kept:";
    AppendArgumentText(out, "a&b<c>d\"e'f\xc3\xa9g");
    EXPECT_EQ(out, "kept:a&amp;b&lt;c&gt;d&quot;e'f\xc3\xa9g");
    EXPECT_EQ(*EscapedArgumentText(""), "");
    EXPECT_EQ(*EscapedArgumentText("<<&&>>"), "&lt;&lt;&amp;&amp;&gt;&gt;");
    EXPECT_EQ(*EscapedArgumentText("plain"), "plain");
}

}  // namespace
}  // namespace calyx_dms
