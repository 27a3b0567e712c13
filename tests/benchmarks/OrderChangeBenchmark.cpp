// One change of the orders in a futures, an option and a calendar spread: the engine against the plain form, in the
// same run; and the latency of single calls, for a client in a tree of accounts and through the calculator, with few
// and with many orders open.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchMarkets.h"
#include "CalcGOEx.h"
#include "EngineBook.h"
#include "InTurns.h"
#include "MarginOrchestrator.h"
#include "ParticipantRepository.h"
#include "PlainNodes.h"
#include "PositionCalculatorInstruments.h"

namespace {

using bench::Change;
using bench::FuturesMarket;
using bench::Kind;
using bench::OptionMarket;
using bench::OptionOfChange;
using enum Enums::SpreadMarginType;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;

constexpr Isin SpreadIsin = 201;

/// Orders placed and cancelled in turn, each with its own price, around a price.
std::vector<Change> OrdersAround(double price)
{
    std::vector<Change> changes;
    for (int i = 0; i < 32; ++i) {
        const Change placed{1 + (i * 37) % 50, price - 20.0 + (i * 13) % 41};
        changes.push_back(placed);
        changes.push_back({-placed.quantity, placed.price});
    }
    return changes;
}

/// Every other pair of a place and a cancel buys.
Direction SideOfChange(std::size_t change) { return change / 2 % 2 == 0 ? Direction::Buy : Direction::Sell; }

SClearingDeltaOrder Record(Isin isin, std::size_t i, const Change& change)
{
    SClearingDeltaOrder order;
    order.CalculatedPrice = {t_bprice_int(change.price), SideOfChange(i), Type::Ordinal};
    order.isin = isin;
    order.isBuying = SideOfChange(i) == Direction::Buy;
    order.orderInfo = SOrderInfo(SOrderInfo::InitializationType::FullFill, isin, change.quantity);
    return order;
}

/// The records as the plain form takes them, each by itself.
template <class MapOf>
std::vector<OrdersMap> Prepared(const std::vector<Change>& changes, MapOf mapOf)
{
    std::vector<OrdersMap> maps;
    for (std::size_t i = 0; i < changes.size(); ++i)
        maps.push_back(mapOf(Record(1, i, changes[i])));
    return maps;
}

OrdersMap AsItIs(const SClearingDeltaOrder& order) { return {{order.CalculatedPrice, order.orderInfo}}; }

void FuturesOrder(benchmark::State& state, const char* codeMCS, Enums::SpreadMarginType calendar,
                  Enums::SpreadMarginType interContract)
{
    const auto repository = MakeRepository(FuturesMarket(static_cast<std::int32_t>(state.range(0) / 2), codeMCS));
    plain::Rules rules;
    rules.calendar = calendar;
    rules.interContract = interContract;
    EngineBook engine(*repository, rules);
    PlainNodes plainly(*repository->GetFutures(1), rules);
    const std::vector<Change> changes = OrdersAround(1000.0);
    const std::vector<OrdersMap> prepared = Prepared(changes, AsItIs);
    bench::InTurns(
        state, changes,
        [&](std::size_t i, const Change& change) {
            const SClearingDeltaOrder order = Record(1, i, change);
            benchmark::DoNotOptimize(engine.portfolio.ChangeOrder(1, 1, &order));
        },
        [&](std::size_t i, const Change&) { benchmark::DoNotOptimize(plainly.AddOrders(prepared[i])); });
}

BENCHMARK_CAPTURE(FuturesOrder, base_contract_netting, "", Netting, HalfNetting)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(FuturesOrder, base_contract_half_netting, "", HalfNetting, HalfNetting)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(FuturesOrder, group_without_window, "GROUP", Netting, HalfNetting)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(FuturesOrder, group_with_window, "GROUP", Netting, Netting)->Arg(160)->Arg(1000);

void OptionOrder(benchmark::State& state, Kind kind)
{
    const auto repository = MakeRepository(OptionMarket(kind, static_cast<std::int32_t>(state.range(0) / 2)));
    plain::Rules rules;
    rules.clearings = 1;
    EngineBook engine(*repository, rules);
    PlainNodes plainly(*repository->GetFutures(1), rules);
    const std::vector<Change> changes = OrdersAround(60.0);
    const std::vector<OrdersMap> prepared = Prepared(changes, AsItIs);
    bench::InTurns(
        state, changes,
        [&](std::size_t i, const Change& change) {
            const Isin isin = OptionOfChange(i / 2);
            const SClearingDeltaOrder order = Record(isin, i, change);
            benchmark::DoNotOptimize(engine.portfolio.ChangeOrder(isin, 1, &order));
        },
        [&](std::size_t i, const Change&) {
            const kv7im::CSpecOption& option = *engine.GetInstruments().GetOption(OptionOfChange(i / 2));
            benchmark::DoNotOptimize(plainly.AddOrders(option, prepared[i], kind.deliveries));
        });
    const auto& node = *engine.portfolio.GetFuturesPositionByIsin(1)->GetRiskNodeOptionSeriesByVFCode("SER");
    const kv7im::Parameters dimensions = node.Volatility().GetRisk().GetParameters();
    state.counters["columns"] = static_cast<double>(dimensions.length());
    state.counters["deliveries"] = static_cast<double>(dimensions.expirationScenariosCount);
}

BENCHMARK_CAPTURE(OptionOrder, alone, Kind{})->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(OptionOrder, alone_sub_points, Kind{.subPoints = true})->Arg(160);
BENCHMARK_CAPTURE(OptionOrder, alone_deliveries, Kind{.deliveries = true})->Arg(160);
BENCHMARK_CAPTURE(OptionOrder, in_spread, Kind{.inSpread = true})->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(OptionOrder, in_spread_sub_points, Kind{.inSpread = true, .subPoints = true})->Arg(160);
BENCHMARK_CAPTURE(OptionOrder, in_spread_deliveries, Kind{.inSpread = true, .deliveries = true})->Arg(160);
BENCHMARK_CAPTURE(OptionOrder, in_spread_losses_only, Kind{.inSpread = true, .lossesOnly = true})->Arg(160);
BENCHMARK_CAPTURE(OptionOrder, in_spread_all, Kind{true, true, true, true})->Arg(160);

/// A leg's share of an order in the spread, whose first leg goes the other way.
OrdersMap LegOf(const SClearingDeltaOrder& order, Type leg, const kv7im::CSpecFutures& first,
                const kv7im::CSpecFutures& second, Enums::SpreadMarginType calendar)
{
    KeyPriceType key = order.CalculatedPrice;
    key.type = leg;
    if (leg == Type::FirstLeg) key.direction = order.isBuying ? Direction::Sell : Direction::Buy;
    SOrderInfo info = order.orderInfo;
    info.realCalcPriceFirstLeg = first.RealCalcPrice;
    info.realCalcPriceSecondLeg = second.RealCalcPrice;
    info.riskCenterFirstLeg = first.CalcFutPrice;
    info.riskCenterSecondLeg = second.CalcFutPrice;
    info.participantCalSpreadMarginType = calendar;
    return {{key, info}};
}

void MultilegOrder(benchmark::State& state, const char* codeMCS, Enums::SpreadMarginType calendar)
{
    plain::Market market = FuturesMarket(static_cast<std::int32_t>(state.range(0) / 2), codeMCS);
    market.multilegs.emplace_back();
    const auto repository = MakeRepository(market);
    plain::Rules rules;
    rules.calendar = calendar;
    EngineBook engine(*repository, rules);
    const kv7im::CSpecFutures& first = *repository->GetFutures(1);
    const kv7im::CSpecFutures& second = *repository->GetFutures(2);
    PlainNodes near(first, rules);
    PlainNodes far(second, near);
    const std::vector<Change> changes = OrdersAround(3.0);
    const auto leg = [&](Type type) {
        return Prepared(changes,
                        [&](const SClearingDeltaOrder& order) { return LegOf(order, type, first, second, calendar); });
    };
    const std::vector<OrdersMap> ofFirst = leg(Type::FirstLeg);
    const std::vector<OrdersMap> ofSecond = leg(Type::SecondLeg);
    bench::InTurns(
        state, changes,
        [&](std::size_t i, const Change& change) {
            const SClearingDeltaOrder order = Record(SpreadIsin, i, change);
            benchmark::DoNotOptimize(engine.portfolio.ChangeOrder(SpreadIsin, 1, &order));
        },
        [&](std::size_t i, const Change&) {
            benchmark::DoNotOptimize(near.AddOrders(ofFirst[i]));
            benchmark::DoNotOptimize(far.AddOrders(ofSecond[i]));
        });
}

BENCHMARK_CAPTURE(MultilegOrder, base_contract_netting, "", Netting)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(MultilegOrder, base_contract_half_netting, "", HalfNetting)->Arg(160)->Arg(1000);
BENCHMARK_CAPTURE(MultilegOrder, group_netting, "GROUP", Netting)->Arg(160)->Arg(1000);

/// A client, its firm and its settlement account over a market.
struct Tree
{
    Tree(const plain::Market& market, Enums::MarginRule firmRule, Enums::MarginRule accountRule)
        : instruments(MakeRepository(market)), calculator(participants, *instruments, accounting)
    {
        Check(calculator.RegisterSettlementAccount("L01-00000001", accountRule, Netting, HalfNetting, 1.0));
        Check(calculator.RegisterBroker("AA01", 1, 0.5, 0.5, Enums::BrokerAccountType::Ordinary, "L01-00000001",
                                        Netting, firmRule, HalfNetting, 1.0));
        Check(calculator.RegisterClient("AA01001", false, 1, 0.5, Netting, HalfNetting, 1.0, 1.0,
                                        Enums::ClientRiskLevel::Default));
    }

