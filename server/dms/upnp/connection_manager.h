// ConnectionManager:1 of a server that keeps no connections of its own: one implicit
// connection, 0, as the UPnP AV architecture allows for HTTP GET.
#ifndef CALYX_DMS_CONNECTION_MANAGER_H
#define CALYX_DMS_CONNECTION_MANAGER_H

#include <libgupnp/gupnp.h>

namespace calyx_dms {

void ConnectConnectionManager(GUPnPService* service);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONNECTION_MANAGER_H
