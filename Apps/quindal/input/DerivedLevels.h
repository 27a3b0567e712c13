// Levels under the netting rule have records of their own. Without a record in the file the margin of such a level is
// 0.00 whatever its clients hold; the records can be derived from those of its clients.
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
    std::vector<const PositionRow*> below; ///< Records of its clients, in the order of the file.

    /// "firm AA01", "account HOUSE".
    [[nodiscard]] std::string Name() const;
};

/// The levels under netting that have no record: firms, then accounts, each in the order of the accounts. The rows of
/// the positions outlive the result.
[[nodiscard]] std::vector<EmptyLevel> LevelsWithoutRecords(const Rows<AccountRow>& accounts,
                                                           const Rows<PositionRow>& positions);

/// Firms under the gross rule that no position reaches, though their clients hold some: positions of clients are handed
/// up only where the firm or its account is under half_netting. Their margin is 0.00, and so is their part of an
/// account that sums its firms' margins. In the order of the accounts.
[[nodiscard]] std::vector<std::string> FirmsThatNothingReaches(const Rows<AccountRow>& accounts,
                                                               const Rows<PositionRow>& positions);

struct DerivedRecords
{
    std::vector<PositionRow> rows; ///< Without lines.
    std::vector<std::string> warnings;
};

/// Derives one record an instrument: the sums of the clients' quantities and of their quantities after the last
/// clearing, at the price at which quantity times price is the sum of the clients'. Where quantities cancel and that
/// sum does not, a warning names instrument and sum. `calculatedPrice` gives an instrument's price for rows without
/// one.
[[nodiscard]] DerivedRecords Derive(const std::vector<EmptyLevel>& levels,
                                    const std::function<double(const std::string&)>& calculatedPrice);

} // namespace quindal
