// Codes of the common range that only the message queue and its messages return; the others are in Z9Internal.h.
#pragma once

#include "Z9Types.h"

namespace z9::mq {

inline constexpr Z9ERR kBufferTooSmall = 7;
inline constexpr Z9ERR kBufferTooLarge = 8;
inline constexpr Z9ERR kNotInitialized = 24;
inline constexpr Z9ERR kInvalidObjectState = 27;

} // namespace z9::mq
