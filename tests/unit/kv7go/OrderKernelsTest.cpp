// The one-pass kernels of orders against the plain sequences that they stand for, node += TransformToOrder(orders), bit
// by bit.
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "NodePairs.h"
#include "OptionFamily.h"
#include "SeriesKinds.h"
#include "grids/LazyMemoryPool.h"

namespace test::OrderKernelsTest {
namespace {

using kv7im::Risk;
using kv7im::RiskNodeFutures;
using kv7type::Discount;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;
using Netting = Enums::SpreadMarginType;

using Kind = SeriesKind;

constexpr auto Level = PairLevel;

/// Orders of every kind: both sides and none, all kinds, all ways of netting, placed, cancelled and come to nothing.
class RandomOrders
{
public:
    RandomOrders(unsigned seed, double lowest, double highest) : m_random(seed), m_price(lowest, highest) {}

    OrdersMap operator()(std::size_t count)
    {
        OrdersMap orders;
        while (orders.size() < count)
            orders.emplace(Key(), Info());
        return orders;
    }

private:
    KeyPriceType Key()
    {
        return {t_bprice_int(m_price(m_random)), static_cast<Direction>(m_random() % 3),
                static_cast<Type>(m_random() % 5)};
    }
    SOrderInfo Info()
    {
        const std::int64_t size = std::uniform_int_distribution<std::int64_t>(-2000, 2000)(m_random);
        const std::int64_t quantities[] = {size, 1, -1, 0, size * 1'000'003};
        SOrderInfo info(SOrderInfo::InitializationType::FullFill, 0, quantities[m_random() % 5]);
        info.realCalcPriceFirstLeg = m_price(m_random);
        info.realCalcPriceSecondLeg = m_price(m_random);
        info.riskCenterFirstLeg = m_price(m_random);
        info.riskCenterSecondLeg = m_price(m_random);
        const Netting nettings[] = {Netting::Unused, Netting::HalfNetting, Netting::Netting};
        info.participantCalSpreadMarginType = nettings[m_random() % 3];
        return info;
    }

    std::mt19937 m_random;
    std::uniform_real_distribution<double> m_price;
};

// From none to more than are classified at once.
constexpr std::size_t Counts[] = {1, 1, 2, 0, 1, 7, 1, 40};

/// A futures, and a node of it that holds another thing on each of its sides: that of a series with deliveries.
struct FuturesBench
{
    FuturesBench(std::int32_t riskPointsN, std::int32_t volatNum, bool collateral, bool tas)
        : series({riskPointsN, volatNum, false, true, false, collateral}), futures(*series.family.futures)
    {
        series.family.futures->IsTAS = tas;
        series.SetPosition(0, -7, 60.0, futures);
        series.SetPosition(3, -11, 20.0, futures);
    }

