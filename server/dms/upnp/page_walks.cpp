#include "upnp/page_walks.h"

namespace calyx_dms {

bool PageWalks::Answered(const std::string& client, const std::string& listing, long long offset,
                         long long returned) {
    const std::string key = client + '\n' + listing;
    auto found = ends_.find(key);
    const bool continued = offset > 0 && found != ends_.end() && found->second == offset;
    if (found == ends_.end()) {
        if (ends_.size() >= kMaxWalks)
            ends_.clear();
        ends_.emplace(key, offset + returned);
    } else {
        found->second = offset + returned;
    }
    return continued;
}

}  // namespace calyx_dms
