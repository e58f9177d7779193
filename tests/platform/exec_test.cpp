#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>

#include "calyx/platform.h"
#include "support/test_support.h"

TEST(QLIBCExec, SuccessIsZero) {
    EXPECT_EQ(QLIBCExec("/bin/true", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(QLIBCExec, FailureIsWaitStatus) {
    int status = QLIBCExec("/bin/false", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST(QLIBCExec, MissingProgramIsMinusOne) {
    EXPECT_EQ(
        QLIBCExec("/nonexistent/program", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
        -1);
    EXPECT_EQ(QLIBCExec(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
}

TEST(QLIBCExec, ArgumentsPassedVerbatimUpToFirstNull) {
    calyx_test::TempDir dir;
    std::string target = dir.file("a \"b\" $c `d`");
    // touch gets exactly one argument: the later slots are ignored after the null.
    EXPECT_EQ(QLIBCExec("/usr/bin/touch", target.c_str(), nullptr, "/should/not/exist", nullptr,
                        nullptr, nullptr),
              0);
    EXPECT_TRUE(calyx_test::FileExists(target));
    EXPECT_FALSE(calyx_test::FileExists("/should/not/exist"));
}
