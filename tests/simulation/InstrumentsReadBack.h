// InstrumentsReadBack: whether the cursors give a market back as it was entered and changed.
#pragma once

#include <cstdint>
#include <string>

#include "PlainMargin.h"

namespace simulation {

/// What differs first, by instrument and parameter; empty when nothing does.
[[nodiscard]] std::string DifferencesReadBack(std::intptr_t calc, const plain::Market& market);

} // namespace simulation
