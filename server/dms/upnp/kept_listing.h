// A container's whole listing kept as one escaped text: clients page through the same
// folder at offsets and page sizes of their own (a television scrolling, another asking
// pages of 50), and every such page is a slice of the listing, answered without the index.
#ifndef CALYX_DMS_UPNP_KEPT_LISTING_H
#define CALYX_DMS_UPNP_KEPT_LISTING_H

#include <string>
#include <vector>

#include "upnp/answer_cache.h"
#include "upnp/result_hand_over.h"

namespace calyx_dms {

// The listing of every object of a container: `didl` (one DIDL-Lite document of `total`
// objects, the first starting at `objectsStart`, the n-th ending at `objectEnds[n]`)
// escaped for the reply, with where its objects end in the escaped text. `stamp` is the
// container's update id.
KeptAnswer KeptListingOf(const std::string& didl, size_t objectsStart,
                         const std::vector<size_t>& objectEnds, long long total, long long stamp);

// The page of `limit` objects from `offset` of `listing` (made by KeptListingOf), as the
// pieces of a Result; `returned` learns how many objects it holds (none past the end).
ResultPieces PageOfListing(const KeptAnswer& listing, long long offset, long long limit,
                           long long& returned);

}  // namespace calyx_dms

#endif  // CALYX_DMS_UPNP_KEPT_LISTING_H
