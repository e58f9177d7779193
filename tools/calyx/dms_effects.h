// What calyx-dms does for a client of each agent type and capability option: the rows of
// the table in docs/server.md, which a test holds equal to this list.
#ifndef CALYX_TOOL_DMS_EFFECTS_H
#define CALYX_TOOL_DMS_EFFECTS_H

#include <vector>

namespace calyx_tool {

struct DmsEffect {
    const char* name;     // agent type or capability option, as the profile list writes it
    bool type;            // an agent type (true) or a capability option (false)
    const char* with;     // what a client that has it gets
    const char* without;  // what a client without it gets
    const char* test;     // the test that shows it
};

// Every agent type, then every capability option, in the library's table order.
const std::vector<DmsEffect>& DmsEffects();

}  // namespace calyx_tool

#endif  // CALYX_TOOL_DMS_EFFECTS_H
