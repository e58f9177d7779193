// Clients that walk a container page by page (a television filling its list): where each
// client's last page of a listing ended, so that a page starting there is known as the next
// step of a walk, and the page after it can be made ahead. Main loop only.
#ifndef CALYX_DMS_PAGE_WALKS_H
#define CALYX_DMS_PAGE_WALKS_H

#include <string>
#include <unordered_map>

namespace calyx_dms {

class PageWalks {
public:
    // Records that `client` was answered `returned` objects of `listing` (what selects and
    // orders the objects, without the offset) from `offset`. True when that page started
    // where the client's last page of the listing ended (a step of a walk past its start).
    bool Answered(const std::string& client, const std::string& listing, long long offset,
                  long long returned);

private:
    // Clients and listings without end: past this many the walks start afresh.
    static constexpr size_t kMaxWalks = 1024;
    std::unordered_map<std::string, long long> ends_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_PAGE_WALKS_H
