// How the loader reads a profile list document, reported without loading it: the same
// decisions as DMSClientChecker::InitProfileList and Agent::setPair, made by the same code.
#include <json/value.h>

#include <map>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/core.h"
#include "client/agent_tables.h"
#include "client/profile_list.h"
#include "dmsutils/json_values.h"

namespace Calyx {

namespace {

using detail::AgentPairUse;

ProfileEntryReading ReadEntry(const Json::Value& entry) {
    ProfileEntryReading reading;
    reading.isObject = entry.isObject();
    reading.loaded = detail::EntryProfileName(entry, reading.profileName);
    if (!reading.loaded) {
        return reading;
    }
    std::map<std::string, std::string> settings;  // setting -> the key that set it first
    for (auto member = entry.begin(); member != entry.end(); ++member) {
        ProfileMemberReading m;
        m.key = member.name();
        AgentPairUse pair;
        m.use = detail::EntryMemberUse(m.key, &pair);
        m.hasText = detail::ScalarText(*member, m.text);
        if (m.use == ProfileMemberUse::Setting) {
            m.setting = m.key.substr(pair.at + 1);
            // Agent::setPair keeps the first value of a setting; a member without text
            // never reaches it.
            m.settingFrom =
                m.hasText ? settings.emplace(m.setting, m.key).first->second : std::string();
        } else if (m.use == ProfileMemberUse::AgentOptions && m.hasText) {
            for (const std::string& word : StringExplode(m.text, " \t")) {
                if (FindAgentNameRow(gAgentCapOptTable, word) == nullptr) {
                    m.unknownOptions.push_back(word);
                }
            }
        }
        reading.members.push_back(std::move(m));
    }
    return reading;
}

}  // namespace

ProfileListReading ReadProfileListDocument(const Json::Value& document) {
    ProfileListReading reading;
    try {
        if (!document.isObject()) {
            return reading;
        }
        const Json::Value& profiles = document["ProfileList"];
        if (profiles.isNull()) {
            reading.shape = ProfileListShape::NoList;
            return reading;
        }
        if (!profiles.isArray()) {
            reading.shape = ProfileListShape::NotAnArray;
            return reading;
        }
        reading.shape = ProfileListShape::List;
        for (Json::ArrayIndex i = 0; i < profiles.size(); ++i) {
            reading.entries.push_back(ReadEntry(profiles[i]));
        }
    } catch (const std::exception&) {  // out of memory: what was read so far
    }
    return reading;
}

}  // namespace Calyx
