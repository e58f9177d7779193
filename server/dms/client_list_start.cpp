#include "client_list_start.h"

#include <set>

#include "calyx/ext.h"

namespace calyx_dms {

bool StartClientList(Calyx::DMSClientList& list, const std::string& clientListPath,
                     const std::string& profileListPath, std::string& error) {
    if (!Calyx::ClientListStartUp(list, clientListPath, profileListPath)) {
        error = "cannot load the profile list " + profileListPath;
        return false;
    }
    return true;
}

namespace {

// The "macAddr" texts of a document's entries.
std::set<std::string> MacsOf(const Json::Value& document) {
    std::set<std::string> macs;
    const Json::Value& entries =
        document.isObject() ? document["ClientList"] : Json::Value::nullSingleton();
    if (entries.isArray())
        for (const Json::Value& entry : entries)
            if (entry.isObject() && entry["macAddr"].isString())
                macs.insert(entry["macAddr"].asString());
    return macs;
}

}  // namespace

bool TakeOverSavedEdits(Calyx::DMSClientList& list, const std::string& path,
                        const Json::Value& lastWritten) {
    Json::Value saved;
    if (!Calyx::ReadJsonFile(path, saved, nullptr) || !saved.isObject())
        return false;
    const Json::Value& entries = saved["ClientList"];
    if (!entries.isArray())
        return false;
    const std::set<std::string> onDisk = MacsOf(saved);
    for (const std::string& mac : MacsOf(lastWritten))
        if (onDisk.count(mac) == 0)
            Calyx::ClientListRemove(list, mac);
    for (const Json::Value& entry : entries) {
        if (!entry.isObject() || !entry["macAddr"].isString())
            continue;
        const std::string mac = entry["macAddr"].asString();
        Json::Value current;
        if (!Calyx::ClientListEntry(list, mac, current))
            continue;
        for (const char* key : {"isAccess", "profileName_UserSelected"}) {
            const Json::Value& value = entry.isMember(key) ? entry[key] : Json::Value();
            const Json::Value& now = current.isMember(key) ? current[key] : Json::Value();
            if (!(value == now))
                Calyx::ClientListSetMember(list, mac, key, value);
        }
    }
    return true;
}

}  // namespace calyx_dms
