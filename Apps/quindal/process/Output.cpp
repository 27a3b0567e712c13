#include "Output.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <system_error>
#include <unistd.h>

#include "Errors.h"
#include "Printable.h"
#include "Signals.h"

namespace quindal {

namespace {

/// True when the other end of a pipe or of a connection is gone.
bool HasNoReader(int descriptor)
{
    pollfd state{descriptor, POLLOUT, 0};
    return ::poll(&state, 1, 0) == 1 && (state.revents & POLLERR) != 0;
}

} // namespace

void HoldStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) >= 0) continue;
        // The lowest free number is this stream's. It is opened the wrong way round: there is nothing to read or write.
        const int opened = ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        if (opened != stream) ::close(opened);
    }
}

void FinishOutput()
{
    errno = 0;
    if (std::cout.flush()) return;
    const int reason = errno;
    if (HasNoReader(STDOUT_FILENO)) throw SignalEnd{SIGPIPE};
    throw CommandError(StatusInternal,
                       "the output could not be written" +
                           (reason == 0 ? std::string() : ": " + std::generic_category().message(reason)));
}

void PrintMessage(std::string_view text)
{
    std::string lines;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines += "quindal: " + Printable(text.substr(begin, end - begin)) + '\n';
        begin = end + 1;
    }
    std::fputs(lines.c_str(), stderr);
}

} // namespace quindal
