// The process-wide profile list: the agents loaded from the profile list file.
#ifndef CALYX_CLIENT_PROFILE_LIST_H
#define CALYX_CLIENT_PROFILE_LIST_H

#include <vector>

#include "calyx/client.h"

namespace Calyx {

// In file order; owns its agents. No lock: written only while loading and releasing.
extern std::vector<Agent*> gDMSAgentList;

}  // namespace Calyx

#endif  // CALYX_CLIENT_PROFILE_LIST_H
