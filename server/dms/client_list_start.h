// The client list calls that change as the library grows, kept in one place: loading at
// first start and taking over the edits another program (the settings tool) saved.
#ifndef CALYX_DMS_CLIENT_LIST_START_H
#define CALYX_DMS_CLIENT_LIST_START_H

#include <string>

#include "calyx/client_list.h"

namespace calyx_dms {

// Loads the client list at `clientListPath` (a missing file is a first start: empty
// list) and the identification records of `profileListPath`. False with `error` set when
// a file exists but cannot be read.
bool StartClientList(Calyx::DMSClientList& list, const std::string& clientListPath,
                     const std::string& profileListPath, std::string& error);

// Takes the user's decisions ("isAccess", "profileName_UserSelected") of every entry of
// the file at `path` into `list`, so edits saved by another program apply at once and
// survive the next save. False when the file cannot be read.
bool TakeOverSavedEdits(Calyx::DMSClientList& list, const std::string& path);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENT_LIST_START_H
