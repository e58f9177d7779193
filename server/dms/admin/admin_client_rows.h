// The rows of the settings page's client table: one per client list entry, filtered and
// sorted as the page's address asks.
#ifndef CALYX_DMS_ADMIN_CLIENT_ROWS_H
#define CALYX_DMS_ADMIN_CLIENT_ROWS_H

#include <json/value.h>
#include <time.h>

#include <string>
#include <vector>

#include <map>

namespace calyx_dms {

struct ClientRow {
    std::string name;     // "displayName"
    std::string mac;      // "macAddr"
    std::string ip;       // "ipAddr"
    std::string profile;  // "profileName_Orig": what the automatic match chose
    std::string choice;   // "profileName_UserSelected" ("" = automatic)
    bool allowed = true;
    time_t lastSeen = 0;  // 0 = not seen since the server started
};

// The sort keys the table's headings offer, in column order.
const std::vector<std::string>& ClientSortKeys();

// Every entry of `document` that has a MAC, with its time from `lastSeen` (by MAC). An
// entry without "isAccess" is shown as the server treats it: allowed unless new clients
// are denied.
std::vector<ClientRow> ClientRows(const Json::Value& document,
                                  const std::map<std::string, time_t>& lastSeen,
                                  bool denyNewClients);

// Keeps the rows whose name, MAC, IP or profiles contain `filter` (any case).
void FilterRows(std::vector<ClientRow>& rows, const std::string& filter);

// Sorts by one of ClientSortKeys(), descending when `sort` starts with "-"; an unknown key
// keeps the list's order (the order clients were first seen).
void SortRows(std::vector<ClientRow>& rows, const std::string& sort);

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_CLIENT_ROWS_H
