// Salted password hashes of the settings page.
#include <gtest/gtest.h>

#include <string>

#include "admin/password_hash.h"

namespace calyx_dms {
namespace {

TEST(PasswordHash, SaltedSha512) {
    const std::string a = MakePasswordHash("s3cret");
    const std::string b = MakePasswordHash("s3cret");
    ASSERT_EQ(a.compare(0, 3, "$6$"), 0);
    EXPECT_NE(a, b);  // a fresh salt each time
    EXPECT_EQ(a.find("s3cret"), std::string::npos);
    EXPECT_TRUE(PasswordMatches("s3cret", a));
    EXPECT_TRUE(PasswordMatches("s3cret", b));
    EXPECT_FALSE(PasswordMatches("s3cret ", a));
    EXPECT_FALSE(PasswordMatches("", a));
    // Only SHA-512 hashes count: no DES, no plain text, nothing empty.
    EXPECT_FALSE(PasswordMatches("s3cret", "s3cret"));
    EXPECT_FALSE(PasswordMatches("", ""));
    EXPECT_FALSE(IsPasswordHash("abJnggxhB/yWI"));
}

}  // namespace
}  // namespace calyx_dms
