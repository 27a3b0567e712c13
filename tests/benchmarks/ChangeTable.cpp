// One change of a position in the engine, from the portfolio to the margins: against the bare movement of its bytes,
// and against the plain form, in the same run. 161 price points, five scenarios, one thread; quantity and price change
// at every call.
//   change_table [--quick]     a few calls only, to see that it runs
//   change_table WORDS         the rows that have these words in their name, to look at with a profiler
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchMarkets.h"
#include "CallTimes.h"
#include "EngineBook.h"
#include "PlainNodes.h"
#include "Roof.h"
#include "TableMain.h"
#include "TextTable.h"

namespace {

using bench::Change;
using bench::Kind;
using bench::Number;
using bench::Roof;
using enum Enums::SpreadMarginType;

constexpr std::int32_t RiskPointsN = 80; // 161 price points

struct Row
{
    std::string name;
    void (*roof)(Roof&);
    plain::Market market;
    plain::Rules rules;
    Isin isin; // that changes: the futures, or an option
    double price;
    double goal; // ours over the roof, at most
};

plain::Rules RulesOf(Enums::SpreadMarginType calendar, Enums::SpreadMarginType interContract)
{
    plain::Rules rules;
    rules.calendar = calendar;
    rules.interContract = interContract;
    return rules;
}

std::vector<Row> Rows()
{
    const auto futures = [](Roof& roof) { roof.Move<16, 13>(); };
    const auto optionAlone = [](Roof& roof) { roof.Move<12, 8>(); };
    const auto optionInSpread = [](Roof& roof) { roof.Move<34, 28>(); };
    const auto optionLosses = [](Roof& roof) { roof.Move<36, 30>(); };
    const plain::Market contract = bench::FuturesMarket(RiskPointsN, "");
    const plain::Market group = bench::FuturesMarket(RiskPointsN, "GROUP");
    const auto options = [](const Kind& kind) { return bench::OptionMarket(kind, RiskPointsN); };
    const plain::Rules netting = RulesOf(Netting, HalfNetting);
    return {
        {"futures, level 0", futures, bench::FuturesOutOfSpread(RiskPointsN), netting, 1, 1000.0, 2.3},
        {"futures, MMS netting", futures, contract, netting, 1, 1000.0, 2.8},
        {"futures, MMS half netting", futures, contract, RulesOf(HalfNetting, HalfNetting), 1, 1000.0, 2.8},
        {"futures, MCS with window", futures, group, RulesOf(Netting, Netting), 1, 1000.0, 4.0},
        {"option alone", optionAlone, options({}), netting, 101, 60.0, 5.0},
        {"option in spread", optionInSpread, options({.inSpread = true}), netting, 101, 60.0, 3.0},
        {"option, losses only", optionLosses, options({.inSpread = true, .lossesOnly = true}), netting, 101, 60.0, 5.0},
    };
}

void ThrowUnlessEqual(const plain::Margins& ours, const plain::Margins& plainly, const std::string& name)
{
    if (ours.volatility != plainly.volatility || ours.delivery != plainly.delivery)
        throw std::runtime_error(name + ": the engine and the plain form have different margins");
}

std::vector<std::string> Measure(const Row& row, const bench::CycleClock& clock, bool quick)
{
    const auto repository = MakeRepository(row.market);
    EngineBook engine(*repository, row.rules);
    PlainNodes plainNodes(*repository->GetFutures(1), row.rules);
    Roof roof;
    const kv7im::CSpecOption* const option = engine.GetInstruments().GetOption(row.isin);
    const std::vector<Change> changes = bench::ChangesAround(row.price);

    const auto move = [&](std::size_t) { row.roof(roof); };
    const auto plainly = [&](std::size_t i) {
        const Change& change = changes[i % changes.size()];
        if (option != nullptr)
            plainNodes.SetOption(*option, change.quantity, change.price, 0.0, false);
        else
            plainNodes.SetPosition(change.quantity, change.price);
    };
    const auto ours = [&](std::size_t i) {
        const Change& change = changes[i % changes.size()];
        if (engine.portfolio.SetPosition(row.isin, change.quantity, change.price, 0) != 0)
            throw std::runtime_error(row.name + ": a change is refused");
    };
    const auto [roofTime, plainTime, ourTime] =
        bench::MediansInTurns(clock, quick ? 3 : 500, changes.size(), move, plainly, ours);
    ThrowUnlessEqual(engine.Margins(), plainNodes.Margins(), row.name);
    const bench::Percentiles calls = bench::PercentilesOf(clock, quick ? 100 : 300'000, ours);
    return {row.name,
            Number(roofTime),
            Number(plainTime),
            Number(ourTime),
            Number(ourTime / roofTime, 2),
            Number(row.goal, 1),
            Number(plainTime / ourTime, 1),
            Number(calls.p50),
            Number(calls.p99),
            Number(calls.p9999),
            Number(calls.worst)};
}

void PrintTable(bool quick, const std::string& words)
{
    const bench::CycleClock clock;
    bench::TextTable table(
        "One change in the engine, nanoseconds",
        {"Change", "roof", "plain", "ours", "ours/roof", "goal", "plain/ours", "p50", "p99", "p99.99", "worst"});
    for (const Row& row : Rows())
        if (row.name.find(words) != std::string::npos) table.Add(Measure(row, clock, quick));
    table.Print();
    std::printf(
        "\nThe cycle counter runs at %.3f GHz; reading it takes %.1f ns, which are taken off every single call.\n",
        clock.Frequency(), clock.Overhead());
}

} // namespace

int main(int argc, char** argv)
{
    const std::string argument = argc > 1 ? argv[1] : "";
    const bool quick = argument == "--quick";
    return bench::Report("change_table", [&] { PrintTable(quick, quick ? "" : argument); });
}
