// Extension: match reports, entry access and saving to any path for DMSClientList, built
// on the matcher and the save that DMSClientList itself uses.
#include <string.h>

#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/ext.h"
#include "client/client_list_access.h"
#include "client/client_list_json.h"
#include "client/client_list_matcher.h"
#include "client/client_list_persist.h"
#include "client/client_list_state.h"

namespace Calyx {
namespace {

using detail::ClientListAccess;

// Holds the list's mutex for a scope.
class ListLock {
public:
    explicit ListLock(DMSClientList& list) : lock_(&ClientListAccess::Mutex(list)) {}

private:
    detail::MutexLock lock_;
};

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
    ListLock lock(list);
    try {
        const Json::Value* found = ClientDocumentEntry(ClientListAccess::Root(list), mac);
        if (found == nullptr)
            return false;
        entry = *found;
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

Json::Value* ClientDocumentEntry(Json::Value& document, const std::string& mac) {
    try {
        const Json::Value* clients = detail::FindMember(document, "ClientList");
        if (clients == nullptr || !clients->isArray())
            return nullptr;
        std::string text;
        for (Json::Value& entry : document["ClientList"]) {
            const Json::Value* stored = detail::FindMember(entry, "macAddr");
            if (stored == nullptr)
                return nullptr;
            if (detail::TextOf(*stored, text) && text == mac)
                return &entry;
        }
    } catch (const std::exception&) {
    }
    return nullptr;
}

bool EraseClientEntry(Json::Value& document, const std::string& mac) {
    Json::Value* entry = ClientDocumentEntry(document, mac);
    if (entry == nullptr)
        return false;
    try {
        detail::StripToIdentity(*entry);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool EditClientEntry(const DMSClientList& list, Json::Value& document, const std::string& mac,
                     const std::string& key, const Json::Value& value) {
    // The identity keys feed the list's position index; they are not edited here.
    if (key == "macAddr" || key == "ipAddr")
        return false;
    try {
        Json::Value* entry = ClientDocumentEntry(document, mac);
        if (entry == nullptr)
            return false;
        if (value.isNull())
            entry->removeMember(key);
        else
            (*entry)[key] = value;
        std::string profileName;
        list.DetermineProfileName(*entry, profileName);
        (*entry)["profileName"] = profileName;
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

int ClientListSetMember(DMSClientList& list, const std::string& mac, const std::string& key,
                        const Json::Value& value) {
    ListLock lock(list);
    return EditClientEntry(list, ClientListAccess::Root(list), mac, key, value) ? 1 : 0;
}

int ClientListWriteTo(DMSClientList& list, const std::string& path, std::string* error) {
    ListLock lock(list);
    // The save of WriteToFile, with its report, to another path.
    int failure = 0;
    try {
        if (detail::SaveClientListLocked(list, path, nullptr, &failure) == 1)
            return 1;
    } catch (const std::exception&) {
        failure = ENOMEM;
    }
    if (error != nullptr)
        *error = strerror(failure);
    return 0;
}

int ClientListApply(DMSClientList& list, const std::string& path, const ClientListEdit& edit) {
    ListLock lock(list);
    try {
        return detail::SaveClientListLocked(list, path, &edit, nullptr);
    } catch (const std::exception&) {  // out of memory, or thrown by the edit
        return 0;
    }
}

}  // namespace Calyx
