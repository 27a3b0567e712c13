// quindal completion: what a shell needs to complete the words of the command line, made of its own description.
#pragma once

#include <string>

#include "Commands.h"

namespace quindal {

/// A script for bash that completes commands, their options, the words that an option takes, and files where it takes
/// one. Hidden words are left out.
[[nodiscard]] std::string BashCompletion(const CLI::App& app);

/// Adds the hidden word that prints the script. The app outlives the command.
[[nodiscard]] Command AddCompletion(CLI::App& app);

} // namespace quindal
