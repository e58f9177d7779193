#include "client_view.h"

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"

namespace calyx_tool {

std::string ClientListPath() {
    return Calyx::ResolveFixedPath(Calyx::kClientListFixedPath);
}

std::vector<std::pair<std::string, bool>> CheckerFlags(const Calyx::DMSClientChecker& c) {
    return {{"msclient", c.m_isMSClient}, {"xbox", c.m_isXbox},           {"dlna", c.m_isDLNA},
            {"wmp", c.m_isWMP},           {"musiconly", c.m_isMusicOnly}, {"roku", c.m_isRoku},
            {"wdtvlive", c.m_isWDTVLive}, {"samsungtv", c.m_isSamsungTV}};
}

Json::Value CheckerToJson(const Calyx::DMSClientChecker& checker) {
    Json::Value out(Json::objectValue);
    out["profileName"] = checker.m_profileName;
    out["profileFound"] = checker.m_agent != nullptr;
    out["flags"] = Json::Value(Json::objectValue);
    out["types"] = Json::Value(Json::arrayValue);
    for (const auto& [name, on] : CheckerFlags(checker)) {
        out["flags"][name] = on;
        if (on)
            out["types"].append(name);
    }
    out["capability"] = checker.m_capability;
    out["options"] = Json::Value(Json::arrayValue);
    for (const std::string& name : Calyx::AgentCapabilityNamesOf(checker.m_capability))
        out["options"].append(name);
    out["offendChars"] = checker.m_offendChars;
    out["defaultDLNA"] = checker.m_defaultDLNA;
    return out;
}

std::string EntryText(const Json::Value& entry, const char* key) {
    if (!entry.isObject())
        return "";
    const Json::Value& v = entry[key];
    if (v.isNull() || v.isArray() || v.isObject())
        return "";
    return v.asString();
}

std::string AccessText(const Json::Value& entry) {
    if (!entry.isObject() || !entry.isMember("isAccess") || entry["isAccess"].isNull())
        return "(not set)";
    const Json::Value& v = entry["isAccess"];
    if (v.isBool())
        return v.asBool() ? "allowed" : "denied";
    return "(not a boolean: " + (v.isArray() || v.isObject() ? std::string("?") : v.asString()) +
           ")";
}

}  // namespace calyx_tool
