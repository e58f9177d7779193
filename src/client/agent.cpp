#include <string.h>

#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/core.h"
#include "client/agent_tables.h"
#include "client/profile_list.h"

namespace Calyx {

namespace {
const char kProfileSettingPrefix[] = "profile";
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

void ApplyAgentPair(Agent& agent, const std::string& key, const std::string& value) {
    if (key.compare(0, kProfileSettingPrefixLength, kProfileSettingPrefix) == 0 &&
        key.size() >= kProfileSettingPrefixLength) {
        size_t at = key.find('@');
        if (at == std::string::npos) {
            return;
        }
        // The first value of a setting key wins; only a real insertion changes the rules.
        if (agent.m_profileSettings.emplace(key.substr(at + 1), value).second) {
            agent.m_compiledRules.reset();
        }
        return;
    }
    for (const AgentNameRow* row = gAgentTypeTable; row->name[0] != '\0'; ++row) {
        if (AgentNameRowMatches(*row, key)) {
            agent.setAgentType(static_cast<Agent::AGENT_TYPE>(row->value), value == "yes");
            return;
        }
    }
    if (key == "agentopt") {
        // Split first: the only allocation comes before the first change.
        const std::vector<std::string> tokens = StringExplode(value, " \t");
        for (const std::string& token : tokens) {
            for (const AgentNameRow* row = gAgentCapOptTable; row->name[0] != '\0'; ++row) {
                if (AgentNameRowMatches(*row, token)) {
                    agent.setCapability(static_cast<Agent::AGENT_CAPOPT>(row->value), true);
                }
            }
        }
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
