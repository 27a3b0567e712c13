// Require: what a fuzz target says must hold. A fact that does not hold ends the run, and libFuzzer keeps the input.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void Require(bool holds, const char* fact)
{
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", fact);
    std::abort();
}
