#include "clients/client_road.h"

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "clients/client_cap.h"
#include "clients/identification_headers.h"
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
                                         const std::string& ip, SoupMessageHeaders* headers,
                                         const ClientRecording& recording) {
    auto visit = std::make_unique<ClientVisit>();
    visit->ip = ip;
    std::map<std::string, std::string> keys = RequestHeaderKeys(headers);
    auto ua = keys.find("user-agent");
    if (ua != keys.end())
        visit->userAgent = ua->second;

    LibraryTimer timer(visit->libraryNanos);
    visit->mac = Calyx::GetMACAddressFromARPTable(ip);
    visit->allowed = !list.m_denyNewClients;
    if (!visit->mac.empty()) {
        Json::Value entry;
        const bool known = Calyx::ClientListEntry(list, visit->mac, entry);
        if (known && entry["isAccess"].isBool())
            visit->allowed = entry["isAccess"].asBool();
        if (kind != RequestKind::kOther || (!known && !visit->allowed)) {
            // Without access nothing the client sends is kept; with it, only what
            // identification reads, each value cut.
            std::map<std::string, std::string> recorded;
            if (visit->allowed && kind != RequestKind::kOther)
                recorded = recording.filter
                               ? recording.filter->Select(
                                     keys, kind == RequestKind::kControl ? "browse_" : "open_")
                               : keys;
            if (list.UpdateKeys(SourceOf(kind), visit->mac, ip, recorded) && !known &&
                recording.cap)
                recording.cap->OnNewEntry();
        }
        visit->profileName = list.FindKey(visit->mac, "profileName");
    }
    visit->checker = std::make_unique<Calyx::DMSClientChecker>(
        visit->userAgent,
        visit->profileName.empty() ? Calyx::kDefaultProfileName : visit->profileName, false);
    return visit;
}

}  // namespace calyx_dms