    static void Check(Z9ERR code)
    {
        if (code != 0) throw std::runtime_error("refused with code " + std::to_string(code));
    }

    [[nodiscard]] BraskClient& Client() { return participants.GetClient(ClientCode::Parse("AA01001")); }

    /// As the export does it.
    void Change(Isin isin, std::size_t i, const bench::Change& change)
    {
        Check(calculator.ChangeOrderEx("AA01001", isin, SideOfChange(i) == Direction::Buy, t_bprice_int(change.price),
                                       change.quantity, volatility, delivery, part, firm, account));
    }

    std::unique_ptr<kv7im::InstrumentsRepository> instruments;
    pos::PositionCalculatorInstruments accounting;
    ParticipantRepository participants;
    QuindalIM::CCalcGOEx calculator;
    double volatility = 0.0, delivery = 0.0, part = 0.0, firm = 0.0, account = 0.0;
};

plain::Market MarketWithSpread(std::int32_t riskPointsN, std::int32_t futuresCount)
{
    plain::Market market = FuturesMarket(riskPointsN, "GROUP", futuresCount);
    market.multilegs.emplace_back();
    return market;
}

// A client's order on its way up the levels: in a futures, and in a spread of two.
void OrderAtLevels(benchmark::State& state, Enums::MarginRule firmRule, Enums::MarginRule accountRule, Isin isin)
{
    Tree tree(MarketWithSpread(static_cast<std::int32_t>(state.range(0) / 2), 2), firmRule, accountRule);
    BraskClient& client = tree.Client();
    const double price = isin == SpreadIsin ? 3.0 : 1000.0;
    bench::Latency(state, OrdersAround(price), [&](std::size_t i, const Change& change) {
        const SClearingDeltaOrder order = Record(isin, i, change);
        benchmark::DoNotOptimize(margin_orchestrator::ChangeOrder(client, isin, 1, &order));
    });
}

using Rule = Enums::MarginRule;
BENCHMARK_CAPTURE(OrderAtLevels, firm_netting_account_netting, Rule::Netting, Rule::Netting, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, firm_netting_account_half, Rule::Netting, Rule::HalfNetting, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, firm_netting_account_gross, Rule::Netting, Rule::Gross, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, firm_half_account_netting, Rule::HalfNetting, Rule::Netting, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, firm_half_account_half, Rule::HalfNetting, Rule::HalfNetting, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, firm_half_account_gross, Rule::HalfNetting, Rule::Gross, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, firm_gross_account_netting, Rule::Gross, Rule::Netting, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, firm_gross_account_half, Rule::Gross, Rule::HalfNetting, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, firm_gross_account_gross, Rule::Gross, Rule::Gross, 1)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, spread_netting_netting, Rule::Netting, Rule::Netting, SpreadIsin)->Arg(160);
BENCHMARK_CAPTURE(OrderAtLevels, spread_half_half, Rule::HalfNetting, Rule::HalfNetting, SpreadIsin)->Arg(160);

