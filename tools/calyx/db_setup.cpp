#include "db_setup.h"

#include <libpq-fe.h>

#include <algorithm>
#include <array>
#include <memory>

namespace calyx_tool {

namespace {

bool Has(const ConnectionParams& params, const std::string& key) {
    return std::any_of(params.begin(), params.end(),
                       [&key](const auto& pair) { return pair.first == key; });
}

ConnectionParams Without(const ConnectionParams& params, const std::vector<std::string>& keys) {
    ConnectionParams kept;
    for (const auto& pair : params)
        if (std::find(keys.begin(), keys.end(), pair.first) == keys.end())
            kept.push_back(pair);
    return kept;
}

// A value as a connection string holds it: quoted when empty or holding blanks or
// quotes, with backslashes and quotes escaped.
std::string ConninfoValue(const std::string& value) {
    const bool plain = !value.empty() && value.find_first_of(" \t\n'\\") == std::string::npos;
    if (plain)
        return value;
    std::string quoted = "'";
    for (const char c : value) {
        if (c == '\'' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + "'";
}

constexpr const char kConnectTimeout[] = "10";

}  // namespace

bool ParseConninfo(const std::string& conninfo, ConnectionParams& out, std::string& error) {
    out.clear();
    char* message = nullptr;
    std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(
        PQconninfoParse(conninfo.c_str(), &message), PQconninfoFree);
    if (!options) {
        error = message != nullptr ? message : "out of memory";
        PQfreemem(message);
        while (!error.empty() && error.back() == '\n')
            error.pop_back();
        return false;
    }
    for (const PQconninfoOption* o = options.get(); o->keyword != nullptr; ++o)
        if (o->val != nullptr)
            out.emplace_back(o->keyword, o->val);
    return true;
}

ConnectionParams SetupParams(const ConnectionParams& given) {
    ConnectionParams params = given;
    if (!Has(params, "dbname"))
        params.emplace_back("dbname", "postgres");
    if (!Has(params, "connect_timeout"))
        params.emplace_back("connect_timeout", kConnectTimeout);
    return params;
}

ConnectionParams IndexParams(const ConnectionParams& given) {
    ConnectionParams params = Without(given, {"user", "password", "dbname"});
    params.emplace_back("user", kIndexRole);
    params.emplace_back("dbname", kIndexDatabase);
    if (!Has(params, "connect_timeout"))
        params.emplace_back("connect_timeout", kConnectTimeout);
    return params;
}

std::string ServerSetting(const std::string& host, const std::string& port,
                          const ConnectionParams& given) {
    std::string setting = "host=" + ConninfoValue(host) + " port=" + ConninfoValue(port);
    for (const auto& [key, value] : Without(given, {"host", "hostaddr", "port", "user", "password",
                                                    "passfile", "dbname", "connect_timeout"}))
        setting += " " + key + "=" + ConninfoValue(value);
    return setting;
}

bool IsRefusedLogin(const std::string& message) {
    static const std::array<const char*, 5> kRefusals = {
        "authentication failed", "no pg_hba.conf entry", "pg_hba.conf rejects",
        "no password supplied", "password authentication"};
    return std::any_of(kRefusals.begin(), kRefusals.end(), [&message](const char* refusal) {
        return message.find(refusal) != std::string::npos;
    });
}

std::string HbaLine(const HbaPlace& place) {
    const std::string who = std::string(kIndexDatabase) + "  " + kIndexRole + "  ";
    if (place.socket)
        return "local  " + who + "trust";
    const std::string address =
        place.clientAddress.empty() ? "CLIENT-ADDRESS" : place.clientAddress;
    const char* mask = address.find(':') != std::string::npos ? "/128" : "/32";
    return "host   " + who + address + mask + "  trust";
}

}  // namespace calyx_tool
