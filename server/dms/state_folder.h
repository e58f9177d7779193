// Where the server keeps its state: the private database cluster, thumbnails, and by
// default its log.
#ifndef CALYX_DMS_STATE_FOLDER_H
#define CALYX_DMS_STATE_FOLDER_H

#include <string>

namespace calyx_dms {

// The state folder when --state-dir is not given: $STATE_DIRECTORY (set by systemd's
// StateDirectory=, so /var/lib/calyx for the packaged service; the first of several),
// /var/lib/calyx for root, else $XDG_STATE_HOME/calyx, else $HOME/.local/state/calyx.
// "" when none of them can be formed (no HOME).
std::string DefaultStateFolder();

// Creates `folder` and its parents (the last one with `mode`). False with `error` set.
bool MakeStateFolder(const std::string& folder, unsigned mode, std::string& error);

}  // namespace calyx_dms

#endif  // CALYX_DMS_STATE_FOLDER_H
