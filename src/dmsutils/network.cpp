// The device's network cards and the kernel ARP table.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/host.h"
#include "calyx/platform.h"
#include "platform/file_kind.h"

namespace Calyx {

void DMSGetNetworkInterface(std::map<std::string, std::string>& cards) {
    int count = ZEVONetEnumCard(3);
    for (int i = 0; i < count; ++i) {
        ZEVO_NET_CARD card;
        memset(&card, 0, sizeof card);
        if (ZEVONetGetCard1(i, 0, &card) <= 0 || card.usable == 0) {
            continue;
        }
        const uint8_t* m = card.mac;
        char address[50];
        snprintf(address, sizeof address, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3],
                 m[4], m[5]);
        // emplace keeps an existing entry: the first card with an address wins.
        cards.emplace(address, std::string(card.name, strnlen(card.name, sizeof card.name)));
    }
}

std::string GetMACAddressFromARPTable(const std::string& ip) {
    std::string mac;
    std::string table = ResolveFixedPath("/proc/net/arp");
    FILE* file = detail::OpenForReading(table);
    if (file == nullptr) {
        if (DMSLOGGetLevel() >= 0) {
            DMSPrintf(DMSLOG_ERR, "Error: Server::GetMACAddressFromARPTable - Failed to open %s\n",
                      table.c_str());
        }
        return mac;
    }
    char* line = nullptr;
    size_t capacity = 0;
    bool heading = true;
    // Columns: IP address, HW type, Flags, HW address, Mask, Device.
    while (getline(&line, &capacity, file) >= 0) {
        if (heading) {
            heading = false;
            continue;
        }
        std::vector<std::string> columns = StringExplode(line, " ");
        if (columns.size() != 6) {
            continue;
        }
        if (columns[0] == ip) {
            mac = columns[3];
            break;
        }
    }
    free(line);
    fclose(file);
    return mac;
}

}  // namespace Calyx
