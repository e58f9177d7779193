// Which earlier identification rule already catches every client a later one matches,
// found without comparing every pair, so that checking a profile list stays near-linear in
// its size.
#ifndef CALYX_TOOL_LINT_COVERAGE_H
#define CALYX_TOOL_LINT_COVERAGE_H

#include <deque>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace calyx_tool {

// One "profileID" as the client list matches it.
struct IdentificationRule {
    int position = 0;  // entry of "ProfileList", 1-based
    std::string name;
    std::map<std::string, std::string> members;  // key -> text its value must contain
    bool matchesAll = false;                     // "profileID" is not an object
};

class RuleCoverage {
public:
    // The earliest added rule that covers `later` (every client `later` matches is matched
    // by it: it matches all, or each of its members is required by `later` too with a text
    // that contains the member's text), or null.
    const IdentificationRule* FirstCovering(const IdentificationRule& later) const;
    void Add(IdentificationRule rule);

private:
    // The rules with one set of member keys, found by the text of any of their keys.
    struct TextIndex {
        std::unordered_map<std::string, std::vector<const IdentificationRule*>> byText;
        std::set<size_t> lengths;
    };
    struct Group {
        std::vector<TextIndex> byKey;  // one per key, in key order
    };

    static bool Covers(const IdentificationRule& earlier, const IdentificationRule& later);
    const IdentificationRule* SearchGroup(const Group& group, const std::vector<std::string>& keys,
                                          const IdentificationRule& later) const;

    std::deque<IdentificationRule> rules_;  // stable addresses
    const IdentificationRule* firstMatchingAll_ = nullptr;
    std::unordered_map<std::string, Group> groups_;  // by the keys, joined with '\0'
};

}  // namespace calyx_tool

#endif  // CALYX_TOOL_LINT_COVERAGE_H
