// TableMain: what the programs that print tables have in common: what fails is told on standard error and ends with 1.
#pragma once

#include <cstdio>
#include <exception>

namespace bench {

template <class Body>
int Report(const char* program, const Body& body)
{
    try {
        body();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", program, error.what());
        return 1;
    }
}

} // namespace bench
