#include "Password.h"

#include <array>
#include <bsd/readpassphrase.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

#include "Errors.h"
#include "Printable.h"
#include "TidyUp.h"

namespace quindal {

namespace {

constexpr std::size_t LongestPassword = 1022;

// Restores the terminal as it was found. The prompt does so itself, but not for a signal, which another thread takes.
class TerminalAsItWas
{
public:
    TerminalAsItWas()
        : m_terminal(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)),
          m_tidyUp([this] { m_isKnown = ::tcgetattr(m_terminal, &m_before) == 0; }, [this] { Restore(); })
    {}
    TerminalAsItWas(const TerminalAsItWas&) = delete;
    TerminalAsItWas& operator=(const TerminalAsItWas&) = delete;

    /// Ends the line of the prompt: nothing more is typed.
    void LineHasEnded()
    {
        TidyUp::Undisturbed([this] { m_isTyping = false; });
    }

private:
    void Restore() const
    {
        if (m_isKnown) ::tcsetattr(m_terminal, TCSANOW, &m_before);
        if (m_isKnown && m_isTyping && ::write(m_terminal, "\n", 1) != 1) return;
        if (m_terminal >= 0) ::close(m_terminal);
    }

    int m_terminal;
    bool m_isKnown = false;
    bool m_isTyping = true;
    termios m_before{};
    TidyUp m_tidyUp; // last: undone first
};

/// Reads the text typed behind the prompt; false, with errno, where nobody can be asked.
bool Typed(const std::string& prompt, std::array<char, LongestPassword + 2>& typed)
{
    TerminalAsItWas terminal;
    const bool isThere = ::readpassphrase(prompt.c_str(), typed.data(), typed.size(), RPP_REQUIRE_TTY) != nullptr;
    const int reason = errno;
    terminal.LineHasEnded();
    errno = reason;
    return isThere;
}

} // namespace

Secret::~Secret() { ::explicit_bzero(m_text.data(), m_text.capacity()); }

Secret AskPassword(const std::string& variable, const std::string& user)
{
    if (const char* const fromEnvironment = std::getenv(variable.c_str())) return Secret(fromEnvironment);
    std::array<char, LongestPassword + 2> typed{};
    if (!Typed("Password of " + Printable(user) + ": ", typed))
        throw UsageError("no password: set the environment variable " + variable + ", or run in a terminal (" +
                         std::generic_category().message(errno) + ")");
    const std::size_t size = ::strnlen(typed.data(), typed.size());
    std::string text(typed.data(), size);
    ::explicit_bzero(typed.data(), typed.size());
    if (size > LongestPassword)
        throw UsageError("the password is longer than " + std::to_string(LongestPassword) + " bytes");
    return Secret(std::move(text));
}

} // namespace quindal
