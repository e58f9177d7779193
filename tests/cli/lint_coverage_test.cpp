// The indexed search for covering identification rules gives exactly the answer of
// comparing the later rule with every earlier one in order.
#include <gtest/gtest.h>

#include <random>

#include "lint_coverage.h"

namespace calyx_test {
namespace {

using calyx_tool::IdentificationRule;

bool CoversByDefinition(const IdentificationRule& earlier, const IdentificationRule& later) {
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

TEST(LintCoverage, AgreesWithThePairwiseComparison) {
    std::mt19937 random(20261123);
    const std::vector<std::string> keys = {"modelName", "manufacturer", "open_user-agent"};
    const std::vector<std::string> texts = {"", "a", "ab", "b", "TV", "Smart TV", "abTV", "ba"};
    for (int round = 0; round < 200; ++round) {
        calyx_tool::RuleCoverage coverage;
        std::vector<IdentificationRule> added;
        for (int position = 1; position <= 30; ++position) {
            IdentificationRule rule;
            rule.position = position;
            rule.name = "P" + std::to_string(position);
            rule.matchesAll = random() % 40 == 0;
            for (const std::string& key : keys)
                if (!rule.matchesAll && random() % 2 == 0)
                    rule.members[key] = texts[random() % texts.size()];
            const IdentificationRule* expected = nullptr;
            for (const IdentificationRule& earlier : added)
                if (CoversByDefinition(earlier, rule)) {
                    expected = &earlier;
                    break;
                }
            const IdentificationRule* found = coverage.FirstCovering(rule);
            ASSERT_EQ(found == nullptr, expected == nullptr) << round << " " << position;
            if (found != nullptr)
                EXPECT_EQ(found->position, expected->position) << round << " " << position;
            added.push_back(rule);
            coverage.Add(rule);
        }
    }
}

}  // namespace
}  // namespace calyx_test
