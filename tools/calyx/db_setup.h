// The connection settings of `calyx db init`: how the role that prepares a PostgreSQL
// server and the media index's own role reach it, and what a refused login needs.
#ifndef CALYX_TOOL_DB_SETUP_H
#define CALYX_TOOL_DB_SETUP_H

#include <string>
#include <utility>
#include <vector>

namespace calyx_tool {

// The role and the database the library always opens.
constexpr const char kIndexRole[] = "admin";
constexpr const char kIndexDatabase[] = "calyx";

// libpq keyword/value pairs, in the order given.
using ConnectionParams = std::vector<std::pair<std::string, std::string>>;

// The pairs a libpq connection string sets (an empty string sets none). False with
// `error` (libpq's reason) when libpq cannot parse it.
bool ParseConninfo(const std::string& conninfo, ConnectionParams& out, std::string& error);

// The connection of the role that creates: the given pairs, the database "postgres"
// unless one is named, and a connect timeout unless one is given.
ConnectionParams SetupParams(const ConnectionParams& given);

// The same server as the index's role sees it: user "admin", database "calyx", no
// password of the given role.
ConnectionParams IndexParams(const ConnectionParams& given);

// The media server's --database value for the server reached at `host` and `port` (as
// libpq resolved them): those and the given settings that are not about a role or a
// database, each value quoted where libpq needs it.
std::string ServerSetting(const std::string& host, const std::string& port,
                          const ConnectionParams& given);

// True when libpq's message says the server refused the login (its authentication rules
// or a failed authentication), not that it could not be reached.
bool IsRefusedLogin(const std::string& message);

// Where the index's role connects from, as the server's pg_hba.conf tells it apart.
struct HbaPlace {
    bool socket = true;         // a Unix socket ("local")
    std::string clientAddress;  // else the address the server sees (IPv4 or IPv6)
};

// The pg_hba.conf line that lets "admin" log in to "calyx" from `place` without a
// password (libpq's password file still works with scram-sha-256 instead of trust).
std::string HbaLine(const HbaPlace& place);

}  // namespace calyx_tool

#endif  // CALYX_TOOL_DB_SETUP_H
