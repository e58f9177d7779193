// The process-wide profile list: the agents loaded from the profile list file.
#ifndef CALYX_CLIENT_PROFILE_LIST_H
#define CALYX_CLIENT_PROFILE_LIST_H

#include <json/value.h>

#include <string>
#include <vector>

#include "calyx/client.h"
#include "client/agent_tables.h"

namespace Calyx {

// In file order; owns its agents. No lock: written only while loading and releasing.
extern std::vector<Agent*> gDMSAgentList;

namespace detail {

// What Agent::setPair does with a key: the one place that tells the kinds of keys apart.
struct AgentPairUse {
    ProfileMemberUse use = ProfileMemberUse::Unknown;
    size_t at = 0;                      // Setting: position of the first "@" in the key
    const AgentNameRow* row = nullptr;  // AgentType: the type's row
};
AgentPairUse ClassifyAgentPair(const std::string& key);

// How loading the profile list treats member `key` of an entry before it looks at the
// value: "profileName", "profileID" and "offendchars" are the loader's own, every other
// key goes to Agent::setPair (`pair`, when given, receives how).
ProfileMemberUse EntryMemberUse(const std::string& key, AgentPairUse* pair);

// The name of a "ProfileList" entry the loader makes an agent of (an object with a present
// "profileName" that has a text form); false for an entry it skips.
bool EntryProfileName(const Json::Value& entry, std::string& name);

// Agent::setPair, but out of memory is thrown (std::bad_alloc) rather than swallowed, so
// that loading the profile list can fail as a whole. Allocates before it changes
// anything: when it throws, the agent is as it was.
void ApplyAgentPair(Agent& agent, const std::string& key, const std::string& value);
}  // namespace detail

}  // namespace Calyx

#endif  // CALYX_CLIENT_PROFILE_LIST_H
