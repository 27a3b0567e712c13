// Standard streams.
#pragma once

#include <string_view>

namespace quindal {

/// Brings what was printed on its way; a failure is a CommandError of status 4.
void FinishOutput();

/// Prints a message on stderr, each of its lines behind "quindal: "; control characters are shown, not sent.
void PrintMessage(std::string_view text);

} // namespace quindal
