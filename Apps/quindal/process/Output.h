// Standard streams.
#pragma once

#include <string_view>

namespace quindal {

/// Puts something harmless in the place of standard streams that the caller has closed, so that no file or connection
/// of ours becomes one. What is written to a closed one still fails.
void HoldStandardStreams();

/// Brings what was printed on its way. A reader that has gone away ends the run as SIGPIPE does (SignalEnd); another
/// failure is a CommandError of status 4.
void FinishOutput();

/// Prints a message on stderr, each of its lines behind "quindal: "; control characters are shown, not sent.
void PrintMessage(std::string_view text);

} // namespace quindal
