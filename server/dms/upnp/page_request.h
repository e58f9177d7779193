// The paging arguments of Browse and Search, as the server reads them.
#ifndef CALYX_DMS_UPNP_PAGE_REQUEST_H
#define CALYX_DMS_UPNP_PAGE_REQUEST_H

#include <string>

namespace calyx_dms {

struct PageRequest {
    long long offset = 0;  // StartingIndex
    long long limit = 0;   // RequestedCount, within the server's largest page
    std::string orderBy;   // SortCriteria as SQL (by title when none is given)
    bool sorted = false;   // the client named an order (SortCriteria)
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_UPNP_PAGE_REQUEST_H
