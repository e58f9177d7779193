// Extension: match reports, entry access and saving to any path for DMSClientList, built
// on the matcher and the save that DMSClientList itself uses.
#include <string.h>

#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/ext.h"
#include "client/client_list_json.h"
#include "client/client_list_matcher.h"
#include "client/client_list_save.h"
#include "client/client_list_state.h"

namespace Calyx {
namespace detail {

// The one door through which the extensions reach the list's private members.
struct ClientListAccess {
    static pthread_mutex_t& Mutex(DMSClientList& list) { return list.m_mutex; }
    static Json::Value& Root(DMSClientList& list) { return list.m_root; }
    static const std::vector<IdentificationRecord>& Records(const DMSClientList& list) {
        return list.m_state->records;
    }
};

}  // namespace detail

namespace {

using detail::ClientListAccess;

// Holds the list's mutex for a scope.
class ListLock {
public:
    explicit ListLock(DMSClientList& list) : lock_(&ClientListAccess::Mutex(list)) {}

private:
    detail::MutexLock lock_;
};

// The entry of `mac` while the lock is held. The position comes from VerifyMacIsExist
// (which takes the lock itself); entries are only ever appended, never moved, so the
// position stays valid, and it is checked again under the lock.
Json::Value* LockedEntry(DMSClientList& list, const std::string& mac, unsigned int index) {
    Json::Value& root = ClientListAccess::Root(list);
    if (!root.isObject())
        return nullptr;
    const Json::Value* clients = detail::FindMember(root, "ClientList");
    if (clients == nullptr || !clients->isArray() || index >= clients->size())
        return nullptr;
    Json::Value& entry = root["ClientList"][index];
    const Json::Value* stored = detail::FindMember(entry, "macAddr");
    if (stored == nullptr || !stored->isString() || stored->asString() != mac)
        return nullptr;
    return &entry;
}

}  // namespace

std::vector<ProfileIDStep> ExplainOrigProfileName(const DMSClientList& list,
                                                  const Json::Value& entry) {
    std::vector<ProfileIDStep> steps;
    try {
        // The records LoadProfileIDList prepared, which UpdateKeys matches against.
        const std::vector<detail::IdentificationRecord>& records = ClientListAccess::Records(list);
        for (const detail::RecordVerdict& verdict : detail::ExplainMatches(records, entry)) {
            ProfileIDStep step;
            step.profileName = verdict.record->profileName;
            step.matched = verdict.matched;
            if (!verdict.matched && verdict.failure.rule != nullptr) {
                step.failedKey = verdict.failure.rule->key;
                step.required = verdict.failure.rule->needle;
                step.clientHasKey = verdict.failure.keyPresent;
                step.clientValue = verdict.failure.clientValue;
            }
            steps.push_back(std::move(step));
        }
    } catch (const std::exception&) {
        steps.clear();
    }
    return steps;
}

Json::Value ClientListDocument(DMSClientList& list) {
    ListLock lock(list);
    try {
        return ClientListAccess::Root(list);
    } catch (const std::exception&) {
        return Json::Value();
    }
}

bool ClientListEntry(DMSClientList& list, const std::string& mac, Json::Value& entry) {
    unsigned int index = 0;
    if (!list.VerifyMacIsExist(mac, index))
        return false;
    ListLock lock(list);
    try {
        const Json::Value* found = LockedEntry(list, mac, index);
        if (found == nullptr)
            return false;
        entry = *found;
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

int ClientListSetMember(DMSClientList& list, const std::string& mac, const std::string& key,
                        const Json::Value& value) {
    // The identity keys feed the list's position index; they are not edited here.
    if (key == "macAddr" || key == "ipAddr")
        return 0;
    unsigned int index = 0;
    if (!list.VerifyMacIsExist(mac, index))
        return 0;
    ListLock lock(list);
    try {
        Json::Value* entry = LockedEntry(list, mac, index);
        if (entry == nullptr)
            return 0;
        if (value.isNull())
            entry->removeMember(key);
        else
            (*entry)[key] = value;
        std::string profileName;
        list.DetermineProfileName(*entry, profileName);
        (*entry)["profileName"] = profileName;
        return 1;
    } catch (const std::exception&) {
        return 0;
    }
}

int ClientListWriteTo(DMSClientList& list, const std::string& path, std::string* error) {
    ListLock lock(list);
    // The save of WriteToFile, with its report, to another path.
    int failure = 0;
    if (detail::SaveClientDocument(path, ClientListAccess::Root(list), &failure) == 1)
        return 1;
    if (error != nullptr)
        *error = strerror(failure);
    return 0;
}

}  // namespace Calyx
