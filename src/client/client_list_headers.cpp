#include "client/client_list_headers.h"

#include <string.h>
#include <strings.h>

#include <map>
#include <utility>
#include <vector>

#include "calyx/client_list.h"
#include "calyx/core.h"

namespace Calyx {
namespace detail {

namespace {

const char* const kCredentialHeaders[] = {"authorization", "proxy-authorization", "cookie"};

bool IsCredentialHeader(const char* name) {
    for (const char* credential : kCredentialHeaders) {
        if (strcasecmp(name, credential) == 0) {
            return true;
        }
    }
    return false;
}

// A member named "open_" or "browse_" + a credential header name, in any case. A name
// with a NUL byte inside is none of them.
bool IsRecordedCredential(const char* member, size_t size) {
    if (memchr(member, '\0', size) != nullptr) {
        return false;
    }
    for (const char* prefix : {"open_", "browse_"}) {
        const size_t length = strlen(prefix);
        if (size > length && strncasecmp(member, prefix, length) == 0) {
            return IsCredentialHeader(member + length);
        }
    }
    return false;
}

}  // namespace

bool IsSkippedHeader(const std::string& name) {
    static const char* const kTransportHeaders[] = {"Cache-Control",  "Pragma",       "Connection",
                                                    "Host",           "DATE",         "Accept",
                                                    "content-length", "content-type", "soapaction"};
    for (const char* skipped : kTransportHeaders) {
        if (strcasecmp(name.c_str(), skipped) == 0) {
            return true;
        }
    }
    return IsCredentialHeader(name.c_str());
}

bool DropRecordedCredentials(Json::Value& document) {
    if (!document.isObject() || !document.isMember("ClientList")) {
        return false;
    }
    Json::Value& clients = document["ClientList"];
    if (!clients.isArray()) {
        return false;
    }
    bool dropped = false;
    std::vector<std::string> found;
    for (Json::Value& entry : clients) {
        if (!entry.isObject()) {
            continue;
        }
        // Names are looked at in place: most entries hold no credential at all.
        found.clear();
        for (auto member = entry.begin(); member != entry.end(); ++member) {
            const char* end = nullptr;
            const char* name = member.memberName(&end);
            if (name != nullptr && IsRecordedCredential(name, static_cast<size_t>(end - name))) {
                found.emplace_back(name, end);
            }
        }
        for (const std::string& member : found) {
            entry.removeMember(member);
            dropped = true;
        }
    }
    return dropped;
}

}  // namespace detail

// The host's header list as the map UpdateKeys takes.
std::map<std::string, std::string> ClientHeaderKeys(
    const std::vector<std::pair<std::string, std::string>>& headers) {
    std::map<std::string, std::string> keys;
    try {
        for (const auto& [name, value] : headers)
            keys.emplace(StringToLower(name), value);  // the first value of a name stays
    } catch (const std::exception&) {
        keys.clear();
    }
    return keys;
}

}  // namespace Calyx
