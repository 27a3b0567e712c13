// CallTimes: what single calls take, each by itself, and what a call takes among many of its kind.
//
// Single calls are timed by the processor's cycle counter, which ticks at one rate whatever the core's clock does. What
// the reading itself costs is measured first and taken off every call.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <x86intrin.h>

namespace bench {

/// Nothing before it is still under way, and nothing after it has begun.
inline std::uint64_t CyclesAtBegin()
{
    _mm_lfence();
    const std::uint64_t now = __rdtsc();
    _mm_lfence();
    return now;
}
inline std::uint64_t CyclesAtEnd()
{
    unsigned core = 0;
    const std::uint64_t now = __rdtscp(&core);
    _mm_lfence();
    return now;
}

/// The value below which this share of the sorted values lies.
inline double AtShare(const std::vector<double>& sorted, double share)
{
    return sorted[static_cast<std::size_t>(static_cast<double>(sorted.size() - 1) * share)];
}

/// The cycle counter in nanoseconds.
class CycleClock
{
public:
    CycleClock() : m_nanoseconds(NanosecondsOfCycle()), m_overhead(OverheadInCycles()) {}

    /// Nanoseconds of one call of body, the reading of the counter taken off.
    template <class Body>
    [[nodiscard]] double Time(const Body& body) const
    {
        const std::uint64_t begin = CyclesAtBegin();
        body();
        return (static_cast<double>(CyclesAtEnd() - begin) - m_overhead) * m_nanoseconds;
    }
    /// What is taken off, nanoseconds.
    [[nodiscard]] double Overhead() const { return m_overhead * m_nanoseconds; }
    [[nodiscard]] double Frequency() const { return 1.0 / m_nanoseconds; } // GHz

private:
    static double NanosecondsOfCycle()
    {
        using Clock = std::chrono::steady_clock;
        const auto start = Clock::now();
        const std::uint64_t begin = CyclesAtBegin();
        while (Clock::now() - start < std::chrono::milliseconds(50)) {
        }
        const auto cycles = static_cast<double>(CyclesAtEnd() - begin);
        return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / cycles;
    }
    static double OverheadInCycles()
    {
        std::vector<double> empty;
        for (int i = 0; i < 10001; ++i) {
            const std::uint64_t begin = CyclesAtBegin();
            empty.push_back(static_cast<double>(CyclesAtEnd() - begin));
        }
        std::sort(empty.begin(), empty.end());
        return AtShare(empty, 0.5);
    }

    double m_nanoseconds;
    double m_overhead;
};

/// Nanoseconds of single calls.
struct Percentiles
{
    double p50, p99, p9999, worst;
};

/// Times `count` calls of call(i), one by one; a tenth as many go before and are not counted.
template <class Call>
Percentiles PercentilesOf(const CycleClock& clock, std::size_t count, const Call& call)
{
    for (std::size_t i = 0; i < count / 10; ++i)
        call(i);
    std::vector<double> times(count);
    for (std::size_t i = 0; i < count; ++i)
        times[i] = clock.Time([&] { call(i); });
    std::sort(times.begin(), times.end());
    return {AtShare(times, 0.5), AtShare(times, 0.99), AtShare(times, 0.9999), times.back()};
}

/// Nanoseconds a call, one value a form: the forms take turns, each with `callsATurn` calls after a few that are not
/// counted, and the median of all turns is taken.
template <class... Form>
std::array<double, sizeof...(Form)> MediansInTurns(const CycleClock& clock, std::size_t turns, std::size_t callsATurn,
                                                   const Form&... forms)
{
    std::array<std::vector<double>, sizeof...(Form)> times;
    const auto turn = [&](std::vector<double>& taken, const auto& form) {
        for (std::size_t i = 0; i < callsATurn / 4; ++i)
            form(i);
        taken.push_back(clock.Time([&] {
            for (std::size_t i = 0; i < callsATurn; ++i)
                form(i);
        }) / static_cast<double>(callsATurn));
    };
    for (std::size_t i = 0; i < turns; ++i) {
        std::size_t form = 0;
        (turn(times[form++], forms), ...);
    }
    std::array<double, sizeof...(Form)> medians{};
    for (std::size_t form = 0; form < medians.size(); ++form) {
        std::sort(times[form].begin(), times[form].end());
        medians[form] = AtShare(times[form], 0.5);
    }
    return medians;
}

} // namespace bench
