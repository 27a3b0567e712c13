#include "MarketSource.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>

#include "Digest.h"
#include "Errors.h"

namespace quindal {

namespace {

using std::chrono::system_clock;

constexpr const char* EpochVariable = "SOURCE_DATE_EPOCH";
constexpr std::int64_t LastSecond = 253'402'300'799; // of the year 9999

} // namespace

system_clock::time_point ReportedTime(system_clock::time_point time)
{
    const char* const variable = std::getenv(EpochVariable);
    if (variable == nullptr) return time;
    const std::string_view text = variable;
    std::int64_t seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc{} || end != text.data() + text.size() || seconds < 0 || seconds > LastSecond)
        throw UsageError(std::string(EpochVariable) + ": \"" + variable +
                         "\" is no whole number of seconds since 1970; set it to one, or unset it");
    // The clock counts nanoseconds, and ends before the year 9999 does.
    if (seconds > std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count()) return time;
    return std::min(time, system_clock::time_point(std::chrono::seconds(seconds)));
}

MarketSource SourceOf(const InputFile& market)
{
    MarketSource source{market.name, false, Sha256(market.text), {}};
    if (market.changed) source.time = ReportedTime(*market.changed);
    return source;
}

MarketSource SourceOfReply(unsigned routerPort, std::string_view document)
{
    return {"127.0.0.1:" + std::to_string(routerPort), true, Sha256(document), ReportedTime(system_clock::now())};
}

} // namespace quindal