// The same for an option of each kind.
void OptionOrderAtLevels(benchmark::State& state, Rule rule, Kind kind)
{
    Tree tree(OptionMarket(kind, static_cast<std::int32_t>(state.range(0) / 2)), rule, rule);
    BraskClient& client = tree.Client();
    bench::Latency(state, OrdersAround(60.0), [&](std::size_t i, const Change& change) {
        const SClearingDeltaOrder order = Record(OptionOfChange(i / 2), i, change);
        benchmark::DoNotOptimize(margin_orchestrator::ChangeOrder(client, order.isin, 1, &order));
    });
}

BENCHMARK_CAPTURE(OptionOrderAtLevels, alone_netting, Rule::Netting, Kind{})->Arg(160);
BENCHMARK_CAPTURE(OptionOrderAtLevels, alone_half, Rule::HalfNetting, Kind{})->Arg(160);
BENCHMARK_CAPTURE(OptionOrderAtLevels, in_spread_netting, Rule::Netting, Kind{.inSpread = true})->Arg(160);
BENCHMARK_CAPTURE(OptionOrderAtLevels, in_spread_half, Rule::HalfNetting, Kind{.inSpread = true})->Arg(160);
BENCHMARK_CAPTURE(OptionOrderAtLevels, in_spread_all_netting, Rule::Netting, Kind{true, true, true, true})->Arg(160);

