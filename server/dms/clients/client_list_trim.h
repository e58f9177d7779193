// The client list as this server would have filled it: a file that earlier versions let
// grow (thousands of header members, values of megabytes, headers of denied clients) is
// trimmed once at start-up and saved, so its size no longer slows every save and lookup.
#ifndef CALYX_DMS_CLIENTS_CLIENT_LIST_TRIM_H
#define CALYX_DMS_CLIENTS_CLIENT_LIST_TRIM_H

#include <string>

#include "calyx/client_list.h"
#include "clients/identification_headers.h"

namespace calyx_dms {

// Trims every entry with `filter` (a client without access keeps no headers) and drops
// the oldest undecided entries beyond `cap`, then saves the list to `path` with the
// library's merging save. Returns how many entries changed (0: nothing to do, nothing
// written), or -1 when the save failed (memory is then as it was).
int TrimClientList(Calyx::DMSClientList& list, const std::string& path,
                   const IdentificationHeaders& filter, size_t cap);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_CLIENT_LIST_TRIM_H
