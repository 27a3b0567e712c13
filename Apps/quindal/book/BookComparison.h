// What changed the margin of a client between two books: the difference of the two GO, split over the positions that
// differ, to the cent.
//
// One book is turned into the other position by position, each step a margin of the engine's over a book made anew.
// What a step changes depends on what was changed before it, so the way is gone twice: by the codes of the instruments,
// and the same backwards. The part of a position is the average of its two steps. The steps of either way add up to the
// difference, so the averages do, too; half cents are rounded down, and the cents that are left over go to the largest
// part. A position that both books have alike has no step and no part.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "MarginSession.h"
#include "Rows.h"

namespace quindal {

/// A position that the two books do not have alike. A quantity of 0 where a book does not have it.
struct PositionDifference
{
    std::string instrument;
    std::int64_t quantityBefore = 0;
    std::int64_t quantityAfter = 0;
    double priceBefore = 0.0; ///< As the file has it; 0: the calculated price.
    double priceAfter = 0.0;
    double part = 0.0; ///< Of the difference of the GO, money in cents.
};

struct BookDifference
{
    std::string client;
    std::string fileBefore;
    std::string fileAfter;
    double GOBefore = 0.0; ///< Money, in cents.
    double GOAfter = 0.0;
    double difference = 0.0;                   ///< In cents; the parts add up to it exactly.
    std::vector<PositionDifference> positions; ///< By the codes of the instruments.
};

/// Compares two books of a client. The session has its instruments loaded; everything else in it is replaced, and the
/// book behind stands in it in the end. Throws CallError.
[[nodiscard]] BookDifference CompareBooks(MarginSession& session, const std::string& client,
                                          const Rows<AccountRow>& accounts, const Rows<PositionRow>& before,
                                          const Rows<PositionRow>& after);

/// The average of two ways of splitting a difference, in cents: both add up to the same, and so does the result.
[[nodiscard]] std::vector<std::int64_t> AveragedParts(const std::vector<std::int64_t>& onWay,
                                                      const std::vector<std::int64_t>& otherWay);

} // namespace quindal
