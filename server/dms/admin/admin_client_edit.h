// The settings page's changes to the client list, each applied and saved at once so the
// client's next request follows it.
#ifndef CALYX_DMS_ADMIN_CLIENT_EDIT_H
#define CALYX_DMS_ADMIN_CLIENT_EDIT_H

#include <string>

#include "calyx/client_list.h"

namespace calyx_dms {

struct ClientChange {
    enum class Kind { kProfile, kAllow, kDeny, kRemove } kind = Kind::kProfile;
    std::string profile;  // kProfile: the chosen profile; "" = the automatic match
};

// Applies `change` to the entry of `mac` and saves the list to `path`. False with `error`
// set when there is no such entry or the save failed.
bool ChangeClient(Calyx::DMSClientList& list, const std::string& path, const std::string& mac,
                  const ClientChange& change, std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_CLIENT_EDIT_H
