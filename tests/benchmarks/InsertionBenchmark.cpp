// How instruments enter a market: the futures of one contract, in three orders of their expirations, and an option, in
// a small and in a large market. (A whole market of options against its plain valuation: OptionValuationBenchmark.cpp.)
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "InTurns.h"
#include "InstrumentSamples.h"
#include "instruments/InstrumentsRepository.h"

namespace {

void Check(Z9ERR code)
{
    if (code != 0) throw std::runtime_error("the market is refused with code " + std::to_string(code));
}

/// Seconds that this thread has worked for it: a busy machine makes little difference then.
template <class Body>
double SecondsOf(Body body)
{
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double start = now();
    body();
    return now() - start;
}

enum class Expirations
{
    Ascending,  // the first to come stays the nearest
    Descending, // each one is nearer than all before it, and moves shift and limits
    Shuffled,
};

/// The futures of one contract, two hundredths of a year apart, each with a shift of its own.
std::vector<FuturesSample> FuturesOf(std::int32_t count, Expirations order)
{
    std::vector<FuturesSample> futures;
    for (Isin isin = 1; isin <= count; ++isin) {
        FuturesSample sample("F" + std::to_string(isin), isin);
        sample.TimeToExpiration = 0.02 * isin;
        sample.RealCalcPrice = sample.CalcFutPrice + 0.01 * isin;
        sample.InterestRateRiskUp = sample.InterestRateRiskDown = 0.02;
        futures.push_back(sample);
    }
    if (order == Expirations::Descending) std::reverse(futures.begin(), futures.end());
    if (order == Expirations::Shuffled) std::shuffle(futures.begin(), futures.end(), std::mt19937(13));
    return futures;
}

// 161 price points, five scenarios. `ratio` is the time of a futures in the market over that of one made and computed
// by itself, in the same run.
void FuturesOfOneContract(benchmark::State& state, Expirations order)
{
    const BaseContractSample contract([](auto& c) {
        c.RiskPointsN = 80;
        c.VolatNum = 5;
    });
    const std::vector<FuturesSample> futures = FuturesOf(static_cast<std::int32_t>(state.range(0)), order);
    std::vector<double> inserted;
    std::vector<double> alone;
    for (auto _ : state) {
        kv7im::InstrumentsRepository repository;
        Check(contract.InsertInto(repository));
        inserted.push_back(SecondsOf([&] {
            for (const FuturesSample& sample : futures)
                Check(sample.InsertInto(repository));
        }));
        const auto owner = contract.Make();
        std::vector<std::shared_ptr<kv7im::CSpecFutures>> made;
        alone.push_back(SecondsOf([&] {
            for (const FuturesSample& sample : futures)
                made.emplace_back(sample.Make(*owner))->RecalcInvariants();
        }));
    }
    state.counters["insert_s"] = bench::Quantile(inserted, 50);
    state.counters["alone_s"] = bench::Quantile(alone, 50);
    state.counters["ratio"] = bench::Quantile(inserted, 50) / bench::Quantile(alone, 50);
}
BENCHMARK_CAPTURE(FuturesOfOneContract, ascending, Expirations::Ascending)->Arg(160)->Arg(3000)->Iterations(3);
BENCHMARK_CAPTURE(FuturesOfOneContract, descending, Expirations::Descending)->Arg(160)->Arg(3000)->Iterations(3);
BENCHMARK_CAPTURE(FuturesOfOneContract, shuffled, Expirations::Shuffled)->Arg(160)->Arg(3000)->Iterations(3);

/// A market of that many futures, a hundred a contract and all contracts of one group, each futures in spread. The
/// first twenty have a series each.
class MarketOfFutures
{
public:
    explicit MarketOfFutures(std::int32_t futures)
    {
        for (Isin isin = 1; isin <= futures; ++isin) {
            const std::string contract = "BC" + std::to_string(isin - (isin - 1) % 100);
            if (isin % 100 == 1) Check(BaseContractSample(contract, "GROUP").InsertInto(m_repository));
            FuturesSample sample("F" + std::to_string(isin), isin, contract);
            sample.TimeToExpiration = 0.02 * isin;
            Check(sample.InsertInto(m_repository));
            if (isin > Series) continue;
            OptionSeriesSample series("SER" + std::to_string(isin), sample.Code);
            Check(series.InsertInto(m_repository));
        }
    }

    /// Nanoseconds an option, of fifty that come one after the other into one series; codes as long as the market's.
    [[nodiscard]] double InsertFifty(Isin first)
    {
        std::vector<OptionSample> options;
        for (Isin number = first; number < first + 50; ++number)
            options.push_back({.Code = "Si-12.26M171226CA" + std::to_string(100000 + number),
                               .CodeVF = "SER" + std::to_string(first / 50 % Series + 1),
                               .Isin = 1000000 + number});
        return 1e9 / 50.0 * SecondsOf([&] {
                   for (const OptionSample& option : options)
                       Check(option.InsertInto(m_repository));
               });
    }

private:
    static constexpr Isin Series = 20;

    kv7im::InstrumentsRepository m_repository;
};

// Options enter a market of 20 futures and a larger one in turns; nanoseconds of an insertion, the medians over blocks
// of fifty, and their ratio.
void OptionIntoMarket(benchmark::State& state)
{
    MarketOfFutures small(20);
    MarketOfFutures large(static_cast<std::int32_t>(state.range(0)));
    std::vector<double> inSmall;
    std::vector<double> inLarge;
    Isin first = 0;
    for (auto _ : state) {
        inSmall.push_back(small.InsertFifty(first));
        inLarge.push_back(large.InsertFifty(first));
        first += 50;
    }
    state.counters["small_ns"] = bench::Quantile(inSmall, 50);
    state.counters["large_ns"] = bench::Quantile(inLarge, 50);
    state.counters["ratio"] = bench::Quantile(inLarge, 50) / bench::Quantile(inSmall, 50);
}
BENCHMARK(OptionIntoMarket)->Arg(160)->Arg(10000)->Iterations(100);

} // namespace
