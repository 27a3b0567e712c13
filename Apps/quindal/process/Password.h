// Passwords: where they come from, and that they do not stay in memory.
#pragma once

#include <string>
#include <utility>

namespace quindal {

/// A text that is wiped at its end.
class Secret
{
public:
    explicit Secret(std::string text) noexcept : m_text(std::move(text)) {}
    ~Secret();
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    [[nodiscard]] const std::string& Text() const noexcept { return m_text; }

private:
    std::string m_text;
};

/// The password of a user: the value of the environment variable or, without one, the text typed at the terminal, which
/// does not show it and is afterwards as it was, whatever ends the prompt. Throws UsageError when there is neither.
[[nodiscard]] Secret AskPassword(const std::string& variable, const std::string& user);

} // namespace quindal
