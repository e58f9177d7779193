// What a client's entry in the client list may hold: only the request headers that
// identification can use, each value cut to a bounded length. The library stores what the
// host gives it; this is where the server decides what that is.
#ifndef CALYX_DMS_CLIENTS_IDENTIFICATION_HEADERS_H
#define CALYX_DMS_CLIENTS_IDENTIFICATION_HEADERS_H

#include <json/value.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace calyx_dms {

// The longest header or description value recorded, in bytes.
constexpr size_t kMaxRecordedValue = 256;

// `value` cut to at most kMaxRecordedValue bytes, never inside a UTF-8 character.
std::string CutValue(const std::string& value);

class IdentificationHeaders {
public:
    // `profileKeys`: the entry keys the identification records name (ProfileIDKeys).
    explicit IdentificationHeaders(const std::vector<std::string>& profileKeys);

    // The headers (names in lower case) that an entry records under `prefix` ("browse_"
    // or "open_"): those whose key a record names, and the ones always kept (user-agent,
    // x-av-client-info, x-av-physical-unit-info, friendlyname.dlna.org); values cut.
    std::map<std::string, std::string> Select(const std::map<std::string, std::string>& headers,
                                              const std::string& prefix) const;
    // The description fields (DeviceDescriptionFields) with their values cut.
    static std::map<std::string, std::string> CutFields(
        const std::map<std::string, std::string>& fields);

    // Whether a stored member `key` of an entry is one this server records: the entry's
    // own members, description fields, and headers Select would pass.
    bool Keeps(const std::string& key) const;

    // Trims a stored entry as the filter would have filled it: recorded headers that Keeps
    // refuses removed, header and description values cut (a value that is not text
    // removed); other members stay. When `headersToo` is false (a client without access)
    // every recorded header goes. True if it changed.
    bool TrimEntry(Json::Value& entry, bool headersToo) const;

private:
    bool KeepsHeader(const std::string& prefix, const std::string& name) const;

    std::set<std::string> profileKeys_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_IDENTIFICATION_HEADERS_H
