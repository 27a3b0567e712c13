// The kernel of option valuation: the whole grid of an option at a level, four columns at a time.
#pragma once

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "valuation/OptionCalculators.h"
#include "valuation/OptionColumns.h"
#include "valuation/OptionGrid.h"

namespace kv7im {

/// The volatilities that a grid is valued at: those of the scenarios, lowest first and at least one, then that of the
/// last scenario times the up mismatch, then that of scenario 0 times the down mismatch.
class OptionVolatilities
{
public:
    explicit OptionVolatilities(std::vector<points::ScenarioVolatility> all_) noexcept : all(std::move(all_)) {}

    [[nodiscard]] std::span<const points::ScenarioVolatility> All() const noexcept { return all; }
    [[nodiscard]] std::size_t ScenariosCount() const noexcept { return all.size() - 2; }
    [[nodiscard]] const points::ScenarioVolatility& Scenario(std::size_t i) const noexcept { return all[i]; }
    [[nodiscard]] const points::ScenarioVolatility& MismatchUp() const noexcept { return all[all.size() - 2]; }
    [[nodiscard]] const points::ScenarioVolatility& MismatchDown() const noexcept { return all.back(); }

private:
    std::vector<points::ScenarioVolatility> all;
};

/// Fills cells, rate stress and mismatch of a grid. strike is the corrected one. Answers false, with the grid
/// undefined, for numbers so large, small or broken that the columns have to be valued one by one.
template <class Calculator>
[[nodiscard]] bool ValueColumnsAtOnce(const OptionColumns& columns, const points::OptionTerms& terms, double strike,
                                      const OptionVolatilities& volatilities, OptionGrid& grid);

} // namespace kv7im
