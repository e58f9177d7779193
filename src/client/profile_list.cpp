#include "client/profile_list.h"

#include <json/json.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "calyx/core.h"
#include "dmsutils/file_kind.h"

namespace Calyx {

std::vector<Agent*> gDMSAgentList;

namespace {

// Reads the whole document like jsoncpp's classic reader with comments collected, but
// with its nesting limit, so that a hostile file fails to parse instead of throwing.
bool ParseProfileDocument(std::istream& stream, Json::Value& root) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = true;
    builder["allowComments"] = true;
    builder["strictRoot"] = false;
    builder["allowDroppedNullPlaceholders"] = false;
    builder["allowNumericKeys"] = false;
    builder["allowSingleQuotes"] = false;
    builder["allowTrailingCommas"] = false;
    builder["failIfExtra"] = false;
    builder["rejectDupKeys"] = false;
    builder["allowSpecialFloats"] = false;
    builder["skipBom"] = false;
    builder["stackLimit"] = 1000;
    std::string errors;
    try {
        return Json::parseFromStream(builder, stream, &root, &errors);
    } catch (const std::exception&) {
        return false;
    }
}

// A value as text, the way jsoncpp converts it; false for arrays and objects, which
// have no text form.
bool ValueAsText(const Json::Value& value, std::string& text) {
    try {
        text = value.asString();
        return true;
    } catch (const Json::Exception&) {
        return false;
    }
}

bool IsPresent(const Json::Value& value) {
    if (value.isNull()) {
        return false;
    }
    return !((value.isArray() || value.isObject()) && value.empty());
}

// The agent for one "ProfileList" entry, or null when the entry has no usable name.
std::unique_ptr<Agent> MakeAgent(const Json::Value& entry) {
    if (!entry.isObject()) {
        return nullptr;
    }
    const Json::Value& nameValue = entry["profileName"];
    std::string name;
    if (!IsPresent(nameValue) || !ValueAsText(nameValue, name)) {
        return nullptr;
    }
    auto agent = std::make_unique<Agent>(name);
    // Object members iterate in ascending byte order of their names.
    for (auto member = entry.begin(); member != entry.end(); ++member) {
        const std::string key = member.name();
        if (key == "profileName" || key == "profileID") {
            continue;
        }
        std::string value;
        if (!ValueAsText(*member, value)) {
            continue;
        }
        if (key == "offendchars") {
            agent->m_offendChars = value;
        } else {
            agent->setPair(key, value);
        }
    }
    return agent;
}

}  // namespace

bool DMSClientChecker::InitProfileList(const std::string& path) {
    std::ifstream stream;
    if (!detail::WouldBlockOnOpen(path)) {
        stream.open(path);
    }
    if (!stream.is_open()) {
        if (DMSLOGGetLevel() >= 0) {
            DMSPrintf(DMSLOG_ERR, "Error: DMSClientChecker::InitProfileList - %s could not open\n",
                      path.c_str());
        }
        return false;
    }
    Json::Value root;
    if (!ParseProfileDocument(stream, root)) {
        if (DMSLOGGetLevel() >= 0) {
            DMSPrintf(DMSLOG_ERR,
                      "Error: DMSClientChecker::InitProfileList - Json::Reader::parse failed\n");
        }
        return false;
    }
    if (!root.isObject()) {
        return true;
    }
    const Json::Value& profiles = root["ProfileList"];
    if (!profiles.isArray()) {
        return true;
    }
    gDMSAgentList.reserve(gDMSAgentList.size() + profiles.size());
    for (Json::ArrayIndex i = 0; i < profiles.size(); ++i) {
        std::unique_ptr<Agent> agent = MakeAgent(profiles[i]);
        if (agent) {
            // Compile the video-profile rules now rather than on the first browse.
            agent->m_compiledRules.get(agent->m_profileSettings);
            gDMSAgentList.push_back(agent.release());
        }
    }
    return true;
}

void DMSClientChecker::ReleaseClientList() {
    for (Agent* agent : gDMSAgentList) {
        delete agent;
    }
    gDMSAgentList.clear();
}

Agent* DMSClientChecker::GetAgent(const std::string& profileName) {
    for (Agent* agent : gDMSAgentList) {
        if (agent != nullptr && agent->checkProfileName(profileName)) {
            return agent;
        }
    }
    return nullptr;
}

}  // namespace Calyx
