// The kept answers of Browse and Search: found while the index keeps its update id, within
// their byte bound, least recently used out first; and the key of a client's profile.
#include <gtest/gtest.h>

#include "upnp/answer_cache.h"
#include "upnp/kept_listing.h"
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

TEST(AnswerCache, KeepsAWholeListingOfUpToHalfItsBound) {
    AnswerCache cache(64 * 1024);
    KeptAnswer listing = AnswerOf(30 * 1024);
    listing.objectEnds = {10 * 1024, 20 * 1024, 30 * 1024};
    EXPECT_TRUE(cache.Store("listing", 1, listing));
    EXPECT_NE(cache.Find("listing", 1), nullptr);
    KeptAnswer larger = AnswerOf(33 * 1024);
    larger.objectEnds = {33 * 1024};
    EXPECT_FALSE(cache.Store("larger", 1, larger));
    EXPECT_EQ(cache.Find("larger", 1), nullptr);
}

// A document of `objects` as DidlWriter writes one: the opening, the objects, the closing.
struct Document {
    std::string text;
    size_t objectsStart = 0;
    std::vector<size_t> objectEnds;
};

Document DocumentOf(const std::vector<std::string>& objects) {
    Document document;
    document.text = "<DIDL-Lite xmlns=\"urn:x\">";
    document.objectsStart = document.text.size();
    for (const std::string& object : objects) {
        document.text += object;
        document.objectEnds.push_back(document.text.size());
    }
    document.text += "</DIDL-Lite>";
    return document;
}

std::string Joined(const ResultPieces& pieces) {
    return std::string(pieces.opening) + pieces.shared->substr(pieces.offset, pieces.length) +
           std::string(pieces.closing);
}

TEST(KeptListing, EveryPageIsTheEscapedDocumentOfItsObjects) {
    const std::vector<std::string> objects = {
        "<item id=\"m1\"><dc:title>Rock &amp; Roll</dc:title></item>",
        "<container id=\"d2\"><dc:title>a &lt; b</dc:title></container>",
        "<item id=\"m3\"><dc:title>say &quot;hi&quot;</dc:title></item>",
        "<item id=\"m4\"><dc:title>plain</dc:title></item>"};
    const Document whole = DocumentOf(objects);
    const KeptAnswer listing =
        KeptListingOf(whole.text, whole.objectsStart, whole.objectEnds, 4, 17);
    EXPECT_EQ(*listing.result, *EscapedArgumentText(whole.text));
    EXPECT_EQ(listing.returned, 4);
    EXPECT_EQ(listing.total, 4);
    EXPECT_EQ(listing.updateId, 17);
    for (long long offset = 0; offset <= 5; ++offset) {
        for (long long limit = 1; limit <= 5; ++limit) {
            const long long first = std::min<long long>(offset, 4);
            const long long last = std::min<long long>(4, first + limit);
            const Document page = DocumentOf(
                std::vector<std::string>(objects.begin() + first, objects.begin() + last));
            long long returned = -1;
            const ResultPieces pieces = PageOfListing(listing, offset, limit, returned);
            EXPECT_EQ(returned, last - first) << offset << " " << limit;
            EXPECT_EQ(Joined(pieces), *EscapedArgumentText(page.text)) << offset << " " << limit;
        }
    }
}

TEST(KeptListing, AListingOfNoObjectsGivesEmptyPages) {
    const Document empty = DocumentOf({});
    const KeptAnswer listing =
        KeptListingOf(empty.text, empty.objectsStart, empty.objectEnds, 0, 1);
    long long returned = -1;
    EXPECT_EQ(Joined(PageOfListing(listing, 0, 10, returned)), *EscapedArgumentText(empty.text));
    EXPECT_EQ(returned, 0);
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
