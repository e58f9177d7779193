// The client list calls that change as the library grows, kept in one place: loading at
// first start and taking over the edits another program (the settings tool) saved.
#ifndef CALYX_DMS_CLIENT_LIST_START_H
#define CALYX_DMS_CLIENT_LIST_START_H

#include <string>

#include "calyx/client_list.h"

namespace calyx_dms {

// Loads the client list at `clientListPath` (a missing file is a first start: empty
// list; an unreadable one is logged and starts empty too) and the identification records
// of `profileListPath`. False with `error` set when the profile list cannot be read.
bool StartClientList(Calyx::DMSClientList& list, const std::string& clientListPath,
                     const std::string& profileListPath, std::string& error);

// Takes the user's decisions of the file at `path` into `list`, so edits saved by another
// program apply at once and survive the next save: "isAccess" and
// "profileName_UserSelected" of every entry, and the removal of entries that were in
// `lastWritten` (the document this server saved last) but are no longer in the file.
// False when the file cannot be read.
bool TakeOverSavedEdits(Calyx::DMSClientList& list, const std::string& path,
                        const Json::Value& lastWritten);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENT_LIST_START_H
