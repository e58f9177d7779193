#include <string.h>

#include "calyx/client.h"

namespace Calyx {

DMSClientChecker::DMSClientChecker(const std::string& userAgent, const std::string& profileName,
                                   bool defaultDLNA)
    : m_isMSClient(false),
      m_isXbox(false),
      m_isDLNA(false),
      m_isWMP(false),
      m_isMusicOnly(false),
      m_isRoku(false),
      m_isWDTVLive(false),
      m_isSamsungTV(false),
      m_defaultDLNA(defaultDLNA),
      m_capability(0),
      m_agent(nullptr) {
    // The copies are made in the body, where running out of memory can be caught: the
    // checker then stays as after its first step (no agent, no flags, no offend chars).
    try {
        m_profileName = profileName;
        // "Default Profile" means "no profile": it is never looked up, even when the file
        // holds a profile of that name.
        Agent* agent = profileName != kDefaultProfileName ? GetAgent(profileName) : nullptr;
        if (agent != nullptr) {
            m_offendChars = agent->m_offendChars;
            uint32_t types = agent->m_agentType;
            m_isMSClient = (types & Agent::AGENT_TYPE_MSCLIENT) != 0;
            m_isXbox = (types & Agent::AGENT_TYPE_XBOX) != 0;
            m_isDLNA = (types & Agent::AGENT_TYPE_DLNA) != 0;
            m_isWMP = (types & Agent::AGENT_TYPE_WMP) != 0;
            m_isMusicOnly = (types & Agent::AGENT_TYPE_MUSICONLY) != 0;
            m_isRoku = (types & Agent::AGENT_TYPE_ROKU) != 0;
            m_isWDTVLive = (types & Agent::AGENT_TYPE_WDTVLIVE) != 0;
            m_isSamsungTV = (types & Agent::AGENT_TYPE_SAMSUNGTV) != 0;
            m_capability = agent->m_capability;
            m_agent = agent;
            return;
        }
    } catch (const std::exception&) {
        m_offendChars.clear();
        return;
    }
    if (userAgent.empty()) {
        m_isDLNA = defaultDLNA;
    } else if (userAgent.find("DLNADOC") != std::string::npos) {
        m_isDLNA = true;
    }
}

std::string DMSClientChecker::GetOffendChar() {
    return m_offendChars;
}

std::string DMSClientChecker::EscapeRegex(const char* text) {
    static const char kSpecial[] = ".[]*+?|^${}\\<>()";
    std::string result;
    if (text == nullptr) {
        return result;
    }
    for (const char* c = text; *c != '\0' && *c != '\n'; ++c) {
        if (*c == ' ' && result.empty()) {
            continue;
        }
        if (memchr(kSpecial, *c, sizeof(kSpecial) - 1) != nullptr) {
            result += '\\';
        }
        result += *c;
    }
    return result;
}

}  // namespace Calyx
