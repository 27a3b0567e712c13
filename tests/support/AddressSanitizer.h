// Whether the address sanitizer watches this program. It ends the process on a request for memory that the system would
// refuse, so tests of such a refusal are left to the other builds.
#pragma once

#if defined(__has_feature)
#define QUINDAL_COMPILER_HAS(feature) __has_feature(feature)
#else
#define QUINDAL_COMPILER_HAS(feature) 0
#endif

namespace test {

#if defined(__SANITIZE_ADDRESS__) || QUINDAL_COMPILER_HAS(address_sanitizer) // as gcc says it, as clang does
inline constexpr bool addressSanitizerWatches = true;
#else
inline constexpr bool addressSanitizerWatches = false;
#endif

} // namespace test
