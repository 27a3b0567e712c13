// Names of users, which stand in the router's permissions and in its subjects: nothing may break out of them.
#pragma once

#include <string>
#include <string_view>

#include "Printable.h"

namespace quindal {

[[nodiscard]] inline bool IsUserName(std::string_view name)
{
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
    return !name.empty() && name.find_first_not_of(letters) == std::string_view::npos;
}

/// Why the name is no user name.
[[nodiscard]] inline std::string NotAUserName(std::string_view name)
{
    return "\"" + Printable(name) + "\": a user's name consists of letters, digits, \"_\" and \"-\"";
}

} // namespace quindal
