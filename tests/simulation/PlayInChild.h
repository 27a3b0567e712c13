// PlayInChild: a day in a process of its own, for days that end their process.
#pragma once

#include "PlainTree.h"
#include "Step.h"

namespace simulation {

/// Whether a child that plays the day comes to its end with nothing found. It says nothing.
[[nodiscard]] bool ComesThrough(const Day& day, const Distortion& distortion = {});
/// The day without the steps that its end does not need.
[[nodiscard]] Day ShrunkInChildren(const Day& day, const Distortion& distortion = {});

} // namespace simulation
