// The agent profile vocabularies, read from the tables that Agent::setPair uses.
#include "calyx/client.h"
#include "client/agent_tables.h"

namespace Calyx {

namespace {

std::vector<std::string> NamesOf(const AgentNameRow* table, bool all, uint32_t bits) {
    std::vector<std::string> names;
    try {
        for (const AgentNameRow* row = table; row->name[0] != '\0'; ++row)
            if (all || (bits & row->value) == row->value)
                names.emplace_back(row->name);
    } catch (const std::exception&) {  // allocation failure: what was gathered so far
    }
    return names;
}

}  // namespace

std::vector<std::string> AgentTypeNames() {
    return NamesOf(gAgentTypeTable, true, 0);
}

std::vector<std::string> AgentCapabilityNames() {
    return NamesOf(gAgentCapOptTable, true, 0);
}

std::vector<std::string> AgentTypeNamesOf(uint32_t bits) {
    return NamesOf(gAgentTypeTable, false, bits);
}

std::vector<std::string> AgentCapabilityNamesOf(uint32_t bits) {
    return NamesOf(gAgentCapOptTable, false, bits);
}

}  // namespace Calyx
