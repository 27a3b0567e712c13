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

} // namespace quindal
