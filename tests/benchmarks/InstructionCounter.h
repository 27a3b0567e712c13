// InstructionCounter: how many instructions a piece of work takes, counted one by one in a copy of the process. It
// needs no counter of the processor, which virtual machines seldom show, and gives the same number whatever else runs.
#pragma once

#include <csignal>
#include <optional>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

/// Steps of a copy of this process from its first stop to its second: body and what surrounds it. None where the system
/// lets nobody step through a process.
template <class Body>
std::optional<double> StepsBetweenStops(const Body& body)
{
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(1);
        ::raise(SIGSTOP);
        body();
        ::raise(SIGSTOP);
        ::_exit(0);
    }
    int status = 0;
    double steps = 0.0;
    const auto stoppedBy = [&](int signal) { return WIFSTOPPED(status) && WSTOPSIG(status) == signal; };
    if (child < 0 || ::waitpid(child, &status, 0) != child || !stoppedBy(SIGSTOP)) return std::nullopt;
    do {
        if (::ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr) != 0) break;
        ::waitpid(child, &status, 0);
        ++steps;
    } while (stoppedBy(SIGTRAP));
    const bool whole = stoppedBy(SIGSTOP);
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    if (!whole) return std::nullopt;
    return steps;
}

/// Instructions of body outside the kernel. What body changes stays in the copy.
template <class Body>
std::optional<double> InstructionsOf(const Body& body)
{
    const std::optional<double> around = StepsBetweenStops([] {});
    const std::optional<double> all = StepsBetweenStops(body);
    if (!around || !all) return std::nullopt;
    return *all - *around;
}

} // namespace bench
