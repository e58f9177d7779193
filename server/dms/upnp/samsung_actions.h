// The ContentDirectory actions of Samsung televisions: X_GetFeatureList (the containers
// to show) and X_SetBookmark (a resume position, returned on later Browse answers).
// Only clients whose profile has the `samsungtv` type get them; others get 401.
#ifndef CALYX_DMS_SAMSUNG_ACTIONS_H
#define CALYX_DMS_SAMSUNG_ACTIONS_H

#include <libgupnp/gupnp.h>

#include "content/catalog.h"

namespace calyx_dms {

// Connects both actions of ContentDirectory `service`; bookmarks are written through
// `catalog` (borrowed; used on the main loop).
void ConnectSamsungActions(GUPnPService* service, Catalog& catalog);

}  // namespace calyx_dms

#endif  // CALYX_DMS_SAMSUNG_ACTIONS_H
