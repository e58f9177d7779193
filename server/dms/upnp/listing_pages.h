// Rows of the index written as DIDL-Lite objects, one page of a listing at a time.
#ifndef CALYX_DMS_UPNP_LISTING_PAGES_H
#define CALYX_DMS_UPNP_LISTING_PAGES_H

#include <string>
#include <vector>

#include "content/catalog.h"
#include "upnp/didl.h"
#include "upnp/page_request.h"

namespace calyx_dms {

// A directory's or playlist's title: the row's title, else its file name.
std::string DirectoryTitle(const ZEVO_MEDIA_INFO& info);

// One row: a directory as a folder, a playlist as a playlist container, else an item whose
// parent is `parentId` ("": the container of its table, or a subtitle's folder).
void WriteRow(DidlWriter& didl, const Entry& row, const std::string& parentId);

// A page of `listings` written into `didl`: the number of rows, or -1 when a query failed.
long long WritePage(Catalog& catalog, DidlWriter& didl, const std::vector<Listing>& listings,
                    const PageRequest& page, const std::string& parentId, long long& total);

}  // namespace calyx_dms

#endif  // CALYX_DMS_UPNP_LISTING_PAGES_H
