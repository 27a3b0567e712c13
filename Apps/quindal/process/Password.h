// Passwords: where they come from, and that they do not stay in memory.
#pragma once

#include <string>
#include <utility>

namespace quindal {

/// A text that is wiped when it is done with.
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

/// The password of a user: the value of the environment variable or, where there is none, what is typed at the
/// terminal, which shows none of it and is as it was afterwards, whatever ends the prompt. Throws UsageError where
/// there is neither.
[[nodiscard]] Secret AskPassword(const std::string& variable, const std::string& user);

} // namespace quindal
