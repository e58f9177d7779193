#include "client/client_list_merge.h"

#include <vector>

#include "dmsutils/json_values.h"

namespace Calyx {
namespace detail {

namespace {

const char kUserSelected[] = "profileName_UserSelected";
const char kAccess[] = "isAccess";

const Json::Value* ClientsOf(const Json::Value& document) {
    const Json::Value* clients = FindMember(document, "ClientList");
    return clients != nullptr && clients->isArray() ? clients : nullptr;
}

bool MacOf(const Json::Value& entry, std::string& mac) {
    const Json::Value* member = FindMember(entry, "macAddr");
    if (member == nullptr || !member->isString()) {
        return false;
    }
    mac = member->asString();
    return true;
}

EditableMembers EditableOf(const Json::Value& entry) {
    EditableMembers members;
    if (const Json::Value* user = FindMember(entry, kUserSelected)) {
        members.hasUserSelected = true;
        members.userSelected = *user;
    }
    if (const Json::Value* access = FindMember(entry, kAccess)) {
        members.hasAccess = true;
        members.access = *access;
    }
    return members;
}

// Takes member `key` from disk into `entry` when disk's differs from what it was.
bool TakeIfEditedOnDisk(Json::Value& entry, const char* key, bool wasPresent,
                        const Json::Value& was, bool isPresent, const Json::Value& is) {
    if (wasPresent == isPresent && (!isPresent || was == is)) {
        return false;
    }
    if (isPresent) {
        entry[key] = is;
    } else {
        entry.removeMember(key);
    }
    return true;
}

}  // namespace

EditableBaseline BaselineOf(const Json::Value& document) {
    EditableBaseline baseline;
    const Json::Value* clients = ClientsOf(document);
    if (clients == nullptr) {
        return baseline;
    }
    baseline.reserve(clients->size());
    std::string mac;
    for (const Json::Value& entry : *clients) {
        if (MacOf(entry, mac)) {
            baseline.emplace(mac, EditableOf(entry));
        }
    }
    return baseline;
}

bool MergeEditsFromDisk(Json::Value& memory, const Json::Value& disk,
                        const EditableBaseline& baseline, const ProfileNameRule& profileName) {
    if (ClientsOf(memory) == nullptr) {
        return false;
    }
    Json::Value& clients = memory["ClientList"];
    const EditableBaseline onDisk = BaselineOf(disk);
    static const EditableMembers kNone;
    bool changed = false;
    std::vector<Json::ArrayIndex> removed;
    std::string mac;
    for (Json::ArrayIndex i = 0; i < clients.size(); ++i) {
        Json::Value& entry = clients[i];
        if (!MacOf(entry, mac)) {
            continue;
        }
        auto is = onDisk.find(mac);
        auto was = baseline.find(mac);
        if (is == onDisk.end()) {
            if (was != baseline.end()) {
                removed.push_back(i);  // removed on disk since the last load or save
            }
            continue;
        }
        const EditableMembers& before = was != baseline.end() ? was->second : kNone;
        bool edited =
            TakeIfEditedOnDisk(entry, kUserSelected, before.hasUserSelected, before.userSelected,
                               is->second.hasUserSelected, is->second.userSelected);
        edited |= TakeIfEditedOnDisk(entry, kAccess, before.hasAccess, before.access,
                                     is->second.hasAccess, is->second.access);
        if (edited) {
            std::string name;
            profileName(entry, name);
            entry["profileName"] = name;
            changed = true;
        }
    }
    for (auto i = removed.rbegin(); i != removed.rend(); ++i) {
        Json::Value gone;
        clients.removeIndex(*i, &gone);
        changed = true;
    }
    return changed;
}

}  // namespace detail
}  // namespace Calyx
