// Limits: the margins of a book against the margins that it may have at most.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "MarginSession.h"
#include "Rows.h"

namespace quindal {

/// What a client, a firm or an account uses of its limit. Money in cents.
struct LimitUse
{
    std::int32_t level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT;
    std::string code;
    double GO = 0.0;
    double limit = 0.0;
    double free = 0.0; ///< What is left of the limit; below 0 where it is exceeded.

    [[nodiscard]] bool IsExceeded() const noexcept { return free < 0.0; }
};

/// Gives the margins of a book by level and code; 0 for a level that is not in it.
[[nodiscard]] std::function<double(std::int32_t level, const std::string& code)>
MarginsByLevel(const MarginFigures& figures);

/// The uses of the limits, those with the least left first; those that exceed theirs are therefore the first.
[[nodiscard]] std::vector<LimitUse> UsesOf(const Rows<MoneyRow>& limits, const MarginFigures& figures);

/// Word of a level in reports: "client", "firm", "account".
[[nodiscard]] std::string_view HierarchyWord(std::int32_t level);

} // namespace quindal
