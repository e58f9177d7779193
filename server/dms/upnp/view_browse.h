// Browse of the containers of the views and of the playlists: the playlists, a playlist,
// a view's list of groups (artists, albums, genres, years) and a group (an artist, ..., a
// year's months, a month's photos).
#ifndef CALYX_DMS_UPNP_VIEW_BROWSE_H
#define CALYX_DMS_UPNP_VIEW_BROWSE_H

#include <string>

#include "calyx/i18n.h"
#include "clients/client_road.h"
#include "content/catalog.h"
#include "upnp/didl.h"
#include "upnp/page_request.h"

namespace calyx_dms {

// True for the objects BrowseView answers.
bool IsViewObject(const ObjectId& object);

// Writes the object's metadata (`metadata`) or a page of its children into `didl` for the
// visit's client; group titles of songs without the tag come from `texts`, album covers'
// URLs start with `baseUrl`. Returns 1 with `returned` and `total` set, 0 when there is no
// such object, -1 when a query failed.
int BrowseView(Catalog& catalog, DidlWriter& didl, ClientVisit& visit, const ObjectId& object,
               bool metadata, const PageRequest& page, const Calyx::DMSStringBundle& texts,
               const std::string& baseUrl, long long& returned, long long& total);

}  // namespace calyx_dms

#endif  // CALYX_DMS_UPNP_VIEW_BROWSE_H
