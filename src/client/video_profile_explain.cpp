// Why an item does or does not get a video profile: the rule splitter and the verdicts,
// read from the parser and the evaluation that video profile selection uses.
#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/core.h"
#include "client/video_profile_rules.h"

namespace Calyx {

using client_detail::CompiledVideoProfiles;
using client_detail::RuleOutcome;
using client_detail::VideoItemView;

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

std::vector<std::string> VideoRuleIgnoredPieces(const std::string& rule) {
    std::vector<std::string> ignored;
    try {
        client_detail::SplitRuleConditions(rule, &ignored);
    } catch (const std::exception&) {
        ignored.clear();
    }
    return ignored;
}

std::vector<int32_t> VideoRuleRangeBounds(const std::string& value) {
    std::vector<int32_t> bounds;
    try {
        bounds = client_detail::ReadRangeBounds(value);
    } catch (const std::exception&) {
        bounds.clear();
    }
    return bounds;
}

std::vector<VideoProfileVerdict> ExplainVideoProfiles(const Agent* agent,
                                                      const ZEVO_MEDIA_INFO* item) {
    std::vector<VideoProfileVerdict> verdicts;
    if (agent == nullptr || item == nullptr) {
        return verdicts;
    }
    try {
        const CompiledVideoProfiles* profiles =
            agent->m_compiledRules.get(agent->m_profileSettings);
        VideoItemView view;
        client_detail::MakeVideoItemView(*item, view);
        for (const client_detail::CompiledRule& rule : profiles->rules) {
            RuleOutcome outcome = client_detail::EvaluateVideoProfileRule(rule, view);
            VideoProfileVerdict verdict;
            verdict.profileName = rule.name;
            verdict.rule = rule.text;
            verdict.matched = outcome.matched;
            if (outcome.failed != nullptr) {
                size_t index = static_cast<size_t>(outcome.failed->field);
                verdict.failedKey = client_detail::VideoFieldKeyText(outcome.failed->field);
                verdict.failedCondition = outcome.failed->text;
                verdict.itemValue = view.text[index] != nullptr
                                        ? std::string(view.text[index], view.length[index])
                                        : std::to_string(view.number[index]);
            }
            verdicts.push_back(std::move(verdict));
        }
    } catch (const std::exception&) {  // out of memory: no report rather than half of one
        verdicts.clear();
    }
    return verdicts;
}

}  // namespace Calyx
