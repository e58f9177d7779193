#include "client_list_start.h"

#include <sys/stat.h>

#include "calyx/ext.h"

namespace calyx_dms {

bool StartClientList(Calyx::DMSClientList& list, const std::string& clientListPath,
                     const std::string& profileListPath, std::string& error) {
    struct stat st;
    if (stat(clientListPath.c_str(), &st) == 0) {
        if (!list.Load(clientListPath, profileListPath)) {
            error = "cannot load " + clientListPath + " with " + profileListPath;
            return false;
        }
        return true;
    }
    if (!list.LoadProfileIDList(profileListPath)) {
        error = "cannot load the profile list " + profileListPath;
        return false;
    }
    return true;
}

bool TakeOverSavedEdits(Calyx::DMSClientList& list, const std::string& path) {
    Json::Value saved;
    if (!Calyx::ReadJsonFile(path, saved, nullptr) || !saved.isObject())
        return false;
    const Json::Value& entries = saved["ClientList"];
    if (!entries.isArray())
        return false;
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
