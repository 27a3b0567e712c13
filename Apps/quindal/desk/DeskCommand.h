// quindal desk: a page about the margins of a book.
#pragma once

#include <cstdint>

#include "BookRun.h"

namespace quindal {

struct DeskOptions : BookOptions
{
    std::uint16_t port = 0; // 0: one that is free
};

/// Runs the command: prints the address of the page and answers it until a signal asks for the end. Throws SignalEnd
/// with that signal, and CommandError for a book that cannot be used.
[[noreturn]] void RunDesk(const DeskOptions& options);

} // namespace quindal
