#include "admin/admin_client_edit.h"

#include "calyx/client_list.h"

namespace calyx_dms {

namespace {

// Removes the entry of `mac` from a client list document, found as the list finds it.
bool RemoveEntry(Json::Value& document, const std::string& mac) {
    const Json::Value* entry = Calyx::ClientDocumentEntry(document, mac);
    if (!entry)
        return false;
    Json::Value& entries = document["ClientList"];
    for (Json::ArrayIndex i = 0; i < entries.size(); ++i)
        if (&entries[i] == entry) {
            Json::Value removed;
            return entries.removeIndex(i, &removed);
        }
    return false;
}

bool EditDocument(const Calyx::DMSClientList& list, Json::Value& document, const std::string& mac,
                  const ClientChange& change) {
    switch (change.kind) {
        case ClientChange::Kind::kProfile:
            return Calyx::EditClientEntry(
                list, document, mac, "profileName_UserSelected",
                change.profile.empty() ? Json::Value() : Json::Value(change.profile));
        case ClientChange::Kind::kAllow:
        case ClientChange::Kind::kDeny:
            return Calyx::EditClientEntry(list, document, mac, "isAccess",
                                          Json::Value(change.kind == ClientChange::Kind::kAllow));
        case ClientChange::Kind::kRemove:
            return RemoveEntry(document, mac);
    }
    return false;
}

}  // namespace

bool ChangeClient(Calyx::DMSClientList& list, const std::string& path, const std::string& mac,
                  const ClientChange& change, std::string& error) {
    // One locked step: other writers' edits are merged from the file first, then this
    // change is applied on top, so the page's change (the newest) wins.
    bool found = false;
    int saved = Calyx::ClientListApply(list, path, [&](Json::Value& document) {
        found = EditDocument(list, document, mac, change);
        return found;
    });
    if (!found)
        error = "no client with MAC " + mac;
    else if (saved != 1)
        error = "cannot save " + path;
    return found && saved == 1;
}

}  // namespace calyx_dms
