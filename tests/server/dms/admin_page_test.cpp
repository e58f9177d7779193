// The settings page's generated HTML escapes every client text.
#include <gtest/gtest.h>

#include "admin/admin_client_rows.h"
#include "admin/admin_page.h"
#include "admin_sample_clients.h"
#include "calyx/i18n.h"

namespace calyx_dms {
namespace {

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

}  // namespace
}  // namespace calyx_dms
