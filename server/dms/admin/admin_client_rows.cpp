#include "admin/admin_client_rows.h"

#include <algorithm>

#include "calyx/core.h"

namespace calyx_dms {

namespace {

std::string Text(const Json::Value& entry, const char* key) {
    const Json::Value& value = entry[key];
    return value.isString() ? value.asString() : "";
}

// The value a row is sorted by, compared as text (times as zero-padded numbers).
std::string SortValue(const ClientRow& row, const std::string& key) {
    if (key == "name")
        return Calyx::StringToLower(row.name);
    if (key == "mac")
        return Calyx::StringToLower(row.mac);
    if (key == "ip")
        return row.ip;
    if (key == "profile")
        return Calyx::StringToLower(row.profile);
    if (key == "choice")
        return Calyx::StringToLower(row.choice);
    if (key == "access")
        return row.allowed ? "1" : "0";
    char seen[32];
    snprintf(seen, sizeof seen, "%020lld", static_cast<long long>(row.lastSeen));
    return seen;
}

}  // namespace

const std::vector<std::string>& ClientSortKeys() {
    static const std::vector<std::string> keys = {"name",   "mac",    "ip",  "profile",
                                                  "choice", "access", "seen"};
    return keys;
}

std::vector<ClientRow> ClientRows(const Json::Value& document,
                                  const std::map<std::string, time_t>& lastSeen,
                                  bool denyNewClients) {
    std::vector<ClientRow> rows;
    if (!document.isObject() || !document["ClientList"].isArray())
        return rows;
    for (const Json::Value& entry : document["ClientList"]) {
        if (!entry.isObject() || !entry["macAddr"].isString())
            continue;
        ClientRow row;
        row.name = Text(entry, "displayName");
        row.mac = Text(entry, "macAddr");
        row.ip = Text(entry, "ipAddr");
        row.profile = Text(entry, "profileName_Orig");
        row.choice = Text(entry, "profileName_UserSelected");
        row.allowed = entry["isAccess"].isBool() ? entry["isAccess"].asBool() : !denyNewClients;
        auto seen = lastSeen.find(row.mac);
        row.lastSeen = seen == lastSeen.end() ? 0 : seen->second;
        rows.push_back(row);
    }
    return rows;
}

void FilterRows(std::vector<ClientRow>& rows, const std::string& filter) {
    const std::string wanted = Calyx::StringToLower(filter);
    if (wanted.empty())
        return;
    auto misses = [&wanted](const ClientRow& row) {
        for (const std::string* field : {&row.name, &row.mac, &row.ip, &row.profile, &row.choice})
            if (Calyx::StringToLower(*field).find(wanted) != std::string::npos)
                return false;
        return true;
    };
    rows.erase(std::remove_if(rows.begin(), rows.end(), misses), rows.end());
}

void SortRows(std::vector<ClientRow>& rows, const std::string& sort) {
    const bool descending = !sort.empty() && sort[0] == '-';
    const std::string key = descending ? sort.substr(1) : sort;
    const auto& keys = ClientSortKeys();
    if (std::find(keys.begin(), keys.end(), key) == keys.end())
        return;
    std::stable_sort(rows.begin(), rows.end(),
                     [&key, descending](const ClientRow& a, const ClientRow& b) {
                         const std::string x = SortValue(a, key), y = SortValue(b, key);
                         return descending ? y < x : x < y;
                     });
}

}  // namespace calyx_dms
