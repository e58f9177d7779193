// The two fixed name tables of agent profiles: agent type names and capability option names.
#ifndef CALYX_CLIENT_AGENT_TABLES_H
#define CALYX_CLIENT_AGENT_TABLES_H

#include <stdint.h>

#include <string>

namespace Calyx {

struct AgentNameRow {
    const char* name;  // "" closes the table
    uint32_t value;
};

// Agent type names with their AGENT_TYPE bits, in bit order, closed by {"", 0}.
extern const AgentNameRow gAgentTypeTable[];
// Capability option names with their AGENT_CAPOPT bits, in bit order, closed by {"", 0}.
extern const AgentNameRow gAgentCapOptTable[];

// True when `name` equals the row's name byte for byte (same length, same bytes).
bool AgentNameRowMatches(const AgentNameRow& row, const std::string& name);

// The row of `table` whose name is `name`, or null.
const AgentNameRow* FindAgentNameRow(const AgentNameRow* table, const std::string& name);

}  // namespace Calyx

#endif  // CALYX_CLIENT_AGENT_TABLES_H