    SeriesPair series;
    FuturesPair futures;
};

// 80 is 161 price points; 150 is 301, more than are worked on at a time.
TEST(OrderKernels, OrdersInAFuturesHaveTheBitsOfAddingTheirRisk)
{
    for (const bool collateral : {false, true})
        for (const bool tas : {false, true})
            for (const std::int32_t riskPointsN : {1, 2, 3, 4, 80, 150})
                for (const bool withSeries : {false, true}) {
                    FuturesBench bench(riskPointsN, 3 + riskPointsN % 3 * 2, collateral, tas);
                    FuturesPair alone(*bench.series.family.futures);
                    FuturesPair& futures = withSeries ? bench.futures : alone;
                    ASSERT_EQ(futures.engine.Volatility() != futures.engine.Expiration(), withSeries);
                    RandomOrders orders(static_cast<unsigned>(riskPointsN), tas ? -150.0 : 700.0, tas ? 150.0 : 1300.0);
                    for (const Discount discount : {Discount::Yes, Discount::No})
                        for (const std::size_t count : Counts) {
                            futures.AddOrders(orders(count), discount);
                            ASSERT_NO_FATAL_FAILURE(futures.ExpectSame(Lanes::All))
                                << count << " entries, N " << riskPointsN;
                            ASSERT_NO_FATAL_FAILURE(futures.ExpectSameRows());
                        }
                }
}

// Each way of an order to lose by itself, so that none hides behind another.
TEST(OrderKernels, EveryClassOfOrdersInAFuturesHasTheBitsOfAddingItsRisk)
{
    const OptionFamily family = FamilyOf({40, 5, false, false, false, false});
    for (const Direction direction : {Direction::Buy, Direction::Sell, Direction::Undefined})
        for (const Type type : {Type::Ordinal, Type::MultiLeg, Type::FirstLeg, Type::SecondLeg, Type::Undefined})
            for (const Netting netting : {Netting::Unused, Netting::HalfNetting, Netting::Netting})
                for (const Discount discount : {Discount::Yes, Discount::No})
                    for (const double price : {-60.0, -0.5, 0.0, 3.25, 990.0, 1015.0}) {
                        SOrderInfo info(SOrderInfo::InitializationType::FullFill, 7, 13);
                        info.realCalcPriceFirstLeg = 1001.25;
                        info.realCalcPriceSecondLeg = 1009.75;
                        info.riskCenterFirstLeg = 1003.5;
                        info.riskCenterSecondLeg = 1006.125;
                        info.participantCalSpreadMarginType = netting;
                        const OrdersMap orders{{{t_bprice_int(price), direction, type}, info}};
                        FuturesPair futures(*family.futures);
                        futures.SetPosition(-3, 990.0);
                        futures.AddOrders(orders, discount);
                        ASSERT_NO_FATAL_FAILURE(futures.ExpectSame(Lanes::All));
                    }
}

// Of the rate stress a collateral futures takes the losses: what a cancellation would give back stays in the node.
TEST(OrderKernels, ACancelledOrderOfACollateralLeavesItsRateStressBehind)
{
    for (const bool collateral : {false, true}) {
        const OptionFamily family = FamilyOf({2, 3, false, true, false, collateral});
        const auto order = [](std::int64_t quantity) {
            return OrdersMap{{{t_bprice_int(1000.0), Direction::Buy, Type::Ordinal},
                              SOrderInfo(SOrderInfo::InitializationType::FullFill, 0, quantity)}};
        };
        RiskNodeFutures node(family.futures->GetProfile(Level).GetParameters(), 1.0, Level, collateral);
        node.AddOrders(*family.futures, order(3), Discount::Yes, 1.0);
        const double placed = node.Volatility().GetRisk().InterestRateDown()[0];
        node.AddOrders(*family.futures, order(-3), Discount::Yes, 1.0);
        EXPECT_LT(placed, 0.0);
        EXPECT_EQ(node.Volatility().GetRisk().InterestRateDown()[0], collateral ? placed : 0.0);
        EXPECT_EQ(node.Volatility().GetRisk().Volatility(0)[0], 0.0);
    }
}

TEST(OrderKernels, OrdersInAFuturesOfUnusualNumbersHaveTheBitsOfThePlainForm)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const bool collateral : {false, true})
        for (const std::int64_t quantity :
             {std::int64_t{0}, std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()})
            for (const double leg : {nan, infinity, -infinity, 1e300, -0.0})
                for (const Type type : {Type::Ordinal, Type::FirstLeg, Type::SecondLeg})
                    for (const Netting netting : {Netting::HalfNetting, Netting::Netting}) {
                        FuturesBench bench(2, 3, collateral, false);
                        if (leg == 1e300) bench.series.family.futures->MoneyCoef = infinity;
                        SOrderInfo info(SOrderInfo::InitializationType::FullFill, 0, quantity);
                        info.realCalcPriceFirstLeg = leg;
                        info.riskCenterSecondLeg = leg;
                        info.participantCalSpreadMarginType = netting;
                        for (const Direction direction : {Direction::Buy, Direction::Sell}) {
                            const OrdersMap orders{{{t_bprice_int(1000.0), direction, type}, info}};
                            bench.futures.AddOrders(orders, Discount::No);
                            ASSERT_NO_FATAL_FAILURE(bench.futures.ExpectSame(Lanes::All));
                        }
                    }
}

