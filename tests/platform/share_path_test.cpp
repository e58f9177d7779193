#include <gtest/gtest.h>

#include <string>

#include "calyx/ext.h"
#include "calyx/platform.h"
#include "support/test_support.h"

TEST(ZEVOSharePathGet, LooksUpSharesConf) {
    calyx_test::ScopedRoot root;
    root.write("/usr/zevo/etc/shares.conf", "music=/volume1/music\nempty=\n");
    char buf[64];
    EXPECT_EQ(ZEVOSharePathGet("music", buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "/volume1/music");
    EXPECT_NE(ZEVOSharePathGet("video", buf, sizeof buf), 0);
    EXPECT_NE(ZEVOSharePathGet("empty", buf, sizeof buf), 0);
    EXPECT_NE(ZEVOSharePathGet("", buf, sizeof buf), 0);
    EXPECT_NE(ZEVOSharePathGet(nullptr, buf, sizeof buf), 0);
}

TEST(ZEVOSharePathGet, NoSharesFileMeansNoShares) {
    calyx_test::ScopedRoot root;
    char buf[64];
    EXPECT_NE(ZEVOSharePathGet("music", buf, sizeof buf), 0);
}

TEST(ResolveFixedPath, PrefixesRootWhenSet) {
    {
        calyx_test::ScopedEnv env("CALYX_ROOT", "/tmp/tree");
        EXPECT_EQ(Calyx::ResolveFixedPath("/proc/net/arp"), "/tmp/tree/proc/net/arp");
    }
    {
        calyx_test::ScopedEnv env("CALYX_ROOT", "");
        EXPECT_EQ(Calyx::ResolveFixedPath("/proc/net/arp"), "/proc/net/arp");
    }
    {
        calyx_test::ScopedEnv env("CALYX_ROOT", nullptr);
        EXPECT_EQ(Calyx::ResolveFixedPath("/proc/cpuinfo"), "/proc/cpuinfo");
    }
}

TEST(ZEVODBEscape, DoublesQuotesAndBackslashes) {
    char* escaped = ZEVODBEscapeStrAlloc("a'b\\c''");
    ASSERT_NE(escaped, nullptr);
    EXPECT_STREQ(escaped, "a''b\\c''''");
    free(escaped);
    EXPECT_EQ(ZEVODBEscapeStrAlloc(nullptr), nullptr);

    char out[16];
    EXPECT_EQ(ZEVODBEscapeBackslash(out, sizeof out, "a\\b'"), 0);
    EXPECT_STREQ(out, "a\\\\b'");
    // Never more than the buffer, and a doubled pair is never split.
    char small[3];
    EXPECT_EQ(ZEVODBEscapeBackslash(small, sizeof small, "a\\"), 0);
    EXPECT_STREQ(small, "a");
    EXPECT_LT(ZEVODBEscapeBackslash(nullptr, 4, "x"), 0);
}
