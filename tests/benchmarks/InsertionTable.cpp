// How instruments enter a market: the futures of one contract, in three orders of their expirations, and an option, in
// a small and in a large market. (A whole market of options against its plain valuation: OptionValuationBenchmark.cpp.)
//   insertion_table [--quick]     small counts only, to see that it runs
//
// Times are those of the thread, so that a busy machine makes little difference.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "InstructionCounter.h"
#include "InstrumentSamples.h"
#include "TableMain.h"
#include "TextTable.h"
#include "instruments/InstrumentsRepository.h"

namespace {

using bench::Number;

void Check(Z9ERR code)
{
    if (code != 0) throw std::runtime_error("the market is refused with code " + std::to_string(code));
}

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

double MedianOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
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

/// Seconds of the futures in the market, and of as many made and computed by themselves.
struct FuturesTimes
{
    double inserted;
    double alone;
};

FuturesTimes Insert(const std::vector<FuturesSample>& futures)
{
    const BaseContractSample contract([](auto& c) {
        c.RiskPointsN = 80;
        c.VolatNum = 5;
    });
    kv7im::InstrumentsRepository repository;
    Check(contract.InsertInto(repository));
    const double inserted = SecondsOf([&] {
        for (const FuturesSample& sample : futures)
            Check(sample.InsertInto(repository));
    });
    const auto owner = contract.Make();
    std::vector<std::shared_ptr<kv7im::CSpecFutures>> made;
    const double alone = SecondsOf([&] {
        for (const FuturesSample& sample : futures)
            made.emplace_back(sample.Make(*owner))->RecalcInvariants();
    });
    return {inserted, alone};
}

void PrintFutures(bool quick)
{
    struct Order
    {
        const char* name;
        Expirations expirations;
    };
    bench::TextTable table("The futures of one contract into the market, 161 price points, five scenarios, seconds",
                           {"expirations", "futures", "alone", "inserted", "inserted/alone", "goal"});
    for (const Order order : {Order{"ascending", Expirations::Ascending}, Order{"descending", Expirations::Descending},
                              Order{"shuffled", Expirations::Shuffled}}) {
        const auto futures = FuturesOf(quick ? 160 : 3000, order.expirations);
        std::vector<double> inserted;
        std::vector<double> alone;
        for (int round = 0; round < 5; ++round) {
            const FuturesTimes times = Insert(futures);
            inserted.push_back(times.inserted);
            alone.push_back(times.alone);
        }
        table.Add({order.name, Number(static_cast<double>(futures.size())), Number(MedianOf(alone), 3),
                   Number(MedianOf(inserted), 3), Number(MedianOf(inserted) / MedianOf(alone), 2), "1.000"});
    }
    table.Print();
}

/// A market of that many futures, a hundred a contract and all contracts of one group, each futures in spread. The
/// first twenty have a series each.
class MarketOfFutures
{
public:
    explicit MarketOfFutures(std::int32_t count) : futures(count)
    {
        for (Isin isin = 1; isin <= count; ++isin) {
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
    [[nodiscard]] double InsertFifty()
    {
        const std::vector<OptionSample> options = NextFifty();
        return 1e9 / 50.0 * SecondsOf([&] {
                   for (const OptionSample& option : options)
                       Check(option.InsertInto(m_repository));
               });
    }
    /// Instructions of an option, of the next fifty. They stay outside.
    [[nodiscard]] std::optional<double> CountFifty()
    {
        const std::vector<OptionSample> options = NextFifty();
        const std::optional<double> counted = bench::InstructionsOf([&] {
            for (const OptionSample& option : options)
                Check(option.InsertInto(m_repository));
        });
        if (!counted) return counted;
        return *counted / 50.0;
    }

    std::int32_t futures;

private:
    static constexpr Isin Series = 20;

    std::vector<OptionSample> NextFifty()
    {
        std::vector<OptionSample> options;
        const std::string series = "SER" + std::to_string(m_next / 50 % Series + 1);
        for (const Isin end = m_next + 50; m_next < end; ++m_next)
            options.push_back({.Code = "Si-12.26M171226CA" + std::to_string(100000 + m_next),
                               .CodeVF = series,
                               .Isin = 1000000 + m_next});
        return options;
    }

    kv7im::InstrumentsRepository m_repository;
    Isin m_next = 0;
};

/// Options enter both markets in turns; medians over blocks of fifty.
void PrintOptions(bool quick)
{
    MarketOfFutures markets[]{MarketOfFutures(20), MarketOfFutures(quick ? 160 : 10'000)};
    std::vector<double> times[2];
    for (int block = 0; block < (quick ? 10 : 200); ++block)
        for (std::size_t i = 0; i < 2; ++i)
            times[i].push_back(markets[i].InsertFifty());
    bench::TextTable table("An option into the market, nanoseconds",
                           {"futures in the market", "option", "over the first", "instructions", "goal"});
    const double first = MedianOf(times[0]);
    for (std::size_t i = 0; i < 2; ++i) {
        const std::optional<double> instructions = markets[i].CountFifty();
        table.Add({Number(markets[i].futures), Number(MedianOf(times[i])), Number(MedianOf(times[i]) / first, 2),
                   instructions ? Number(*instructions) : "-", "600 to 1,000"});
    }
    table.Print();
    std::printf("\nInstructions are counted over fifty options; \"-\": the system lets nobody count them.\n");
}

} // namespace

int main(int argc, char** argv)
{
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    return bench::Report("insertion_table", [&] {
        PrintFutures(quick);
        PrintOptions(quick);
    });
}