TEST(OrderKernels, OrdersInAFuturesNeedNoMemoryHoweverManyTheyAre)
{
    FuturesBench bench(80, 5, false, false);
    RiskNodeFutures& node = bench.futures.engine;
    const kv7im::CSpecFutures& instrument = *bench.series.family.futures;
    const OrdersMap orders = RandomOrders(3, 700.0, 1300.0)(500);
    using kv7im::auxiliary::LazyMemoryPool;
    std::size_t free = 0;
    for (std::size_t bulk = 0; bulk < LazyMemoryPool::BulkCount; ++bulk)
        free += LazyMemoryPool::FreeBlocks(bulk);
    const std::size_t asked = LazyMemoryPool::SystemAllocations();
    static_assert(noexcept(node.AddOrders(instrument, orders, Discount::No, 1.0)));
    node.AddOrders(instrument, orders, Discount::No, 1.0);
    std::size_t freeNow = 0;
    for (std::size_t bulk = 0; bulk < LazyMemoryPool::BulkCount; ++bulk)
        freeNow += LazyMemoryPool::FreeBlocks(bulk);
    EXPECT_EQ(freeNow, free);
    EXPECT_EQ(LazyMemoryPool::SystemAllocations(), asked);
}

// A series and the futures that it is in spread with.
struct Pair
{
    explicit Pair(const Kind& ofKind) : kind(ofKind), series(ofKind), futures(*series.family.futures)
    {
        futures.SetPosition(-3, 990.0); // its cells are not those of the series
    }

    void Add(std::size_t option, const OrdersMap& orders, bool inSpread)
    {
        if (inSpread)
            series.AddOrders(option, orders, futures);
        else
            series.AddOrders(option, orders);
    }

    void ExpectSame() const
    {
        ASSERT_NO_FATAL_FAILURE(series.ExpectSame(Lanes::All));
        ASSERT_NO_FATAL_FAILURE(futures.ExpectSame(kind.subPoints ? Lanes::Real : Lanes::All));
    }

    Kind kind;
    SeriesPair series;
    FuturesPair futures;
};

TEST(OrderKernels, OrdersInAnOptionOfASeriesAloneHaveTheBitsOfAddingTheirRisk)
{
    for (const Kind& kind : AllSeriesKinds()) {
        if (kind.lossesOnly) continue; // a series standing alone shows nothing to anybody
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        RandomOrders orders(static_cast<unsigned>(kind.riskPointsN), 0.0, 120.0);
        std::size_t option = 0;
        for (int round = 0; round < 2; ++round)
            for (const std::size_t count : Counts) {
                pair.Add(option++ % 8, orders(count), false);
                ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
                ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSameRows());
                ASSERT_NO_FATAL_FAILURE(pair.series.ExpectSameMargins());
            }
    }
}

TEST(OrderKernels, OrdersInAnOptionOfASeriesInSpreadHaveTheBitsOfTakingTheOldViewOutAndPuttingTheNewOneIn)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        RandomOrders orders(static_cast<unsigned>(kind.riskPointsN) + 50, 0.0, 120.0);
        std::size_t option = 3;
        for (int round = 0; round < 2; ++round)
            for (const std::size_t count : Counts) {
                pair.Add(option++ % 8, orders(count), true);
                ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
                ASSERT_NO_FATAL_FAILURE(pair.futures.ExpectSameRows());
            }
    }
}

