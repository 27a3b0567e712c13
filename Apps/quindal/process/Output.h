// Standard streams.
#pragma once

#include <string_view>

namespace quindal {

/// Opens something harmless as each standard stream that the caller has closed, so that no file or connection of ours
/// takes its place. Writing to such a stream still fails.
void HoldStandardStreams();

/// Flushes everything printed. A reader that has gone away ends the run as SIGPIPE does (SignalEnd); any other failure
/// is a CommandError of status 4.
void FinishOutput();

/// Prints a message on stderr, with "quindal: " before each line; control characters are shown, not sent.
void PrintMessage(std::string_view text);

} // namespace quindal
