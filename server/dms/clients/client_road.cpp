#include "clients/client_road.h"

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "common/library_clock.h"

namespace calyx_dms {

namespace {

const char* SourceOf(RequestKind kind) {
    switch (kind) {
        case RequestKind::kControl:
            return "HandleActionRequest";
        case RequestKind::kMedia:
            return "WebSerOpen";
        case RequestKind::kOther:
            break;
    }
    return "";
}

}  // namespace

std::map<std::string, std::string> RequestHeaderKeys(SoupMessageHeaders* headers) {
    std::vector<std::pair<std::string, std::string>> received;
    SoupMessageHeadersIter iter;
    soup_message_headers_iter_init(&iter, headers);
    const char* name = nullptr;
    const char* value = nullptr;
    while (soup_message_headers_iter_next(&iter, &name, &value))
        received.emplace_back(name, value);
    return Calyx::ClientHeaderKeys(received);
}

std::unique_ptr<ClientVisit> VisitClient(Calyx::DMSClientList& list, RequestKind kind,
                                         const std::string& ip, SoupMessageHeaders* headers) {
    auto visit = std::make_unique<ClientVisit>();
    visit->ip = ip;
    std::map<std::string, std::string> keys = RequestHeaderKeys(headers);
    auto ua = keys.find("user-agent");
    if (ua != keys.end())
        visit->userAgent = ua->second;

    LibraryTimer timer(visit->libraryNanos);
    visit->mac = Calyx::GetMACAddressFromARPTable(ip);
    bool known = false;
    if (!visit->mac.empty()) {
        if (kind != RequestKind::kOther)
            list.UpdateKeys(SourceOf(kind), visit->mac, ip, keys);
        Json::Value entry;
        if (Calyx::ClientListEntry(list, visit->mac, entry)) {
            known = true;
            visit->allowed =
                entry["isAccess"].isBool() ? entry["isAccess"].asBool() : !list.m_denyNewClients;
            visit->profileName = list.FindKey(visit->mac, "profileName");
        }
    }
    if (!known)
        visit->allowed = !list.m_denyNewClients;
    visit->checker = std::make_unique<Calyx::DMSClientChecker>(
        visit->userAgent,
        visit->profileName.empty() ? Calyx::kDefaultProfileName : visit->profileName, false);
    return visit;
}

}  // namespace calyx_dms