// Positions and orders take turns with one remembered view; a change that the futures is not told of makes it
// forgotten.
TEST(OrderKernels, PositionsAndOrdersOfASeriesInSpreadShareTheViewThatItRemembers)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        RandomOrders orders(17, 0.0, 120.0);
        for (int step = 0; step < 12; ++step) {
            pair.series.SetPosition(2, 5 - 2 * step, 40.0, pair.futures);
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
            pair.Add(static_cast<std::size_t>(step) % 8, orders(1 + static_cast<std::size_t>(step) % 3), true);
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
            if (step % 4 != 3) continue;
            pair.Add(1, orders(1), false);
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
        }
    }
}

TEST(OrderKernels, OrdersInAnOptionOfUnusualNumbersHaveTheBitsOfThePlainForm)
{
    for (const Kind& kind : AllSeriesKinds())
        for (const bool inSpread : {false, true}) {
            SCOPED_TRACE(kind.Text());
            Pair pair(kind);
            for (const std::int64_t quantity :
                 {std::numeric_limits<std::int64_t>::min(), std::int64_t{0}, std::numeric_limits<std::int64_t>::max()})
                for (const double price : {-1e13, 0.0, 1e13})
                    for (const Direction direction : {Direction::Buy, Direction::Sell}) {
                        pair.Add(1,
                                 {{{t_bprice_int(price), direction, Type::Ordinal},
                                   SOrderInfo(SOrderInfo::InitializationType::FullFill, 0, quantity)}},
                                 inSpread);
                        ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
                    }
            pair.series.family.series->MoneyCoef = std::numeric_limits<double>::infinity();
            pair.Add(0, RandomOrders(9, 0.0, 120.0)(2), inSpread);
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
        }
}

// A price point out of every delivery is no part of any until an order says so: with none the rows stay as they are.
TEST(OrderKernels, NoOrdersLeaveTheDeliveryRowsAsTheyAre)
{
    Pair pair({3, 3, false, true, false, false});
    pair.Add(0, {}, false);
    EXPECT_EQ(pair.series.engine.Volatility().GetRisk().Expiration()[0][6], 0.0);
    pair.Add(0, RandomOrders(2, 0.0, 120.0)(1), false);
    EXPECT_TRUE(std::isnan(pair.series.engine.Volatility().GetRisk().Expiration()[0][6]));
    ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
}

// The instruments may outgrow a node: the series is recomputed on another grid while a node of the old width stands.
TEST(OrderKernels, ANodeNarrowerOrWiderThanTheGridIsChangedWhereBothHaveColumns)
{
    for (const double step : {12.5, 100.0})
        for (const bool lossesOnly : {false, true}) {
            Pair pair({4, 3, true, true, lossesOnly, false});
            RandomOrders orders(4, 0.0, 120.0);
            pair.Add(0, orders(1), true);
            kv7im::RiskNodeOptionSeries& node = pair.series.engine;
            OptionFamily& family = pair.series.family;
            const std::size_t columns = node.Volatility().GetRisk().Volatility().ColsCount();
            for (const auto level : Enums::PossibleClientRiskLevelValues)
                family.series->AdjustedSubRiskStep[level] = step;
            family.series->RecalcInvariants();
            for (const auto& option : family.options)
                option->RecalcInvariants();
            ASSERT_NE(family.Option(0).GetGrid(Level).ColsCount(), columns);
            const OrdersMap more = orders(2);
            node.AddOrdersInSpread(family.Option(0), more, 1.0, pair.futures.engine, lossesOnly);
            node.AddOrders(family.Option(0), more, 1.0);
            EXPECT_EQ(node.Volatility().GetRisk().Volatility().ColsCount(), columns);
            const auto whole = Risk::CollapseProperty::NegativeAndPositive;
            EXPECT_TRUE(
                SameRow(node.GetRolledUpRiskNode(whole).Volatility(), node.Volatility().CollapseToRiskRow(whole)));
        }
}

} // namespace
} // namespace test::OrderKernelsTest
