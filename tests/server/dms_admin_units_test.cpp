// The settings page's parts that need no network: rows, filter and sort, the generated
// HTML's escaping, sessions and form tokens, password hashes, the configuration edit.
#include <gtest/gtest.h>

#include <fstream>

#include "admin_client_rows.h"
#include "admin_page.h"
#include "admin_sessions.h"
#include "config_setting.h"
#include "password_hash.h"
#include "support/test_support.h"

namespace calyx_dms {
namespace {

Json::Value Document() {
    Json::Value document(Json::objectValue);
    Json::Value& list = document["ClientList"];
    Json::Value a(Json::objectValue);
    a["macAddr"] = "aa:00:00:00:00:01";
    a["ipAddr"] = "10.0.0.9";
    a["displayName"] = "Living Room";
    a["profileName_Orig"] = "Sony Bravia 4K";
    a["isAccess"] = true;
    list.append(a);
    Json::Value b(Json::objectValue);
    b["macAddr"] = "aa:00:00:00:00:02";
    b["ipAddr"] = "10.0.0.10";
    b["displayName"] = "<img src=x onerror=alert(1)>";
    b["profileName_Orig"] = "Default Profile";
    b["profileName_UserSelected"] = "Kodi";
    list.append(b);
    Json::Value noMac(Json::objectValue);
    noMac["displayName"] = "no address";
    list.append(noMac);
    return document;
}

TEST(AdminRows, OneRowPerEntryWithAMac) {
    std::map<std::string, time_t> seen = {{"aa:00:00:00:00:02", 1700000000}};
    std::vector<ClientRow> rows = ClientRows(Document(), seen, false);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].name, "Living Room");
    EXPECT_EQ(rows[0].profile, "Sony Bravia 4K");
    EXPECT_EQ(rows[0].choice, "");
    EXPECT_EQ(rows[0].lastSeen, 0);
    EXPECT_EQ(rows[1].choice, "Kodi");
    EXPECT_EQ(rows[1].lastSeen, 1700000000);
    // Without "isAccess" the row follows the policy for new clients, as the server does.
    EXPECT_TRUE(rows[1].allowed);
    EXPECT_FALSE(ClientRows(Document(), seen, true)[1].allowed);
}

TEST(AdminRows, FilterMatchesAnyColumnInAnyCase) {
    std::vector<ClientRow> rows = ClientRows(Document(), {}, false);
    FilterRows(rows, "LIVING");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].mac, "aa:00:00:00:00:01");
    rows = ClientRows(Document(), {}, false);
    FilterRows(rows, "kodi");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].mac, "aa:00:00:00:00:02");
}

TEST(AdminRows, SortsAscendingDescendingOrKeepsListOrder) {
    std::vector<ClientRow> rows = ClientRows(Document(), {}, false);
    SortRows(rows, "-mac");
    EXPECT_EQ(rows[0].mac, "aa:00:00:00:00:02");
    SortRows(rows, "ip");  // text order: "10.0.0.10" before "10.0.0.9"
    EXPECT_EQ(rows[0].mac, "aa:00:00:00:00:02");
    SortRows(rows, "name");  // "<" sorts before letters
    EXPECT_EQ(rows[0].mac, "aa:00:00:00:00:02");
    SortRows(rows, "-name");
    EXPECT_EQ(rows[0].mac, "aa:00:00:00:00:01");
    SortRows(rows, "bogus");
    EXPECT_EQ(rows[0].mac, "aa:00:00:00:00:01");
}

TEST(AdminPage, ClientTextIsEscapedEverywhere) {
    Calyx::DMSStringBundle texts("none");
    ClientsPageView view;
    view.rows = ClientRows(Document(), {}, false);
    view.profiles = {"Kodi", "A \"quoted\" <profile>"};
    view.filter = "\"><script>";
    view.csrf = "abc";
    const std::string html = RenderClientsPage(texts, view);
    EXPECT_EQ(html.find("<img"), std::string::npos);
    EXPECT_EQ(html.find("<script"), std::string::npos);
    EXPECT_NE(html.find("&lt;img src=x onerror=alert(1)&gt;"), std::string::npos);
    EXPECT_NE(html.find("A &quot;quoted&quot; &lt;profile&gt;"), std::string::npos);
    EXPECT_NE(html.find("<option value=\"Kodi\" selected>"), std::string::npos);
    EXPECT_NE(html.find("name=\"viewport\""), std::string::npos);
    EXPECT_NE(html.find("\u2014"), std::string::npos);  // never seen since the start
}

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

TEST(ConfigSetting, ReplacesTheLineOrAppendsOne) {
    calyx_test::TempDir dir;
    const std::string path = dir.path() + "/calyx-dms.conf";
    {
        std::ofstream out(path);
        out << "# settings\nport = 8200\n  deny-new-clients=false\ndeny-new-clients-x = 1\n";
    }
    std::string error;
    ASSERT_TRUE(SaveConfigSetting(path, "deny-new-clients", "true", error)) << error;
    EXPECT_EQ(calyx_test::ReadFile(path),
              "# settings\nport = 8200\ndeny-new-clients = true\ndeny-new-clients-x = 1\n");
    ASSERT_TRUE(SaveConfigSetting(path, "language", "ger", error)) << error;
    EXPECT_EQ(calyx_test::ReadFile(path),
              "# settings\nport = 8200\ndeny-new-clients = true\n"
              "deny-new-clients-x = 1\nlanguage = ger\n");
    EXPECT_FALSE(SaveConfigSetting(dir.path() + "/missing.conf", "a", "b", error));
    EXPECT_NE(error.find("missing.conf"), std::string::npos);
}

}  // namespace
}  // namespace calyx_dms
