#include "UtcText.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace quindal {

std::string UtcText(std::chrono::system_clock::time_point time)
{
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch().count();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 32> date{};
    std::array<char, 8> fraction{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(fraction.data(), fraction.size(), ".%03dZ", static_cast<int>(milliseconds % 1000));
    return std::string(date.data()) + fraction.data();
}

std::optional<std::chrono::system_clock::time_point> ReadUtcText(const std::string& text)
{
    std::tm parts{};
    const char* const fraction = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    int milliseconds = 0;
    int length = 0;
    if (fraction == nullptr || std::sscanf(fraction, ".%3dZ%n", &milliseconds, &length) != 1 || fraction[length] != 0 ||
        length != 5)
        return std::nullopt;
    return std::chrono::system_clock::from_time_t(::timegm(&parts)) + std::chrono::milliseconds(milliseconds);
}

} // namespace quindal
