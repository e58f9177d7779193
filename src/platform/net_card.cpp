// Portable network cards, read from "/sys/class/net".
//
// Cards are the interfaces of type 1 (Ethernet-like, Wi-Fi included) except loopback.
// Those backed by hardware (with a "device" entry) come first, then the virtual ones
// (bridges, container links), each group in byte order of the names: card 0 is thus a
// physical card whenever there is one, and stays so when a container network appears.
#include <arpa/inet.h>
#include <dirent.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/platform.h"

// The record's layout is fixed by the platform's callers.
static_assert(sizeof(ZEVO_NET_CARD) == 72, "ZEVO_NET_CARD is a 72-byte record");
static_assert(offsetof(ZEVO_NET_CARD, usable) == 4, "usable flag at offset 4");
static_assert(offsetof(ZEVO_NET_CARD, mac) == 24, "hardware address at offset 24");
static_assert(offsetof(ZEVO_NET_CARD, name) == 30, "text entry at offset 30");

namespace {

constexpr const char* kNetClassDir = "/sys/class/net";
constexpr int kArphrdEther = 1;              // ARPHRD_ETHER in "type"
constexpr unsigned long kIffLoopback = 0x8;  // IFF_LOOPBACK in "flags"

// The first line of a sysfs attribute without its line break; false when unreadable.
bool ReadAttribute(const std::string& dir, const char* name, std::string& value) {
    std::ifstream in(dir + "/" + name);
    if (!in) {
        return false;
    }
    if (!std::getline(in, value)) {
        value.clear();
        return !in.bad() && in.eof();
    }
    while (!value.empty() && (value.back() == '\r' || value.back() == ' ')) {
        value.pop_back();
    }
    return true;
}

bool ReadNumber(const std::string& dir, const char* name, int base, long long& number) {
    std::string text;
    if (!ReadAttribute(dir, name, text) || text.empty()) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    number = strtoll(text.c_str(), &end, base);
    return errno == 0 && end != text.c_str();
}

bool Exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

bool IsCard(const std::string& dir) {
    long long type = 0;
    if (!ReadNumber(dir, "type", 10, type) || type != kArphrdEther) {
        return false;
    }
    long long flags = 0;
    if (ReadNumber(dir, "flags", 16, flags) &&
        (static_cast<unsigned long long>(flags) & kIffLoopback) != 0) {
        return false;
    }
    return true;
}

struct CardEntry {
    bool physical;
    std::string name;
};

// The cards in card order.
std::vector<std::string> ListCards(const std::string& netDir) {
    std::vector<CardEntry> entries;
    DIR* dir = opendir(netDir.c_str());
    if (dir == nullptr) {
        return {};
    }
    while (struct dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name == "." || name == ".." || name == "lo") {
            continue;
        }
        std::string cardDir = netDir + "/" + name;
        if (!IsCard(cardDir)) {
            continue;
        }
        entries.push_back({Exists(cardDir + "/device"), name});
    }
    closedir(dir);
    std::sort(entries.begin(), entries.end(), [](const CardEntry& a, const CardEntry& b) {
        if (a.physical != b.physical) {
            return a.physical;
        }
        return a.name < b.name;  // std::string compares bytes as unsigned char
    });
    std::vector<std::string> names;
    names.reserve(entries.size());
    for (CardEntry& entry : entries) {
        names.push_back(std::move(entry.name));
    }
    return names;
}

bool ParseHardwareAddress(const std::string& text, uint8_t mac[6]) {
    unsigned int bytes[6];
    char tail = 0;
    if (sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &bytes[0], &bytes[1], &bytes[2],
               &bytes[3], &bytes[4], &bytes[5], &tail) != 6) {
        return false;
    }
    for (int i = 0; i < 6; ++i) {
        mac[i] = static_cast<uint8_t>(bytes[i]);
    }
    return true;
}

// The IPv4 address and netmask come from the running kernel, so only when the library
// reads the real machine (no root prefix); under a tree of one's own they stay 0.
void FillIPv4(const std::string& name, ZEVO_NET_CARD* card) {
    if (Calyx::ResolveFixedPath("/") != "/") {
        return;
    }
    struct ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return;
    }
    for (struct ifaddrs* it = list; it != nullptr; it = it->ifa_next) {
        if (it->ifa_addr == nullptr || it->ifa_addr->sa_family != AF_INET ||
            it->ifa_name == nullptr || name != it->ifa_name) {
            continue;
        }
        card->ipv4 = reinterpret_cast<struct sockaddr_in*>(it->ifa_addr)->sin_addr.s_addr;
        if (it->ifa_netmask != nullptr) {
            card->netmask = reinterpret_cast<struct sockaddr_in*>(it->ifa_netmask)->sin_addr.s_addr;
        }
        break;
    }
    freeifaddrs(list);
}

}  // namespace

extern "C" int ZEVONetEnumCard(int typeMask) {
    // Wired and wireless cards are not told apart: either bit lists them all.
    if ((typeMask & 3) == 0) {
        return 0;
    }
    return static_cast<int>(ListCards(Calyx::ResolveFixedPath(kNetClassDir)).size());
}

extern "C" int ZEVONetGetCard1(int index, int flags, ZEVO_NET_CARD* card) {
    if (card == nullptr || index < 0) {
        return -1;
    }
    std::string netDir = Calyx::ResolveFixedPath(kNetClassDir);
    std::vector<std::string> cards = ListCards(netDir);
    if (static_cast<size_t>(index) >= cards.size()) {
        return 0;
    }
    const std::string& name = cards[static_cast<size_t>(index)];
    std::string cardDir = netDir + "/" + name;

    ZEVO_NET_CARD filled;
    memset(&filled, 0, sizeof filled);
    std::string address;
    if (!ReadAttribute(cardDir, "address", address) || !ParseHardwareAddress(address, filled.mac)) {
        return -1;
    }
    filled.index = index;
    std::string state;
    filled.usable = ReadAttribute(cardDir, "operstate", state) && state == "up" ? 1 : 0;
    long long number = 0;
    if (ReadNumber(cardDir, "mtu", 10, number) && number > 0 && number <= UINT32_MAX) {
        filled.mtu = static_cast<uint32_t>(number);
    }
    // "speed" is -1 or unreadable while the link is down or the speed unknown.
    if (ReadNumber(cardDir, "speed", 10, number) && number > 0 && number <= UINT32_MAX) {
        filled.speed = static_cast<uint32_t>(number);
    }
    snprintf(filled.name, sizeof filled.name, "%s", name.c_str());
    FillIPv4(name, &filled);
    *card = filled;
    return 1;
}
