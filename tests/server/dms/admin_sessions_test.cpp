// Sessions and form tokens of the settings page.
#include <gtest/gtest.h>

#include <string>

#include "admin/admin_sessions.h"

namespace calyx_dms {
namespace {

TEST(AdminSessions, CookieAndFormToken) {
    AdminSessions sessions;
    const std::string token = sessions.Open();
    ASSERT_EQ(token.size(), 64u);
    AdminSession* session = sessions.Find(token);
    ASSERT_NE(session, nullptr);
    EXPECT_NE(session->csrf, token);
    EXPECT_TRUE(CsrfMatches(*session, session->csrf));
    EXPECT_FALSE(CsrfMatches(*session, ""));
    EXPECT_FALSE(CsrfMatches(*session, std::string(64, '0')));
    EXPECT_EQ(sessions.Find("nope"), nullptr);
    EXPECT_EQ(sessions.Find(""), nullptr);
    EXPECT_EQ(CookieValue(("a=1; calyx_admin=" + token + "; b=2").c_str(), "calyx_admin"), token);
    EXPECT_EQ(CookieValue("xcalyx_admin=1", "calyx_admin"), "");
    EXPECT_EQ(CookieValue(nullptr, "calyx_admin"), "");
    sessions.Close(token);
    EXPECT_EQ(sessions.Find(token), nullptr);
}

}  // namespace
}  // namespace calyx_dms
