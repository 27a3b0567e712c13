// The worst cells of a contract: what is marked in its panel, and the words on it.
#pragma once

#include <string>
#include <vector>

#include "MarginExplanation.h"

namespace quindal::picture {

/// The worst cell of one side, as far as it belongs to one contract.
struct Mark
{
    QuindalIM::MarginSide side;
    const QuindalIM::ContractOutcome* contract; // null: the entity loses nothing
};

[[nodiscard]] std::vector<Mark> MarksOf(const QuindalIM::ContractGrid& grid,
                                        const QuindalIM::MarginExplanation& explanation);
/// True for a cell at a point of the grid, or at its edge, which has a price.
[[nodiscard]] bool IsOnGrid(const Mark& mark) noexcept;
/// True for a stress point, beyond one end of the grid.
[[nodiscard]] bool IsBeyond(const Mark& mark) noexcept;
/// True for a stress point beyond the lower end.
[[nodiscard]] bool IsBelow(const Mark& mark) noexcept;
[[nodiscard]] bool IsDelivery(const Mark& mark) noexcept;

/// Words that stand at the mark in the plot: price or stress point, and money.
[[nodiscard]] std::string LabelOnGrid(const Mark& mark);
[[nodiscard]] std::string LabelBeyond(const Mark& mark);
/// All that there is to say of it, for the lines below the plot.
[[nodiscard]] std::string WordsOf(const Mark& mark, const QuindalIM::ContractGrid& grid);

} // namespace quindal::picture
