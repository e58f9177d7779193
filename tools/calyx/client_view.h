// Showing client entries and checkers: shared by identify and clients.
#ifndef CALYX_TOOL_CLIENT_VIEW_H
#define CALYX_TOOL_CLIENT_VIEW_H

#include <json/value.h>

#include <string>
#include <vector>

namespace Calyx {
class DMSClientChecker;
}

namespace calyx_tool {

// The fixed path of the client list, under the root prefix in force.
std::string ClientListPath();

// The eight type flags of a checker, by agent type name, in the checker's field order.
std::vector<std::pair<std::string, bool>> CheckerFlags(const Calyx::DMSClientChecker& checker);

// The checker as JSON: profile, flags, types set, options, capability bits, offend chars.
Json::Value CheckerToJson(const Calyx::DMSClientChecker& checker);

// Text of a member of a client entry; "" when absent or not a scalar.
std::string EntryText(const Json::Value& entry, const char* key);

// "allowed" / "denied" / "(not set)".
std::string AccessText(const Json::Value& entry);

}  // namespace calyx_tool

#endif  // CALYX_TOOL_CLIENT_VIEW_H
