// InTurns: two forms of the same work, timed in turns in one run; and the latency of single calls.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "BenchMarkets.h"

namespace bench {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::duration<double, std::nano>;

inline double Quantile(std::vector<double>& times, std::size_t percent)
{
    if (times.empty()) return 0.0;
    std::sort(times.begin(), times.end());
    return times[(times.size() - 1) * percent / 100];
}

/// Reports both forms' time of a change in nanoseconds, the median of all turns, and `ratio`, the plain form's over the
/// engine's. Both forms take the number of the change and the change.
template <class Engine, class Plain>
void InTurns(benchmark::State& state, const std::vector<Change>& changes, const Engine& engine, const Plain& plainly)
{
    std::vector<double> engineTimes;
    std::vector<double> plainTimes;
    const auto each = static_cast<double>(changes.size());
    for (auto _ : state) {
        const auto start = Clock::now();
        for (std::size_t i = 0; i < changes.size(); ++i)
            engine(i, changes[i]);
        const auto between = Clock::now();
        for (std::size_t i = 0; i < changes.size(); ++i)
            plainly(i, changes[i]);
        plainTimes.push_back(Nanoseconds(Clock::now() - between).count() / each);
        engineTimes.push_back(Nanoseconds(between - start).count() / each);
    }
    state.counters["engine_ns"] = Quantile(engineTimes, 50);
    state.counters["plain_ns"] = Quantile(plainTimes, 50);
    state.counters["ratio"] = Quantile(plainTimes, 50) / Quantile(engineTimes, 50);
}

/// Reports p50 and p99 of single calls in nanoseconds.
template <class Call>
void Latency(benchmark::State& state, const std::vector<Change>& changes, const Call& call)
{
    std::vector<double> times;
    times.reserve(1 << 20);
    for (auto _ : state)
        for (std::size_t i = 0; i < changes.size(); ++i) {
            const auto start = Clock::now();
            call(i, changes[i]);
            if (times.size() < times.capacity()) times.push_back(Nanoseconds(Clock::now() - start).count());
        }
    state.counters["p50_ns"] = Quantile(times, 50);
    state.counters["p99_ns"] = Quantile(times, 99);
}

} // namespace bench
