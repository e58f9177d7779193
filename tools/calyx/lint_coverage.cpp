#include "lint_coverage.h"

#include <algorithm>

namespace calyx_tool {

namespace {

// Past this many members the subsets of a rule's keys are too many to enumerate; such
// rules are compared with every earlier rule instead.
constexpr size_t kMaxEnumeratedKeys = 12;

std::string Signature(const std::vector<std::string>& keys) {
    std::string out;
    for (const std::string& key : keys) {
        out += key;
        out += '\0';
    }
    return out;
}

const IdentificationRule* Earlier(const IdentificationRule* a, const IdentificationRule* b) {
    if (a == nullptr)
        return b;
    if (b == nullptr)
        return a;
    return b->position < a->position ? b : a;
}

}  // namespace

bool RuleCoverage::Covers(const IdentificationRule& earlier, const IdentificationRule& later) {
    if (earlier.matchesAll)
        return true;
    if (later.matchesAll)
        return false;
    for (const auto& [key, text] : earlier.members) {
        auto it = later.members.find(key);
        if (it == later.members.end() || it->second.find(text) == std::string::npos)
            return false;
    }
    return true;
}

const IdentificationRule* RuleCoverage::SearchGroup(const Group& group,
                                                    const std::vector<std::string>& keys,
                                                    const IdentificationRule& later) const {
    // The earlier rules whose text of one key occurs in the later rule's text of that key,
    // bucket by bucket; the key with the fewest such rules is searched.
    std::vector<const std::vector<const IdentificationRule*>*> fewest;
    size_t fewestCount = 0;
    bool first = true;
    for (size_t k = 0; k < keys.size() || (keys.empty() && k == 0); ++k) {
        const TextIndex& index = group.byKey[k];
        const std::string& text = keys.empty() ? std::string() : later.members.at(keys[k]);
        std::vector<const std::vector<const IdentificationRule*>*> buckets;
        std::set<std::string> seen;
        size_t count = 0;
        for (size_t length : index.lengths) {
            if (length > text.size())
                break;
            for (size_t start = 0; start + length <= text.size(); ++start) {
                std::string piece = text.substr(start, length);
                if (!seen.insert(piece).second)
                    continue;
                auto found = index.byText.find(piece);
                if (found != index.byText.end()) {
                    buckets.push_back(&found->second);
                    count += found->second.size();
                }
            }
        }
        if (first || count < fewestCount) {
            fewest.swap(buckets);
            fewestCount = count;
            first = false;
        }
        if (fewestCount == 0)
            return nullptr;
    }
    const IdentificationRule* best = nullptr;
    for (const auto* bucket : fewest)
        for (const IdentificationRule* candidate : *bucket) {
            if (best != nullptr && candidate->position > best->position)
                break;  // candidates are in list order
            if (Covers(*candidate, later)) {
                best = Earlier(best, candidate);
                break;
            }
        }
    return best;
}

const IdentificationRule* RuleCoverage::FirstCovering(const IdentificationRule& later) const {
    const IdentificationRule* best = firstMatchingAll_;
    if (later.matchesAll)
        return best;
    if (later.members.size() > kMaxEnumeratedKeys) {
        for (const IdentificationRule& earlier : rules_)
            if (Covers(earlier, later))
                return Earlier(best, &earlier);
        return best;
    }
    std::vector<std::string> keys;
    for (const auto& member : later.members)
        keys.push_back(member.first);
    // Only a rule whose keys are a subset of the later rule's keys can cover it.
    const size_t subsets = size_t{1} << keys.size();
    for (size_t mask = 0; mask < subsets; ++mask) {
        std::vector<std::string> subset;
        for (size_t i = 0; i < keys.size(); ++i)
            if (mask & (size_t{1} << i))
                subset.push_back(keys[i]);
        auto group = groups_.find(Signature(subset));
        if (group != groups_.end())
            best = Earlier(best, SearchGroup(group->second, subset, later));
    }
    return best;
}

void RuleCoverage::Add(IdentificationRule rule) {
    rules_.push_back(std::move(rule));
    const IdentificationRule* added = &rules_.back();
    if (added->matchesAll) {
        if (firstMatchingAll_ == nullptr)
            firstMatchingAll_ = added;
        return;
    }
    std::vector<std::string> keys;
    for (const auto& member : added->members)
        keys.push_back(member.first);
    Group& group = groups_[Signature(keys)];
    group.byKey.resize(std::max<size_t>(keys.size(), 1));
    if (keys.empty()) {
        group.byKey[0].byText[""].push_back(added);
        group.byKey[0].lengths.insert(0);
        return;
    }
    size_t k = 0;
    for (const auto& member : added->members) {
        group.byKey[k].byText[member.second].push_back(added);
        group.byKey[k].lengths.insert(member.second.size());
        ++k;
    }
}

}  // namespace calyx_tool
