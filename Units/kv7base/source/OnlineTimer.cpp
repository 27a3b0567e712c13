#include "OnlineTimer.h"

#include <algorithm>

#include "z9log.h"
#include "z9time.h"

namespace {

constexpr double NanosecondsInSecond = 1e9;

std::uint64_t MonotonicNanoseconds() noexcept
{
    return static_cast<std::uint64_t>(kv7base::fast_steady_clock::now().time_since_epoch().count());
}

double Seconds(std::uint64_t nanoseconds) noexcept { return static_cast<double>(nanoseconds) / NanosecondsInSecond; }

void LogTimer(const vxl_COnlineTimer& timer)
{
    const double total = Seconds(timer.totalTimeCycles);
    const double mean = timer.hitCount == 0 ? 0.0 : total / static_cast<double>(timer.hitCount);
    KV7TRACE_INFO_EX("QuindalIM",
                     "OnlineTimer %s: Freq:%f, TotalTime:%f, MeanTime:%f, HitCount:%lld, MaxTime:%f, "
                     "MaxTimeHitCount:%lld",
                     timer.name.c_str(), NanosecondsInSecond, total, mean, static_cast<long long>(timer.hitCount),
                     Seconds(timer.maxTimeCycles), static_cast<long long>(timer.maxTimeHitCount));
}

} // namespace

vxl_COnlineTimer::vxl_COnlineTimer(const char* timerName)
    : name(timerName == nullptr ? "" : timerName), inert(timerName == nullptr)
{
    if (inert) return;
    const std::lock_guard lock(timers_mutex);
    timers.push_back(this);
}

vxl_COnlineTimer::~vxl_COnlineTimer()
{
    if (inert) return;
    const std::lock_guard lock(timers_mutex);
    std::erase(timers, this);
}

void vxl_COnlineTimer::BeginMeasurement() noexcept
{
    if (inert) return;
    ++hitCount;
    beginMeasurementTime = MonotonicNanoseconds();
}

void vxl_COnlineTimer::EndMeasurement() noexcept
{
    if (inert) return;
    const std::uint64_t elapsed = MonotonicNanoseconds() - beginMeasurementTime;
    totalTimeCycles += elapsed;
    if (elapsed > maxTimeCycles) {
        maxTimeCycles = elapsed;
        maxTimeHitCount = hitCount;
    }
}

void vxl_COnlineTimer::LogMeasuredData()
{
    const std::lock_guard lock(timers_mutex);
    for (const vxl_COnlineTimer* timer : timers)
        LogTimer(*timer);
}

void LogMeasuredDataOnThreadDetach() { vxl_COnlineTimer::LogMeasuredData(); }
