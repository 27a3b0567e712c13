// Fit: the largest quantity with which a figure stays within a limit.
//
// The figure need not be monotone, nor need the quantities that fit stand together: a position that hedges first lowers
// a margin, an order may have plateaus and corners. What is known of it is how much it may fall from one quantity to
// the next lower one. So the search goes down from the top: where the figure is over the limit by D and a contract
// fewer lowers it by M at most, no quantity within D / M contracts below can fit, and they are passed over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace quindal {

struct FitSearch
{
    std::int64_t most = 0; ///< The search goes from here down to 0.
    double limit = 0.0;
    /// The figure falls by this much at most when the quantity falls by one; infinite when nothing is known.
    double fall = 0.0;
    /// Quantities at which the figure may jump by more: the bound holds above each of them and below it.
    std::vector<std::int64_t> jumps;
    /// The figure of a quantity, quick, to within `tolerance`.
    std::function<double(std::int64_t)> figure;
    double tolerance = 0.0;
    /// Whether the quantity fits, by its exact figure; asked only where the quick one does not rule it out.
    std::function<bool(std::int64_t)> fits;
};

struct FitFound
{
    std::optional<std::int64_t> quantity; ///< None: no quantity fits, nothing included.
    std::size_t evaluations = 0;          ///< How often a figure was asked for.
};

[[nodiscard]] FitFound LargestThatFits(const FitSearch& search);

} // namespace quindal
