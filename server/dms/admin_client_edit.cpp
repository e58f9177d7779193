#include "admin_client_edit.h"

#include "calyx/ext.h"

namespace calyx_dms {

bool ChangeClient(Calyx::DMSClientList& list, const std::string& path, const std::string& mac,
                  const ClientChange& change, std::string& error) {
    int found = 0;
    switch (change.kind) {
        case ClientChange::Kind::kProfile:
            found = Calyx::ClientListSetMember(
                list, mac, "profileName_UserSelected",
                change.profile.empty() ? Json::Value() : Json::Value(change.profile));
            break;
        case ClientChange::Kind::kAllow:
        case ClientChange::Kind::kDeny:
            found = Calyx::ClientListSetMember(
                list, mac, "isAccess", Json::Value(change.kind == ClientChange::Kind::kAllow));
            break;
        case ClientChange::Kind::kRemove:
            found = Calyx::ClientListRemove(list, mac);
            break;
    }
    if (!found) {
        error = "no client with MAC " + mac;
        return false;
    }
    return Calyx::ClientListWriteTo(list, path, &error) == 1;
}

}  // namespace calyx_dms
