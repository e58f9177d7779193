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

TEST(AdminPage, SaysThatClientsAreKeyedByTheirMac) {
    Calyx::DMSStringBundle texts("none");
    ClientsPageView view;
    EXPECT_NE(RenderClientsPage(texts, view).find("<p class=\"one-mac\">"), std::string::npos);
}

TEST(AdminPage, LibraryPanelShowsCountsScanLastChangeAndTheRescanButton) {
    Calyx::DMSStringBundle texts("none");
    ClientsPageView view;
    view.csrf = "tok";
    EXPECT_EQ(RenderClientsPage(texts, view).find("class=\"library\""), std::string::npos);
    view.library.shown = true;
    view.library.music = 12;
    view.library.video = 0;
    view.library.scan = "indexing: 3 of 7 files, in /srv/<b>";
    view.library.lastChange = 0;
    std::string html = RenderClientsPage(texts, view);
    EXPECT_NE(html.find("<dd class=\"count-music\">12</dd>"), std::string::npos);
    EXPECT_NE(html.find("<dd class=\"count-video\">0</dd>"), std::string::npos);
    EXPECT_NE(html.find("<dd class=\"count-photo\">\u2014</dd>"), std::string::npos);  // unknown
    EXPECT_NE(html.find("indexing: 3 of 7 files, in /srv/&lt;b&gt;"), std::string::npos);
    EXPECT_NE(html.find("<dd class=\"last-change\">\u2014</dd>"), std::string::npos);
    EXPECT_NE(html.find("<form method=\"post\" action=\"/rescan\"><input type=\"hidden\" "
                        "name=\"csrf\" value=\"tok\">"),
              std::string::npos);
    view.library.scan.clear();
    view.library.lastChange = 86400 * 365;
    html = RenderClientsPage(texts, view);
    EXPECT_NE(html.find("<dd class=\"scan\">no_scan</dd>"), std::string::npos);  // the text key
    EXPECT_NE(html.find("<dd class=\"last-change\">1971-01-0"), std::string::npos);
}

}  // namespace
}  // namespace calyx_dms
