// Reaching a client list from outside its methods: entry access, edits, removal, saving to
// any path, a second writer's edits and the first start, built on the index and the save
// that DMSClientList itself uses.
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "calyx/client_list.h"
#include "calyx/core.h"
#include "client/client_list_access.h"
#include "client/client_list_persist.h"
#include "client/client_list_state.h"
#include "dmsutils/json_values.h"

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

// The position of the entry of `mac` while the lock is held, found by the list's index
// with VerifyMacIsExist's answer (entries can be removed, so a position found before
// locking could be stale).
bool LockedPosition(DMSClientList& list, const std::string& mac, unsigned int& index) {
    Json::Value& root = ClientListAccess::Root(list);
    if (!root.isObject())
        return false;
    const Json::Value* clients = detail::FindMember(root, "ClientList");
    unsigned pos = 0;
    if (clients == nullptr || !clients->isArray() ||
        !ClientListAccess::State(list).index.FindMac(mac, pos) || pos >= clients->size())
        return false;
    index = pos;
    return true;
}

// The entry of `mac` while the lock is held; null when there is none.
Json::Value* LockedEntry(DMSClientList& list, const std::string& mac) {
    unsigned int index = 0;
    if (!LockedPosition(list, mac, index))
        return nullptr;
    return &ClientListAccess::Root(list)["ClientList"][index];
}

void RebuildIndexLocked(DMSClientList& list) {
    ClientListAccess::State(list).index.Rebuild(
        detail::FindMember(ClientListAccess::Root(list), "ClientList"));
}

}  // namespace

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
        const Json::Value* found = LockedEntry(list, mac);
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
    Error failure;
    try {
        if (detail::SaveClientListLocked(list, path, nullptr, &failure.errorNumber) == 1)
            return 1;
    } catch (const std::exception&) {
        failure.errorNumber = ENOMEM;
    }
    if (error != nullptr) {
        try {
            failure.message = strerror(failure.errorNumber);
            *error = failure.message;
        } catch (const std::exception&) {  // no memory for the reason: the result stands
        }
    }
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

bool RemoveClientEntry(Json::Value& document, const std::string& mac) {
    const Json::Value* entry = ClientDocumentEntry(document, mac);
    if (entry == nullptr)
        return false;
    try {
        Json::Value& clients = document["ClientList"];
        for (Json::ArrayIndex i = 0; i < clients.size(); ++i) {
            if (&clients[i] == entry) {
                Json::Value removed;
                return clients.removeIndex(i, &removed);
            }
        }
    } catch (const std::exception&) {
    }
    return false;
}

int ClientListRemove(DMSClientList& list, const std::string& mac) {
    ListLock lock(list);
    const bool removed = RemoveClientEntry(ClientListAccess::Root(list), mac);
    try {
        // Every later entry moved up one place.
        if (removed)
            RebuildIndexLocked(list);
    } catch (const std::exception&) {
    }
    return removed ? 1 : 0;
}

bool ClientListStartUp(DMSClientList& list, const std::string& clientListPath,
                       const std::string& profileListPath) {
    try {
        struct stat st;
        if (stat(clientListPath.c_str(), &st) != 0 && errno == ENOENT) {
            // A fresh box: an empty list, saved by the first WriteToFile.
            Json::Value document(Json::objectValue);
            document["ClientList"] = Json::Value(Json::arrayValue);
            ListLock lock(list);
            ClientListAccess::Root(list).swap(document);
            RebuildIndexLocked(list);
        } else {
            // Unreadable or unparsable: logged by the loader, and the host goes on.
            list.LoadClientList(clientListPath);
        }
        return list.LoadProfileIDList(profileListPath) != 0;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace Calyx
