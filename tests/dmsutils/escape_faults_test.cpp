// The SQL escaping when the platform's literal escaping fails: this test supplies its
// own platform operations instead of the portable layer.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "calyx/core.h"
#include "calyx/platform.h"

namespace {
int gEscapeCalls = 0;
int gBackslashCalls = 0;
}  // namespace

extern "C" char* ZEVODBEscapeStrAlloc(const char*) {
    ++gEscapeCalls;
    return nullptr;
}

extern "C" int ZEVODBEscapeBackslash(char* out, int size, const char* text) {
    ++gBackslashCalls;
    snprintf(out, static_cast<size_t>(size), "%s", text);
    return 0;
}

TEST(SQLEscapeFailure, FailedEscapingGivesEmptyString) {
    EXPECT_EQ(Calyx::SQLEscapeString("it's"), "");
    EXPECT_EQ(gEscapeCalls, 1);
}

TEST(SQLEscapeFailure, ConditionWorksOnTheEmptyString) {
    int before = gBackslashCalls;
    EXPECT_EQ(Calyx::SQLEscapeCondition("a\\b"), "");
    EXPECT_EQ(gBackslashCalls, before + 1);
}
