// TreeRules: the pairs of rules that a firm and its account may have, for tests that hold under each of them.
#pragma once

#include <string>
#include <vector>

#include "QuindalIM.h"

struct TreeRules
{
    QuindalMarginRule firm;
    QuindalMarginRule account;
};

[[nodiscard]] inline std::vector<TreeRules> AllTreeRules()
{
    constexpr QuindalMarginRule rules[] = {QUINDAL_MARGIN_RULE_NETTING, QUINDAL_MARGIN_RULE_HALF_NETTING,
                                           QUINDAL_MARGIN_RULE_GROSS};
    std::vector<TreeRules> all;
    for (const QuindalMarginRule firm : rules)
        for (const QuindalMarginRule account : rules)
            all.push_back({firm, account});
    return all;
}

/// "NettingBelowGross": the firm's rule and the account's.
[[nodiscard]] inline std::string NameOf(const TreeRules& rules)
{
    const auto nameOf = [](QuindalMarginRule rule) -> std::string {
        switch (rule) {
        case QUINDAL_MARGIN_RULE_NETTING:
            return "Netting";
        case QUINDAL_MARGIN_RULE_HALF_NETTING:
            return "HalfNetting";
        default:
            return "Gross";
        }
    };
    return nameOf(rules.firm) + "Below" + nameOf(rules.account);
}
