// Extension: the agent profile vocabularies and the video-profile rule splitter, read
// from the tables and the parser that Agent::setPair and video profile selection use.
#include "calyx/ext.h"
#include "client/agent_tables.h"
#include "client/video_profile_rules.h"

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

std::vector<std::string> VideoProfileConditionKeys() {
    std::vector<std::string> keys;
    try {
        for (size_t i = 0; i < client_detail::kVideoFieldCount; ++i)
            keys.emplace_back(
                client_detail::VideoFieldKeyText(static_cast<client_detail::VideoField>(i)));
    } catch (const std::exception&) {
    }
    return keys;
}

std::vector<VideoRuleCondition> SplitVideoProfileRule(const std::string& rule) {
    std::vector<VideoRuleCondition> conditions;
    try {
        const auto values = client_detail::SplitRuleConditions(rule);
        for (size_t i = 0; i < values.size(); ++i) {
            if (values[i].empty())
                continue;
            const auto field = static_cast<client_detail::VideoField>(i);
            VideoRuleCondition c;
            c.key = client_detail::VideoFieldKeyText(field);
            c.value = values[i];
            c.isList = client_detail::IsAlternativesField(field);
            conditions.push_back(std::move(c));
        }
    } catch (const std::exception&) {
        conditions.clear();
    }
    return conditions;
}

}  // namespace Calyx
