// SecretText: a text that must not be found in memory later: a password, or a text that contains one.
//
// Always true:  it stands in one piece of memory, which is overwritten at the next Assign and before it is given back.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

#include <string.h> // explicit_bzero

namespace QuindalIM {

class SecretText
{
public:
    SecretText() = default;
    ~SecretText() { Wipe(); }
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;

    /// Becomes the parts, one behind the other. The parts must not lie in this text.
    void Assign(std::initializer_list<std::string_view> parts)
    {
        Wipe();
        std::size_t size = 0;
        for (const std::string_view part : parts)
            size += part.size();
        m_text.reserve(size); // once and for all: growing would leave copies behind
        for (const std::string_view part : parts)
            m_text.append(part);
    }
    void Wipe() noexcept
    {
        m_text.resize(m_text.capacity()); // takes no new memory
        ::explicit_bzero(m_text.data(), m_text.size());
        m_text.clear();
    }
    [[nodiscard]] const std::string& Get() const noexcept { return m_text; }

private:
    std::string m_text;
};

} // namespace QuindalIM
