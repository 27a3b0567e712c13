// Whether a sanitizer watches this program. That of addresses ends the process on a request for memory that the system
// would refuse, so tests of such a refusal are left to the other builds. Both keep memory of their own beside what they
// watch, so tests that measure memory are left to the other builds, too.
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

#if defined(__SANITIZE_THREAD__) || QUINDAL_COMPILER_HAS(thread_sanitizer)
inline constexpr bool threadSanitizerWatches = true;
#else
inline constexpr bool threadSanitizerWatches = false;
#endif

} // namespace test
