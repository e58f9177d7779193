// The client entry keys that the identification records name: what a host must record
// for identification to work, and all it needs to record.
#include <algorithm>
#include <exception>

#include "calyx/client_list.h"
#include "client/client_list_access.h"
#include "client/client_list_matcher.h"

namespace Calyx {

using detail::ClientListAccess;

std::vector<std::string> ProfileIDKeys(const DMSClientList& list) {
    std::vector<std::string> keys;
    try {
        for (const detail::IdentificationRecord& record : ClientListAccess::Records(list))
            for (const detail::IdentificationRule& rule : record.rules)
                keys.push_back(rule.key);
        std::sort(keys.begin(), keys.end());
        keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    } catch (const std::exception&) {
        keys.clear();
    }
    return keys;
}

}  // namespace Calyx
