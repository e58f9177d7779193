#include "client/profile_list.h"

#include <json/json.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "calyx/core.h"
#include "dmsutils/json_document.h"
#include "dmsutils/json_values.h"

namespace Calyx {

std::vector<Agent*> gDMSAgentList;

namespace detail {

bool EntryProfileName(const Json::Value& entry, std::string& name) {
    if (!entry.isObject()) {
        return false;
    }
    const Json::Value* nameValue = FindMember(entry, "profileName");
    return IsPresent(nameValue) && ScalarText(*nameValue, name);
}

ProfileMemberUse EntryMemberUse(const std::string& key, AgentPairUse* pair) {
    if (key == "profileName") {
        return ProfileMemberUse::Name;
    }
    if (key == "profileID") {
        return ProfileMemberUse::Identification;
    }
    if (key == "offendchars") {
        return ProfileMemberUse::OffendChars;
    }
    const AgentPairUse use = ClassifyAgentPair(key);
    if (pair != nullptr) {
        *pair = use;
    }
    return use.use;
}

}  // namespace detail

namespace {

// The agent for one "ProfileList" entry, or null when the entry has no usable name.
std::unique_ptr<Agent> MakeAgent(const Json::Value& entry) {
    std::string name;
    if (!detail::EntryProfileName(entry, name)) {
        return nullptr;
    }
    auto agent = std::make_unique<Agent>(name);
    // Object members iterate in ascending byte order of their names.
    for (auto member = entry.begin(); member != entry.end(); ++member) {
        const std::string key = member.name();
        const ProfileMemberUse use = detail::EntryMemberUse(key, nullptr);
        if (use == ProfileMemberUse::Name || use == ProfileMemberUse::Identification) {
            continue;
        }
        std::string value;
        if (!detail::ScalarText(*member, value)) {
            continue;
        }
        if (use == ProfileMemberUse::OffendChars) {
            agent->m_offendChars = value;
        } else {
            detail::ApplyAgentPair(*agent, key, value);
        }
    }
    return agent;
}

}  // namespace

bool DMSClientChecker::InitProfileList(const std::string& path) {
    try {
        Json::Value root;
        if (detail::LoadJsonFile(path, "DMSClientChecker::InitProfileList", root) !=
            detail::JsonFileOutcome::kParsed) {
            return false;
        }
        if (!root.isObject()) {
            return true;
        }
        const Json::Value& profiles = root["ProfileList"];
        if (!profiles.isArray()) {
            return true;
        }
        // The agents are made aside and joined to the list only when all are made, so that
        // running out of memory leaves the list as it was.
        std::vector<std::unique_ptr<Agent>> made;
        made.reserve(profiles.size());
        for (Json::ArrayIndex i = 0; i < profiles.size(); ++i) {
            std::unique_ptr<Agent> agent = MakeAgent(profiles[i]);
            if (agent) {
                // Compile the video-profile rules now rather than on the first browse.
                agent->m_compiledRules.get(agent->m_profileSettings);
                made.push_back(std::move(agent));
            }
        }
        gDMSAgentList.reserve(gDMSAgentList.size() + made.size());
        for (std::unique_ptr<Agent>& agent : made) {
            gDMSAgentList.push_back(agent.release());  // cannot throw after the reserve
        }
        return true;
    } catch (const std::exception&) {  // out of memory
        return false;
    }
}

void DMSClientChecker::ReleaseClientList() {
    for (Agent* agent : gDMSAgentList) {
        delete agent;
    }
    gDMSAgentList.clear();
}

std::vector<std::string> LoadedProfileNames() {
    std::vector<std::string> names;
    try {
        for (const Agent* agent : gDMSAgentList) {
            if (agent != nullptr &&
                std::find(names.begin(), names.end(), agent->m_profileName) == names.end()) {
                names.push_back(agent->m_profileName);
            }
        }
    } catch (const std::exception&) {  // out of memory: no list rather than an exception
        names.clear();
    }
    return names;
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
