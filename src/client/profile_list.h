// The process-wide profile list: the agents loaded from the profile list file.
#ifndef CALYX_CLIENT_PROFILE_LIST_H
#define CALYX_CLIENT_PROFILE_LIST_H

#include <string>
#include <vector>

#include "calyx/client.h"

namespace Calyx {

// In file order; owns its agents. No lock: written only while loading and releasing.
extern std::vector<Agent*> gDMSAgentList;

namespace detail {
// Agent::setPair, but out of memory is thrown (std::bad_alloc) rather than swallowed, so
// that loading the profile list can fail as a whole. Allocates before it changes
// anything: when it throws, the agent is as it was.
void ApplyAgentPair(Agent& agent, const std::string& key, const std::string& value);
}  // namespace detail

}  // namespace Calyx

#endif  // CALYX_CLIENT_PROFILE_LIST_H
