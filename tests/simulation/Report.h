// Report: a day that went wrong, made short, and what was played, as text.
#pragma once

#include <cstdint>
#include <string>

#include "Player.h"
#include "Step.h"

namespace simulation {

/// The command that plays a day again.
[[nodiscard]] std::string CommandFor(const Day& day);
/// The day without the steps that its finding does not need, and those made plain.
[[nodiscard]] Day ShrunkDay(const Day& day, const Finding& finding, const Distortion& distortion = {});
/// What a day was found to do, the command that repeats it, and the fewest steps that still show it, with their calls.
[[nodiscard]] std::string Shrink(const Day& day, const Finding& finding, const Distortion& distortion = {});
/// All calls of a day.
[[nodiscard]] std::string StoryOf(const Day& day);
/// Steps of each kind, and comparisons.
[[nodiscard]] std::string TextOf(const Tally& tally, std::uint64_t days);

} // namespace simulation
