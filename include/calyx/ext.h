// Forwarding header, kept for one release: the extensions it used to declare now stand
// beside what they extend, each in its header's "Beyond the published interface" section:
//  - the root prefix, guarded file checks, the JSON file reader and the error type
//    (ResolveFixedPath, UnreadableFileReason, ReadJsonFile, Error): calyx/core.h;
//  - the agent name tables, the video-profile rule splitter and ExplainVideoProfiles:
//    calyx/client.h;
//  - match reports, entry access and edits, ClientListWriteTo, ClientListApply,
//    ClientListStartUp, ClientHeaderKeys and DeviceDescriptionFields: calyx/client_list.h;
//  - DBConnectLastError: calyx/media_db.h.
// Include those headers (or calyx/calyx.h) instead; this one will be removed.
#ifndef CALYX_EXT_H
#define CALYX_EXT_H

#include <json/value.h>

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/media_db.h"

#endif  // CALYX_EXT_H
