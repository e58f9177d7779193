// What the server decides about a request from its head alone, before any of its body is
// read: bounds on the head, the Host it names and the size of the body it announces.
#ifndef CALYX_DMS_CLIENTS_REQUEST_HEAD_H
#define CALYX_DMS_CLIENTS_REQUEST_HEAD_H

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace calyx_dms {

// The documented bounds of a request to the media port.
struct HeadLimits {
    size_t maxHeaders = 100;                  // header lines
    size_t maxHeadBytes = size_t{16} * 1024;  // names and values together
    long long maxBodyBytes = 64LL * 1024;     // announced or sent (chunked)
};

// The names a request may give in its Host header: IP literals of the machine
// ("10.0.0.2", "fe80::1", compared as addresses) and the names of --host-name (any case).
struct OwnHosts {
    std::set<std::string> addresses;  // textual forms as g_inet_address_to_string gives them
    std::set<std::string> names;      // lower case
};

// The header lines of a request, in arrival order. A request without Host (HTTP/1.0) is
// served: the Host check applies to the names a request gives.
struct RequestHead {
    std::vector<std::pair<std::string, std::string>> headers;
};

// Why a request is refused before any handler runs: the status to answer (0: it is
// served) and a few words for the log.
struct Refusal {
    unsigned status = 0;
    std::string why;
};

enum class HeadVerdict {
    kServe,
    kHeadTooLarge,  // 431: too many header lines or too many bytes in them
    kForeignHost,   // 403: Host names neither an address of the machine nor a --host-name
    kBodyTooLarge,  // 413: Content-Length beyond the limit
    kBadLength,     // 400: a Content-Length that is not a number, or two that differ
};

// The HTTP status that answers `verdict` (0 for kServe).
unsigned StatusOf(HeadVerdict verdict);

// Whether `host` (a Host header value: "10.0.0.2", "10.0.0.2:8200", "[fe80::1]:8200",
// "nas.local") names the machine. A port, when given, must be digits.
bool IsOwnHost(const std::string& host, const OwnHosts& own);

// Judges a request head: bounds first, then Host, then the announced body size.
HeadVerdict JudgeRequestHead(const RequestHead& head, const OwnHosts& own,
                             const HeadLimits& limits);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CLIENTS_REQUEST_HEAD_H
