// vxl_COnlineTimer: how often a named stretch of code runs and how long it takes.
//
// Always true:  a measurement costs two clock reads, no allocation and no lock. The counters are plain fields: a timer
//               belongs to the thread that runs the measured code. Only the list of all timers is shared.
// Numbers:      nanoseconds of the monotonic clock; the log shows seconds.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

class vxl_COnlineTimer
{
public:
    /// Joins the list of timers. A null name makes a timer that measures nothing and stands in no list.
    explicit vxl_COnlineTimer(const char* timerName);
    ~vxl_COnlineTimer();
    vxl_COnlineTimer(const vxl_COnlineTimer&) = delete;
    vxl_COnlineTimer& operator=(const vxl_COnlineTimer&) = delete;

    void BeginMeasurement() noexcept;
    void EndMeasurement() noexcept;

    /// Writes one line for each timer to the application log.
    static void LogMeasuredData();

    const std::string name;
    std::uint64_t beginMeasurementTime = 0;
    std::uint64_t totalTimeCycles = 0;
    std::uint64_t maxTimeCycles = 0;
    std::int64_t hitCount = 0;
    std::int64_t maxTimeHitCount = 0; // hit that took the longest, counted from 1

    // Inline, so that they outlive every timer of static lifetime that this header's readers define.
    inline static std::vector<vxl_COnlineTimer*> timers;
    inline static std::mutex timers_mutex;

private:
    const bool inert;
};

/// Measures its own scope; with null it measures nothing.
class vxl_COnlineTimerInitiator
{
public:
    explicit vxl_COnlineTimerInitiator(vxl_COnlineTimer* measured) noexcept : timer(measured)
    {
        if (timer != nullptr) timer->BeginMeasurement();
    }
    ~vxl_COnlineTimerInitiator()
    {
        if (timer != nullptr) timer->EndMeasurement();
    }
    vxl_COnlineTimerInitiator(const vxl_COnlineTimerInitiator&) = delete;
    vxl_COnlineTimerInitiator& operator=(const vxl_COnlineTimerInitiator&) = delete;

private:
    vxl_COnlineTimer* timer;
};

/// Logs all timers, for a host that wants the figures when a thread of its own ends
/// (vxl_COnlineTimer::LogMeasuredData).
void LogMeasuredDataOnThreadDetach();
