// One position change in a futures: the engine against the plain form, in the same run.
//
// Each benchmark does both in turns and reports `ratio`, the plain form's time over the engine's, and the engine's
// nanoseconds a change. The argument is the number of price points less one (160: 161 points, five scenarios).
#include <cstddef>
#include <cstdint>

#include "BenchMarkets.h"
#include "EngineBook.h"
#include "InTurns.h"
#include "PlainNodes.h"

namespace {

using bench::Change;
using bench::FuturesMarket;

void PositionChange(benchmark::State& state, const char* codeMCS, Enums::SpreadMarginType calendar,
                    Enums::SpreadMarginType interContract)
{
    const auto repository = MakeRepository(FuturesMarket(static_cast<std::int32_t>(state.range(0) / 2), codeMCS));
    plain::Rules rules;
    rules.calendar = calendar;
    rules.interContract = interContract;
    EngineBook engine(*repository, rules);
    PlainNodes plainly(*repository->GetFutures(1), rules);
    bench::InTurns(
        state, bench::ChangesAround(1000.0),
        [&](std::size_t, const Change& change) {
            benchmark::DoNotOptimize(engine.portfolio.SetPosition(1, change.quantity, change.price, 0));
        },
        [&](std::size_t, const Change& change) {
            benchmark::DoNotOptimize(plainly.SetPosition(change.quantity, change.price));
        });
}

using enum Enums::SpreadMarginType;
BENCHMARK_CAPTURE(PositionChange, base_contract_netting, "", Netting, HalfNetting)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(PositionChange, base_contract_half_netting, "", HalfNetting, HalfNetting)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(PositionChange, group_without_window, "GROUP", Netting, HalfNetting)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(PositionChange, group_with_window, "GROUP", Netting, Netting)->Arg(160)->Arg(1000);

// Latency of single calls, and whether it grows with the number of futures held: p50 and p99 in nanoseconds.
void CallLatency(benchmark::State& state)
{
    const auto held = static_cast<std::int32_t>(state.range(0));
    const auto repository = MakeRepository(FuturesMarket(80, "", held));
    EngineBook engine(*repository, plain::Rules{});
    for (Isin isin = 1; isin <= held; ++isin)
        benchmark::DoNotOptimize(engine.portfolio.SetPosition(isin, isin, 1000.0, 0));
    bench::Latency(state, bench::ChangesAround(1000.0), [&](std::size_t, const Change& change) {
        benchmark::DoNotOptimize(engine.portfolio.SetPosition(1, change.quantity, change.price, 0));
    });
}
BENCHMARK(CallLatency)->Arg(2)->Arg(160)->Arg(2000);

} // namespace

BENCHMARK_MAIN();
