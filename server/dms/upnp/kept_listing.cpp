#include "upnp/kept_listing.h"

#include <algorithm>
#include <memory>
#include <string_view>

namespace calyx_dms {

KeptAnswer KeptListingOf(const std::string& didl, size_t objectsStart,
                         const std::vector<size_t>& objectEnds, long long total, long long stamp) {
    KeptAnswer listing;
    auto escaped = std::make_shared<std::string>();
    escaped->reserve(didl.size() + didl.size() / 4);
    const std::string_view text(didl);
    // Escaping piece by piece gives the same bytes as escaping the whole (one character at
    // a time), with the objects' bounds known in the escaped text.
    AppendArgumentText(*escaped, text.substr(0, objectsStart));
    listing.openingEnd = escaped->size();
    size_t start = objectsStart;
    listing.objectEnds.reserve(objectEnds.size());
    for (size_t end : objectEnds) {
        AppendArgumentText(*escaped, text.substr(start, end - start));
        listing.objectEnds.push_back(escaped->size());
        start = end;
    }
    AppendArgumentText(*escaped, text.substr(start));
    listing.result = std::move(escaped);
    listing.returned = static_cast<long long>(objectEnds.size());
    listing.total = total;
    listing.updateId = stamp;
    return listing;
}

ResultPieces PageOfListing(const KeptAnswer& listing, long long offset, long long limit,
                           long long& returned) {
    const long long count = static_cast<long long>(listing.objectEnds.size());
    const long long first = std::min(std::max(0LL, offset), count);
    const long long last = std::min(count, first + std::max(0LL, limit));
    returned = last - first;
    auto endOf = [&listing](long long objects) {
        return objects == 0 ? listing.openingEnd
                            : listing.objectEnds[static_cast<size_t>(objects - 1)];
    };
    const std::string_view all(*listing.result);
    return {all.substr(0, listing.openingEnd), listing.result, endOf(first),
            endOf(last) - endOf(first), all.substr(endOf(count))};
}

}  // namespace calyx_dms
