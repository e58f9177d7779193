#include "clients/client_cap.h"

namespace calyx_dms {

bool IsUndecided(const Json::Value& entry, bool denyNewClients) {
    if (!entry.isObject() || entry.isMember("profileName_UserSelected"))
        return false;
    const Json::Value& access = entry["isAccess"];
    return !access.isBool() || access.asBool() == !denyNewClients;
}

std::vector<std::string> EntriesBeyondCap(const Json::Value& document, size_t cap,
                                          bool denyNewClients) {
    std::vector<std::string> drop;
    if (!document.isObject() || !document["ClientList"].isArray())
        return drop;
    const Json::Value& entries = document["ClientList"];
    if (entries.size() <= cap)
        return drop;
    size_t excess = entries.size() - cap;
    for (const Json::Value& entry : entries) {
        if (drop.size() == excess)
            break;
        if (IsUndecided(entry, denyNewClients) && entry["macAddr"].isString())
            drop.push_back(entry["macAddr"].asString());
    }
    return drop;
}

ClientCap::ClientCap(Calyx::DMSClientList& list, size_t cap) : list_(list), cap_(cap) {
    Enforce();
}

size_t ClientCap::Enforce() {
    const Json::Value document = Calyx::ClientListDocument(list_);
    const size_t entries = document["ClientList"].isArray() ? document["ClientList"].size() : 0;
    if (entries <= cap_) {
        count_ = entries;
        return 0;
    }
    // A twentieth below the cap, so the next copy waits for that many new clients.
    const size_t target = cap_ - cap_ / 20;
    size_t dropped = 0;
    for (const std::string& mac : EntriesBeyondCap(document, target, list_.m_denyNewClients))
        dropped += static_cast<size_t>(Calyx::ClientListRemove(list_, mac));
    count_ = entries - dropped;
    return dropped;
}

void ClientCap::OnNewEntry() {
    if (++count_ > cap_)
        Enforce();
}

}  // namespace calyx_dms
