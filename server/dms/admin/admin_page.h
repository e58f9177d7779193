// The settings page's HTML, generated with every text from the client list escaped: client
// data (names, addresses, profiles) is attacker-controlled and must only ever be text.
#ifndef CALYX_DMS_ADMIN_PAGE_H
#define CALYX_DMS_ADMIN_PAGE_H

#include <time.h>

#include <string>
#include <vector>

#include "admin/admin_client_rows.h"
#include "calyx/i18n.h"

namespace calyx_dms {

// The media library as the settings page shows it.
struct LibraryPanel {
    bool shown = false;                            // false: this server serves no media folders
    long long music = -1, video = -1, photo = -1;  // items of each type; -1: unknown
    std::string scan;                              // the scan under way ("": none), as text
    time_t lastChange = 0;                         // when the index last changed; 0: never
};

struct ClientsPageView {
    std::vector<ClientRow> rows;        // the page's rows, already filtered and sorted
    std::vector<std::string> profiles;  // names for the drop-down, in list order
    std::string sort;
    std::string filter;
    std::string csrf;
    std::string notice;
    bool denyNewClients = false;
    LibraryPanel library;
    size_t page = 1;   // which page of rows this is (from 1)
    size_t pages = 1;  // how many there are
    size_t total = 0;  // rows on all pages
};

std::string RenderLoginPage(const Calyx::DMSStringBundle& texts, const std::string& notice);
std::string RenderClientsPage(const Calyx::DMSStringBundle& texts, const ClientsPageView& view);
// A short page for a refused change (expired form, not logged in).
std::string RenderMessagePage(const Calyx::DMSStringBundle& texts, const std::string& message);

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_PAGE_H
