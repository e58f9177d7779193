#include "clients/client_list_trim.h"

#include "clients/client_cap.h"

namespace calyx_dms {

int TrimClientList(Calyx::DMSClientList& list, const std::string& path,
                   const IdentificationHeaders& filter, size_t cap) {
    int changed = 0;
    const bool denyNew = list.m_denyNewClients;
    const int saved = Calyx::ClientListApply(list, path, [&](Json::Value& document) {
        changed = 0;
        if (!document.isObject() || !document.isMember("ClientList") ||
            !document["ClientList"].isArray())
            return false;
        for (Json::Value& entry : document["ClientList"]) {
            const Json::Value& access = entry.isObject()
                                            ? static_cast<const Json::Value&>(entry)["isAccess"]
                                            : Json::Value::nullSingleton();
            const bool allowed = access.isBool() ? access.asBool() : !denyNew;
            if (filter.TrimEntry(entry, allowed))
                ++changed;
        }
        for (const std::string& mac : EntriesBeyondCap(document, cap, denyNew))
            if (Calyx::RemoveClientEntry(document, mac))
                ++changed;
        return changed > 0;
    });
    if (saved == 0 && changed > 0)
        return -1;
    return saved ? changed : 0;
}

}  // namespace calyx_dms
