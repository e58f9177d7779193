// Why a client entry gets its original profile: the identification records walked as
// the client list's matching walks them, without stopping at the first match.
#include "calyx/client_list.h"
#include "client/client_list_access.h"
#include "client/client_list_matcher.h"
#include "client/client_list_state.h"

namespace Calyx {

using detail::ClientListAccess;

std::vector<ProfileIDStep> ExplainOrigProfileName(const DMSClientList& list,
                                                  const Json::Value& entry) {
    std::vector<ProfileIDStep> steps;
    try {
        // The records LoadProfileIDList prepared, which UpdateKeys matches against.
        const std::vector<detail::IdentificationRecord>& records = ClientListAccess::Records(list);
        for (const detail::RecordVerdict& verdict : detail::ExplainMatches(records, entry)) {
            ProfileIDStep step;
            step.profileName = verdict.record->profileName;
            step.matched = verdict.matched;
            if (!verdict.matched && verdict.failure.rule != nullptr) {
                step.failedKey = verdict.failure.rule->key;
                step.required = verdict.failure.rule->needle;
                step.clientHasKey = verdict.failure.keyPresent;
                step.clientValue = verdict.failure.clientValue;
            }
            steps.push_back(std::move(step));
        }
    } catch (const std::exception&) {
        steps.clear();
    }
    return steps;
}

}  // namespace Calyx
