// What a command can end with: its exit statuses, and the errors that lead to them.
//
//   0  good            what was asked for is done
//   1  refused         an input file, an instrument or an order was refused; the message names file, line and reason
//   2  wrong usage     the words of the command line
//   3  the link        router, login, server, a time-out
//   4  internal        anything else: a defect of ours, a full disk, exhausted memory, a processor without AVX2
//   5  does not hold   figures were computed, and what they were held against does not hold: a limit is exceeded, or a
//                      figure of the clearing is another one
//
// A signal ends the run as that signal, after tidying up.
#pragma once

#include <stdexcept>
#include <string>

namespace quindal {

enum ExitStatus : int
{
    StatusGood = 0,
    StatusRefused = 1,
    StatusUsage = 2,
    StatusLink = 3,
    StatusInternal = 4,
    StatusDoesNotHold = 5,
};

/// An error for the person at the terminal: its text is printed behind "quindal: ", its status ends the run.
class CommandError : public std::runtime_error
{
public:
    CommandError(ExitStatus status, const std::string& text) : std::runtime_error(text), m_status(status) {}
    [[nodiscard]] ExitStatus Status() const noexcept { return m_status; }

private:
    ExitStatus m_status;
};

/// A fault of an input. The text begins with the file and, where there is one, the line.
class InputError : public CommandError
{
public:
    explicit InputError(const std::string& text) : CommandError(StatusRefused, text) {}
};

/// Wrong words on the command line.
class UsageError : public CommandError
{
public:
    explicit UsageError(const std::string& text) : CommandError(StatusUsage, text) {}
};

/// A failure of router, login or server, or a time-out.
class LinkError : public CommandError
{
public:
    explicit LinkError(const std::string& text) : CommandError(StatusLink, text) {}
};

} // namespace quindal
