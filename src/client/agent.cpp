#include <string.h>

#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/core.h"
#include "client/agent_tables.h"
#include "client/profile_list.h"

namespace Calyx {

namespace {
const size_t kProfileSettingPrefixLength = sizeof(kProfileSettingPrefix) - 1;
}  // namespace

Agent::Agent(const std::string& profileName)
    : m_agentType(0), m_capability(0), m_profileName(profileName) {}

Agent::~Agent() = default;

void Agent::setAgentType(AGENT_TYPE type, bool on) {
    if (on) {
        m_agentType |= type;
    } else {
        m_agentType &= ~static_cast<uint32_t>(type);
    }
}

void Agent::setCapability(AGENT_CAPOPT opt, bool on) {
    if (on) {
        m_capability |= opt;
    } else {
        m_capability &= ~static_cast<uint32_t>(opt);
    }
}

bool Agent::checkProfileName(const std::string& name) {
    return name == m_profileName;
}

namespace detail {

AgentPairUse ClassifyAgentPair(const std::string& key) {
    AgentPairUse pair;
    if (key.compare(0, kProfileSettingPrefixLength, kProfileSettingPrefix) == 0 &&
        key.size() >= kProfileSettingPrefixLength) {
        pair.at = key.find('@');
        pair.use = pair.at == std::string::npos ? ProfileMemberUse::SettingWithoutAt
                                                : ProfileMemberUse::Setting;
    } else if ((pair.row = FindAgentNameRow(gAgentTypeTable, key)) != nullptr) {
        pair.use = ProfileMemberUse::AgentType;
    } else if (key == "agentopt") {
        pair.use = ProfileMemberUse::AgentOptions;
    }
    return pair;
}

void ApplyAgentPair(Agent& agent, const std::string& key, const std::string& value) {
    const AgentPairUse pair = ClassifyAgentPair(key);
    switch (pair.use) {
        case ProfileMemberUse::Setting:
            // The first value of a setting key wins; only a real insertion changes the rules.
            if (agent.m_profileSettings.emplace(key.substr(pair.at + 1), value).second) {
                agent.m_compiledRules.reset();
            }
            return;
        case ProfileMemberUse::AgentType:
            agent.setAgentType(static_cast<Agent::AGENT_TYPE>(pair.row->value), value == "yes");
            return;
        case ProfileMemberUse::AgentOptions: {
            // Split first: the only allocation comes before the first change.
            const std::vector<std::string> tokens = StringExplode(value, " \t");
            for (const std::string& token : tokens) {
                if (const AgentNameRow* row = FindAgentNameRow(gAgentCapOptTable, token)) {
                    agent.setCapability(static_cast<Agent::AGENT_CAPOPT>(row->value), true);
                }
            }
            return;
        }
        default:
            return;  // a key beginning with "profile" without "@", or an unknown key
    }
}

}  // namespace detail

void Agent::setPair(const std::string& key, const std::string& value) {
    try {
        detail::ApplyAgentPair(*this, key, value);
    } catch (const std::exception&) {  // out of memory: the agent is as it was
    }
}

}  // namespace Calyx
