// Levels under the netting rule live by records of their own. Where a file has none for such a level, its margin is
// 0.00 whatever its clients hold; the records can be derived from theirs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Rows.h"

namespace quindal {

/// A firm or settlement account under the netting rule without a record, whose clients hold something.
struct EmptyLevel
{
    std::int32_t level = 0;
    std::string code;
    std::vector<const PositionRow*> below; ///< What its clients hold, in the order of the file.

    /// "firm AA01", "account HOUSE".
    [[nodiscard]] std::string Name() const;
};

/// Firms, then accounts, each in the order of the accounts. The rows of the positions outlive the result.
[[nodiscard]] std::vector<EmptyLevel> LevelsWithoutRecords(const Rows<AccountRow>& accounts,
                                                           const Rows<PositionRow>& positions);

/// Firms under the gross rule that nothing reaches, though their clients hold something: what clients hold is handed up
/// only where the firm or its account is under half_netting. Their margin is 0.00, and so is their part of an account
/// that sums its firms' margins. In the order of the accounts.
[[nodiscard]] std::vector<std::string> FirmsThatNothingReaches(const Rows<AccountRow>& accounts,
                                                               const Rows<PositionRow>& positions);

struct DerivedRecords
{
    std::vector<PositionRow> rows; ///< Without lines.
    std::vector<std::string> warnings;
};

/// One record an instrument: quantities and what the last clearing left of them summed, at the price at which quantity
/// times price is the sum of the clients'. Where quantities cancel and that sum does not, a warning names instrument
/// and sum. `calculatedPrice` gives an instrument's price for rows without one.
[[nodiscard]] DerivedRecords Derive(const std::vector<EmptyLevel>& levels,
                                    const std::function<double(const std::string&)>& calculatedPrice);

} // namespace quindal
