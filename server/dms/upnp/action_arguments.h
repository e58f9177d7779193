// What a ContentDirectory action handler reads from the action it was given.
#ifndef CALYX_DMS_UPNP_ACTION_ARGUMENTS_H
#define CALYX_DMS_UPNP_ACTION_ARGUMENTS_H

#include <libgupnp/gupnp.h>

#include <string>

#include "clients/request_visits.h"

namespace calyx_dms {

// The request's visit (its client and profile), or null for a message the gate never saw.
// The visit stays with the request message, which the action holds until it is answered.
ClientVisit* ActionVisit(GUPnPServiceAction* action);

// An action's text argument ("" when missing).
std::string TextArgument(GUPnPServiceAction* action, const char* name);

}  // namespace calyx_dms

#endif  // CALYX_DMS_UPNP_ACTION_ARGUMENTS_H
