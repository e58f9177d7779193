#include "clients/identification_headers.h"

#include <string.h>

#include <algorithm>

#include "calyx/client_list.h"

namespace calyx_dms {

namespace {

// Headers the documentation promises to record whatever the profile list names.
const char* const kAlwaysKept[] = {"user-agent", "x-av-client-info", "x-av-physical-unit-info",
                                   "friendlyname.dlna.org"};
const char* const kPrefixes[] = {"browse_", "open_"};
// The members an entry has of its own (set by the library or by the owner).
const char* const kOwnMembers[] = {"macAddr",
                                   "ipAddr",
                                   "isAccess",
                                   "profileName",
                                   "displayName",
                                   "profileName_Orig",
                                   "profileName_UserSelected"};
// A composed key is cut after this many characters by the library.
const size_t kMaxKey = 49;

bool IsDescriptionField(const std::string& key) {
    const std::vector<std::string>& fields = Calyx::DeviceDescriptionFields();
    return std::find(fields.begin(), fields.end(), key) != fields.end();
}

bool IsRecordedHeader(const std::string& key) {
    return std::any_of(std::begin(kPrefixes), std::end(kPrefixes), [&key](const char* prefix) {
        return key.compare(0, strlen(prefix), prefix) == 0;
    });
}

bool IsOwnMember(const std::string& key) {
    return std::any_of(std::begin(kOwnMembers), std::end(kOwnMembers),
                       [&key](const char* own) { return key == own; });
}

}  // namespace

std::string CutValue(const std::string& value) {
    if (value.size() <= kMaxRecordedValue)
        return value;
    size_t end = kMaxRecordedValue;
    // Back up over continuation bytes so no character is split.
    while (end > 0 && (static_cast<unsigned char>(value[end]) & 0xC0) == 0x80)
        --end;
    return value.substr(0, end);
}

IdentificationHeaders::IdentificationHeaders(const std::vector<std::string>& profileKeys)
    : profileKeys_(profileKeys.begin(), profileKeys.end()) {}

bool IdentificationHeaders::KeepsHeader(const std::string& prefix, const std::string& name) const {
    if (std::any_of(std::begin(kAlwaysKept), std::end(kAlwaysKept),
                    [&name](const char* kept) { return name == kept; }))
        return true;
    return profileKeys_.count((prefix + name).substr(0, kMaxKey)) > 0;
}

std::map<std::string, std::string> IdentificationHeaders::Select(
    const std::map<std::string, std::string>& headers, const std::string& prefix) const {
    std::map<std::string, std::string> kept;
    for (const auto& [name, value] : headers)
        if (KeepsHeader(prefix, name))
            kept.emplace(name, CutValue(value));
    return kept;
}

std::map<std::string, std::string> IdentificationHeaders::CutFields(
    const std::map<std::string, std::string>& fields) {
    std::map<std::string, std::string> cut;
    for (const auto& [name, value] : fields)
        if (IsDescriptionField(name))
            cut.emplace(name, CutValue(value));
    return cut;
}

bool IdentificationHeaders::Keeps(const std::string& key) const {
    if (IsOwnMember(key) || IsDescriptionField(key))
        return true;
    for (const char* prefix : kPrefixes)
        if (key.compare(0, strlen(prefix), prefix) == 0)
            return KeepsHeader(prefix, key.substr(strlen(prefix)));
    return false;
}

bool IdentificationHeaders::TrimEntry(Json::Value& entry, bool headersToo) const {
    if (!entry.isObject())
        return false;
    bool changed = false;
    for (const std::string& key : entry.getMemberNames()) {
        // Members other programs may keep in an entry stay as they are: only what this
        // server records, headers and description fields, is trimmed.
        const bool header = IsRecordedHeader(key);
        if (!header && !IsDescriptionField(key))
            continue;
        Json::Value& value = entry[key];
        if ((header && (!headersToo || !Keeps(key))) || !value.isString()) {
            entry.removeMember(key);
            changed = true;
            continue;
        }
        const std::string cut = CutValue(value.asString());
        if (cut.size() != value.asString().size()) {
            value = cut;
            changed = true;
        }
    }
    return changed;
}

}  // namespace calyx_dms
