// The bound on the number of client list entries: beyond it, the oldest entries the owner
// never decided about are dropped, so fake hardware addresses cannot grow the list.
#ifndef CALYX_DMS_CLIENTS_CLIENT_CAP_H
#define CALYX_DMS_CLIENTS_CLIENT_CAP_H

#include <json/value.h>

#include <string>
#include <vector>

#include "calyx/client_list.h"

namespace calyx_dms {

// The default of --max-clients.
constexpr size_t kDefaultMaxClients = 1000;

// Whether the owner never decided about `entry`: no profile chosen and the access a new
// client gets (allowed, or denied while new clients are denied).
bool IsUndecided(const Json::Value& entry, bool denyNewClients);

// The MACs to drop so that the client list `document` holds at most `cap` entries: the
// undecided ones in list order (the order clients were first seen). Fewer when too few
// entries are undecided: the owner's decisions are never dropped.
std::vector<std::string> EntriesBeyondCap(const Json::Value& document, size_t cap,
                                          bool denyNewClients);

// Keeps a client list within its cap as entries are added. The document is copied only
// when the count passes the cap, and then trimmed to a little below it, so that a flood of
// new clients costs one copy per batch rather than one per client.
class ClientCap {
public:
    ClientCap(Calyx::DMSClientList& list, size_t cap);

    size_t cap() const { return cap_; }
    // Drops the entries beyond the cap now (start-up); returns how many.
    size_t Enforce();
    // A request created a new entry.
    void OnNewEntry();

private:
    Calyx::DMSClientList& list_;
    size_t cap_;
    size_t count_ = 0;  // entries as of the last count, plus those added since
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_CLIENT_CAP_H
