#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/core.h"
#include "client/video_profile_rules.h"

namespace Calyx {

using client_detail::CompiledVideoProfiles;
using client_detail::RuleOutcome;
using client_detail::VideoItemView;

std::string DMSClientChecker::getVideoProfileName(const ZEVO_MEDIA_INFO* item) {
    if (m_agent == nullptr || item == nullptr) {
        return std::string();
    }
    const CompiledVideoProfiles* profiles =
        m_agent->m_compiledRules.get(m_agent->m_profileSettings);
    VideoItemView view;
    client_detail::MakeVideoItemView(*item, view);
    for (const client_detail::CompiledRule& rule : profiles->rules) {
        if (client_detail::EvaluateVideoProfileRule(rule, view).matched) {
            return rule.name;
        }
    }
    return std::string();
}

bool DMSClientChecker::checkIsSatisfyValue(const std::string& setting, const std::string& value) {
    const std::string lowered = StringToLower(value);
    for (const std::string& alternative : StringExplode(setting, "&")) {
        if (alternative == lowered) {
            return true;
        }
    }
    return false;
}

void DMSClientChecker::getRangeBySetting(const std::string& setting, std::string& low,
                                         std::string& high) {
    std::vector<std::string> pieces = StringExplode(setting, "~");
    if (pieces.size() == 1) {
        low = pieces[0];
    } else if (pieces.size() == 2) {
        low = pieces[0];
        high = pieces[1];
    }
}

bool DMSClientChecker::checkIsSatisfyRange(const std::string& setting, const int& value) {
    std::string low;
    std::string high;
    getRangeBySetting(setting, low, high);
    if (low.empty()) {
        return false;
    }
    if (high.empty()) {
        return value == client_detail::ParseRangeBound(low);
    }
    return client_detail::ParseRangeBound(low) <= value &&
           value <= client_detail::ParseRangeBound(high);
}

}  // namespace Calyx
