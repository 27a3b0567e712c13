// Player: plays the steps of a day on the library and on the plain model, and compares every figure of every level
// after each step.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Host.h"
#include "PlainTree.h"
#include "Step.h"
#include "Turns.h"

namespace simulation {

/// What was played.
struct Tally
{
    std::array<std::uint64_t, Kinds> steps{};
    std::uint64_t comparisons = 0; // figures
    std::uint64_t failures = 0;    // calls that an allocation failed in

    [[nodiscard]] std::uint64_t Steps() const;
    Tally& operator+=(const Tally& other);
};

/// Where a day went wrong.
struct Finding
{
    std::size_t step = 0; // whose figures differ; 0 is the first
    std::string text;     // what differs from what
};

/// Plays a day from its beginning. Nothing when all is as it should be; the tally goes up by what was played.
[[nodiscard]] std::optional<Finding> Play(const Day& day, Tally& tally, const Distortion& distortion = {});
/// The same; a line of each call that was made goes to `story`.
[[nodiscard]] std::optional<Finding> Play(const Day& day, Tally& tally, const Distortion& distortion,
                                          std::vector<std::string>& story);

} // namespace simulation
