// The settings page's client rows: one per entry with a MAC address, filter and sort.
#include <gtest/gtest.h>

#include "admin/admin_client_rows.h"
#include "admin_sample_clients.h"

namespace calyx_dms {
namespace {

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

}  // namespace
}  // namespace calyx_dms
