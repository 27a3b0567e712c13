// One position change in an option, from the portfolio to the margins: the engine against the plain form, in the same
// run. The argument is the number of price points less one (160: 161 points, five scenarios).
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "BenchMarkets.h"
#include "EngineBook.h"
#include "InTurns.h"
#include "PlainNodes.h"

namespace {

using bench::Change;
using bench::Kind;
using bench::OptionMarket;
using bench::OptionOfChange;
using bench::SeriesOf;

void OptionChange(benchmark::State& state, Kind kind)
{
    const auto repository = MakeRepository(OptionMarket(kind, static_cast<std::int32_t>(state.range(0) / 2)));
    plain::Rules rules;
    rules.clearings = 1;
    EngineBook engine(*repository, rules);
    PlainNodes plainly(*repository->GetFutures(1), rules);
    bench::InTurns(
        state, bench::ChangesAround(60.0),
        [&](std::size_t i, const Change& change) {
            benchmark::DoNotOptimize(engine.portfolio.SetPosition(OptionOfChange(i), change.quantity, change.price, 0));
        },
        [&](std::size_t i, const Change& change) {
            const kv7im::CSpecOption& option = *engine.GetInstruments().GetOption(OptionOfChange(i));
            benchmark::DoNotOptimize(plainly.SetOption(option, change.quantity, change.price, 0.0, kind.deliveries));
        });
    const auto& node = *engine.portfolio.GetFuturesPositionByIsin(1)->GetRiskNodeOptionSeriesByVFCode("SER");
    const kv7im::Parameters dimensions = node.Volatility().GetRisk().GetParameters();
    state.counters["columns"] = static_cast<double>(dimensions.length());
    state.counters["deliveries"] = static_cast<double>(dimensions.expirationScenariosCount);
}

constexpr Kind Spread{.inSpread = true};
BENCHMARK_CAPTURE(OptionChange, alone, Kind{})->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(OptionChange, alone_sub_points, Kind{.subPoints = true})->Arg(160);
BENCHMARK_CAPTURE(OptionChange, alone_deliveries, Kind{.deliveries = true})->Arg(160);
BENCHMARK_CAPTURE(OptionChange, in_spread, Spread)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(OptionChange, in_spread_sub_points, Kind{.inSpread = true, .subPoints = true})->Arg(160);
BENCHMARK_CAPTURE(OptionChange, in_spread_deliveries, Kind{.inSpread = true, .deliveries = true})->Arg(160);
BENCHMARK_CAPTURE(OptionChange, in_spread_losses_only, Kind{.inSpread = true, .lossesOnly = true})->Arg(160);
BENCHMARK_CAPTURE(OptionChange, in_spread_all, Kind{true, true, true, true})->Arg(160);

// Latency of single calls with ten and with forty thousand options loaded, in series of ten on a futures.
void OptionCallLatency(benchmark::State& state, Kind kind)
{
    plain::Market market = OptionMarket(kind, 80);
    const auto loaded = static_cast<std::size_t>(state.range(0));
    for (Isin isin = 1001; market.options.size() < loaded; ++isin) {
        OptionSample option = market.options[market.options.size() % 8];
        option.Code = std::to_string(isin);
        option.Isin = isin;
        option.Strike = 900.0 + isin % 200;
        if (isin % 100 == 1) { // a series of a hundred more
            OptionSeriesSample series = SeriesOf(kind);
            series.Code = "SER" + std::to_string(isin);
            market.series.push_back(series);
        }
        option.CodeVF = market.series.back().Code;
        market.options.push_back(option);
    }
    const auto repository = MakeRepository(market);
    EngineBook engine(*repository, plain::Rules{});
    for (const OptionSample& option : market.options)
        if (option.Isin < 1001) benchmark::DoNotOptimize(engine.portfolio.SetPosition(option.Isin, 1, 60.0, 0));
    bench::Latency(state, bench::ChangesAround(60.0), [&](std::size_t i, const Change& change) {
        benchmark::DoNotOptimize(engine.portfolio.SetPosition(OptionOfChange(i), change.quantity, change.price, 0));
    });
}
BENCHMARK_CAPTURE(OptionCallLatency, alone, Kind{})->Arg(10)->Arg(40000);
BENCHMARK_CAPTURE(OptionCallLatency, in_spread, Spread)->Arg(10)->Arg(40000);

} // namespace
