// Which request headers the client list records, and the credentials it never keeps.
#ifndef CALYX_CLIENT_CLIENT_LIST_HEADERS_H
#define CALYX_CLIENT_CLIENT_LIST_HEADERS_H

#include <json/value.h>

#include <string>

namespace Calyx {
namespace detail {

// Headers UpdateKeys never records, from any source, compared without regard to case:
// the transport headers "Cache-Control", "Pragma", "Connection", "Host", "DATE",
// "Accept", "content-length", "content-type" and "soapaction", and the credentials
// "authorization", "proxy-authorization" and "cookie", which must never reach the client
// list file (it is shared with the rest of the package).
bool IsSkippedHeader(const std::string& name);

// Removes from every entry of `document` the members that hold credentials recorded by
// older versions: "open_" or "browse_" followed by one of the credential header names
// (any case). True when something was removed.
bool DropRecordedCredentials(Json::Value& document);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_HEADERS_H