// Through the calculator, as the export does it, with so many orders of the client open: each at a price of its own,
// all in the futures of the change, or spread over a hundred.
void OrderThroughCalculator(benchmark::State& state, Rule rule, std::int32_t futuresCount)
{
    Tree tree(MarketWithSpread(static_cast<std::int32_t>(state.range(0) / 2), futuresCount), rule, rule);
    const std::int64_t futuresHeld = futuresCount == 2 ? 1 : futuresCount;
    for (std::int64_t held = 0; held < state.range(1); ++held)
        tree.Change(static_cast<Isin>(1 + held % futuresHeld), 0, {1, 500.0 + 0.01 * static_cast<double>(held)});
    bench::Latency(state, OrdersAround(1000.0),
                   [&](std::size_t i, const Change& change) { tree.Change(1, i, change); });
}

BENCHMARK_CAPTURE(OrderThroughCalculator, netting, Rule::Netting, 2)
    ->Args({160, 1})
    ->Args({160, 100})
    ->Args({160, 10000});
BENCHMARK_CAPTURE(OrderThroughCalculator, half, Rule::HalfNetting, 2)
    ->Args({160, 1})
    ->Args({160, 100})
    ->Args({160, 10000});
BENCHMARK_CAPTURE(OrderThroughCalculator, gross, Rule::Gross, 2)->Args({160, 1})->Args({160, 100})->Args({160, 10000});
BENCHMARK_CAPTURE(OrderThroughCalculator, over_hundred_futures, Rule::Netting, 100)
    ->Args({160, 1})
    ->Args({160, 100})
    ->Args({160, 10000});

} // namespace
