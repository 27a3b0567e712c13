// The version of the program and of what it is made of.
#pragma once

#include <string>

namespace quindal {

/// Lines for `quindal --version`: the program's version first, then "name: version" for each part. The parts are the
/// two libraries, those of the system that a figure or a connection goes through, the processor's instruction level
/// that all of it is compiled for, and the compiler.
[[nodiscard]] std::string VersionText();

} // namespace quindal
