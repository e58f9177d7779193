// Position index of the client list: finds an entry by "macAddr" or "ipAddr" without
// scanning, with exactly the results of the front-to-back scan that stops at the first
// entry lacking the member.
#ifndef CALYX_CLIENT_CLIENT_LIST_INDEX_H
#define CALYX_CLIENT_CLIENT_LIST_INDEX_H

#include <json/value.h>

#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace Calyx {
namespace detail {

// The index of one member ("macAddr" or "ipAddr") over all entry positions.
class FieldIndex {
public:
    explicit FieldIndex(const char* member) : member_(member) {}

    void Clear();
    // Records what entry `pos` holds now; `pos` may be the next position (append).
    void Update(unsigned pos, const Json::Value& entry);
    // The scan's answer: the first position whose member text equals `text`, if it lies
    // before the first entry without the member.
    bool Find(const std::string& text, unsigned& pos) const;

private:
    enum class Kind : unsigned char { kMissing, kNoText, kText };
    struct Slot {
        Kind kind = Kind::kMissing;
        std::string text;
        bool operator==(const Slot& o) const { return kind == o.kind && text == o.text; }
    };

    Slot Classify(const Json::Value& entry) const;
    void Remove(unsigned pos);
    void Add(unsigned pos, Slot slot);

    std::string member_;
    std::vector<Slot> slots_;
    std::unordered_map<std::string, std::set<unsigned>> byText_;
    std::set<unsigned> missing_;  // positions whose entry lacks the member (scan stops)
};

// Both indexes of a client list array.
class ClientListIndex {
public:
    ClientListIndex() : mac_("macAddr"), ip_("ipAddr") {}

    // Indexes `list` from scratch; anything but an array indexes as empty.
    void Rebuild(const Json::Value* list);
    // Entry `pos` was changed or appended.
    void Update(unsigned pos, const Json::Value& entry) {
        mac_.Update(pos, entry);
        ip_.Update(pos, entry);
    }
    bool FindMac(const std::string& mac, unsigned& pos) const { return mac_.Find(mac, pos); }
    bool FindIp(const std::string& ip, unsigned& pos) const { return ip_.Find(ip, pos); }

private:
    FieldIndex mac_;
    FieldIndex ip_;
};

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_INDEX_H
