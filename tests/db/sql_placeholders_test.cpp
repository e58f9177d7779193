// Renumbering placeholders: only $n outside quotes, comments and names moves.
#include <string>

#include <gtest/gtest.h>

#include "calyx/media_db.h"

namespace {

// The shifted text, or "<refused>".
std::string Shift(const std::string& sql, size_t shift, size_t count) {
    std::string out = "<untouched>";
    return Calyx::ShiftPlaceholders(sql, shift, count, out) ? out : "<refused>";
}

TEST(SqlPlaceholders, EveryPlaceholderMovesByTheShift) {
    EXPECT_EQ(Shift("id = $1", 3, 1), "id = $4");
    EXPECT_EQ(Shift("(a, b) > ($2, $1) AND c = $2", 10, 2), "(a, b) > ($12, $11) AND c = $12");
    EXPECT_EQ(Shift("x = $1", 0, 1), "x = $1");
    EXPECT_EQ(Shift("id IN ($1,$2,$3,$4,$5,$6,$7,$8,$9,$10)", 5, 10),
              "id IN ($6,$7,$8,$9,$10,$11,$12,$13,$14,$15)");
    EXPECT_EQ(Shift("no values", 7, 0), "no values");
    EXPECT_EQ(Shift("id = $1::bigint", 1, 1), "id = $2::bigint");
}

TEST(SqlPlaceholders, QuotesCommentsAndNamesKeepTheirDollars) {
    EXPECT_EQ(Shift("path !~* E'.*\\.mkv$' AND id = $1", 1, 1),
              "path !~* E'.*\\.mkv$' AND id = $2");
    EXPECT_EQ(Shift("t = 'it''s $1' AND id = $1", 1, 1), "t = 'it''s $1' AND id = $2");
    // In E'...' a backslash escapes the quote: the literal goes on past it.
    EXPECT_EQ(Shift("t = E'a\\' $1' AND id = $1", 1, 1), "t = E'a\\' $1' AND id = $2");
    // Without the E prefix a backslash is a plain byte (standard-conforming strings).
    EXPECT_EQ(Shift("t = 'a\\' AND id = $1", 1, 1), "t = 'a\\' AND id = $2");
    // A name ending in e before a quote is no E prefix.
    EXPECT_EQ(Shift("name'\\' = $1", 1, 1), "name'\\' = $2");
    EXPECT_EQ(Shift("\"col$1\" = $1 AND a$1 = 0", 1, 1), "\"col$1\" = $2 AND a$1 = 0");
    EXPECT_EQ(Shift("x = $1 -- $1\n AND y = 0", 2, 1), "x = $3 -- $1\n AND y = 0");
    EXPECT_EQ(Shift("x = /* $1 /* $2 */ $3 */ $1", 2, 1), "x = /* $1 /* $2 */ $3 */ $3");
    EXPECT_EQ(Shift("x = $q$ $1 $q$ AND y = $$ $1 $$ AND z = $1", 1, 1),
              "x = $q$ $1 $q$ AND y = $$ $1 $$ AND z = $2");
}

TEST(SqlPlaceholders, PlaceholderBeyondTheValuesOrAValueUnusedIsRefused) {
    EXPECT_EQ(Shift("id = $2", 0, 1), "<refused>");
    EXPECT_EQ(Shift("id = $0", 0, 1), "<refused>");
    EXPECT_EQ(Shift("id = $1", 0, 2), "<refused>");
    EXPECT_EQ(Shift("id = 1", 0, 1), "<refused>");
    EXPECT_EQ(Shift("t = '$1'", 0, 1), "<refused>");
    EXPECT_EQ(Shift("id = $99999999999999999999", 0, 1), "<refused>");
    std::string out = "kept";
    EXPECT_FALSE(Calyx::ShiftPlaceholders("id = $2", 0, 1, out));
    EXPECT_EQ(out, "kept");
}

TEST(SqlPlaceholders, UnclosedQuotesAndCommentsRunToTheEnd) {
    EXPECT_EQ(Shift("id = $1 AND t = 'open $2", 0, 1), "id = $1 AND t = 'open $2");
    EXPECT_EQ(Shift("id = $1 /* open $2", 1, 1), "id = $2 /* open $2");
    EXPECT_EQ(Shift("id = $1 AND $tag$ open $2", 1, 1), "id = $2 AND $tag$ open $2");
    EXPECT_EQ(Shift("id = $1 AND t = E'\\", 1, 1), "id = $2 AND t = E'\\");
}

}  // namespace
