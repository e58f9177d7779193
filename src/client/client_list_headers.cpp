#include "client/client_list_headers.h"

#include <string.h>
#include <strings.h>

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

// A member named "open_" or "browse_" + a credential header name, in any case.
bool IsRecordedCredential(const std::string& member) {
    for (const char* prefix : {"open_", "browse_"}) {
        const size_t length = strlen(prefix);
        if (member.size() > length && strncasecmp(member.c_str(), prefix, length) == 0) {
            return IsCredentialHeader(member.c_str() + length);
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
    for (Json::Value& entry : clients) {
        if (!entry.isObject()) {
            continue;
        }
        for (const std::string& member : entry.getMemberNames()) {
            if (IsRecordedCredential(member)) {
                entry.removeMember(member);
                dropped = true;
            }
        }
    }
    return dropped;
}

}  // namespace detail
}  // namespace Calyx
