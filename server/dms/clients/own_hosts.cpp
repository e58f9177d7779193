#include "clients/own_hosts.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>

namespace calyx_dms {

namespace {

const std::chrono::seconds kRefresh(5);

}  // namespace

OwnHostsCache::OwnHostsCache(const std::vector<std::string>& names) {
    for (std::string name : names) {
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (!name.empty())
            hosts_.names.insert(name);
    }
}

const OwnHosts& OwnHostsCache::Get() {
    const auto now = std::chrono::steady_clock::now();
    if (haveRead_ && now - read_ < kRefresh)
        return hosts_;
    struct ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return hosts_;  // keep the last set
    hosts_.addresses.clear();
    for (struct ifaddrs* a = list; a; a = a->ifa_next) {
        if (!a->ifa_addr)
            continue;
        char text[INET6_ADDRSTRLEN];
        const void* bytes = nullptr;
        if (a->ifa_addr->sa_family == AF_INET)
            bytes = &reinterpret_cast<const sockaddr_in*>(a->ifa_addr)->sin_addr;
        else if (a->ifa_addr->sa_family == AF_INET6)
            bytes = &reinterpret_cast<const sockaddr_in6*>(a->ifa_addr)->sin6_addr;
        if (bytes && inet_ntop(a->ifa_addr->sa_family, bytes, text, sizeof text))
            hosts_.addresses.insert(text);
    }
    freeifaddrs(list);
    read_ = now;
    haveRead_ = true;
    return hosts_;
}

}  // namespace calyx_dms
