// The road of one request: the client's address, its hardware address from the kernel
// ARP table, the client list update with the request's headers, the profile it has and
// the checker made for it.
#ifndef CALYX_DMS_CLIENT_ROAD_H
#define CALYX_DMS_CLIENT_ROAD_H

#include <libsoup/soup.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "calyx/client.h"
#include "calyx/client_list.h"

namespace calyx_dms {

// Which handler of the server saw a request, in the library's names.
enum class RequestKind {
    kControl,  // "HandleActionRequest": a SOAP action
    kMedia,    // "WebSerOpen": a media or thumbnail file
    kOther,    // description, service descriptions, events: access check only
};

// What the server knows about the client of one request.
struct ClientVisit {
    std::string ip;
    std::string mac;          // "" when the ARP table has no entry for `ip`
    bool allowed = false;     // may use the server
    std::string profileName;  // the entry's "profileName" ("" without an entry)
    std::string userAgent;
    std::unique_ptr<Calyx::DMSClientChecker> checker;
    long long libraryNanos = 0;  // time spent inside the library for this request
    // When the request had been read and its handling began (identification included).
    std::chrono::steady_clock::time_point started = std::chrono::steady_clock::now();
};

// Header names lower-cased (HTTP names are case-insensitive and the profiles expect lower
// case). A name sent twice keeps its first value. Credentials stay in: the client list
// never records them (DMSClientList::UpdateKeys drops them), and nothing else keeps these.
std::map<std::string, std::string> RequestHeaderKeys(SoupMessageHeaders* headers);

class ClientCap;
class IdentificationHeaders;

// What the server records of a client: the headers identification can use and a cap on
// the number of entries.
struct ClientRecording {
    const IdentificationHeaders* filter = nullptr;  // null: every header as received
    ClientCap* cap = nullptr;                       // null: no cap
};

// Follows the road for a request from `ip` with `headers`. A client with access has the
// headers that `recording` lets through recorded; a client without access (denied, or
// new while new clients are denied) only its MAC and address, so the owner can allow it.
// A client whose address is not in the ARP table cannot be recorded: it is allowed
// unless new clients are denied.
std::unique_ptr<ClientVisit> VisitClient(Calyx::DMSClientList& list, RequestKind kind,
                                         const std::string& ip, SoupMessageHeaders* headers,
                                         const ClientRecording& recording);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENT_ROAD_H
