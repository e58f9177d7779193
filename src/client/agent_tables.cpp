#include "client/agent_tables.h"

#include <string.h>

#include "calyx/client.h"

namespace Calyx {

const AgentNameRow gAgentTypeTable[] = {
    {"dlna", Agent::AGENT_TYPE_DLNA},
    {"xbox", Agent::AGENT_TYPE_XBOX},
    {"msclient", Agent::AGENT_TYPE_MSCLIENT},
    {"wmp", Agent::AGENT_TYPE_WMP},
    {"roku", Agent::AGENT_TYPE_ROKU},
    {"musiconly", Agent::AGENT_TYPE_MUSICONLY},
    {"wdtvlive", Agent::AGENT_TYPE_WDTVLIVE},
    {"samsungtv", Agent::AGENT_TYPE_SAMSUNGTV},
    {"", 0},
};

const AgentNameRow gAgentCapOptTable[] = {
    {"xmres", Agent::AGENT_CAPOPT_XMRES},
    {"transwav", Agent::AGENT_CAPOPT_TRANSWAV},
    {"transpcm", Agent::AGENT_CAPOPT_TRANSPCM},
    {"xalbart", Agent::AGENT_CAPOPT_XALBART},
    {"revimgres", Agent::AGENT_CAPOPT_REVIMGRES},
    {"xvcover", Agent::AGENT_CAPOPT_XVCOVER},
    {"transmkv", Agent::AGENT_CAPOPT_TRANSMKV},
    {"videoalbart", Agent::AGENT_CAPOPT_VIDEOALBART},
    {"videosrt", Agent::AGENT_CAPOPT_VIDEOSRT},
    {"photowithxlthumb", Agent::AGENT_CAPOPT_PHOTOWITHXLTHUMB},
    {"videosubtitleitem", Agent::AGENT_CAPOPT_VIDEOSUBTITLEITEM},
    {"photoforcejpegpn", Agent::AGENT_CAPOPT_PHOTOFORCEJPEGPN},
    {"xlibdlnamodule", Agent::AGENT_CAPOPT_XLIBDLNAMODULE},
    {"photoforcebgthumb", Agent::AGENT_CAPOPT_PHOTOFORCEBGTHUMB},
    {"customizesymbol", Agent::AGENT_CAPOPT_CUSTOMIZESYMBOL},
    {"origcover", Agent::AGENT_CAPOPT_ORIGCOVER},
    {"sendvsmetadata", Agent::AGENT_CAPOPT_SENDVSMETADATA},
    {"videowithext", Agent::AGENT_CAPOPT_VIDEOWITHEXT},
    {"", 0},
};

bool AgentNameRowMatches(const AgentNameRow& row, const std::string& name) {
    size_t length = strlen(row.name);
    return name.size() == length && memcmp(name.data(), row.name, length) == 0;
}

const AgentNameRow* FindAgentNameRow(const AgentNameRow* table, const std::string& name) {
    for (const AgentNameRow* row = table; row->name[0] != '\0'; ++row) {
        if (AgentNameRowMatches(*row, name)) {
            return row;
        }
    }
    return nullptr;
}

}  // namespace Calyx
