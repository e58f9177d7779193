// The addresses of the machine's network interfaces, read again at most every few seconds,
// with the names given by --host-name: what a request's Host may name.
#ifndef CALYX_DMS_CLIENTS_OWN_HOSTS_H
#define CALYX_DMS_CLIENTS_OWN_HOSTS_H

#include <chrono>
#include <string>
#include <vector>

#include "clients/request_head.h"

namespace calyx_dms {

class OwnHostsCache {
public:
    explicit OwnHostsCache(const std::vector<std::string>& names);
    // The current set (interfaces read again when the last read is over 5 s old).
    const OwnHosts& Get();

private:
    OwnHosts hosts_;
    std::chrono::steady_clock::time_point read_{};
    bool haveRead_ = false;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_OWN_HOSTS_H
