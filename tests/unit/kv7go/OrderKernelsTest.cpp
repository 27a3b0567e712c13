// The one-pass kernels of orders against the plain sequences that they stand for, node += TransformToOrder(orders), bit
// by bit.
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "OptionFamily.h"
#include "PlainSeries.h"
#include "SeriesKinds.h"
#include "grids/LazyMemoryPool.h"
#include "nodes/RiskNode.h"

namespace test::OrderKernelsTest {
namespace {

using kv7im::Risk;
using kv7im::RiskMatrix;
using kv7im::RiskNodeFutures;
using kv7im::RiskNodeOptionSeries;
using kv7im::RiskRow;
using kv7type::Discount;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;
using Netting = Enums::SpreadMarginType;

using Kind = SeriesKind;

constexpr auto Level = Enums::ClientRiskLevel::Default;
constexpr double ChargeRatio = 1.7;

// All RiskItems, padding included.
testing::AssertionResult SameLanes(const RiskMatrix& a, const RiskMatrix& b)
{
    if (a.RowsCount() != b.RowsCount() || a.ColsCount() != b.ColsCount())
        return testing::AssertionFailure() << "other dimensions";
    for (std::size_t i = 0; i < a.GetFullSizeRegister(); ++i)
        for (std::size_t lane = 0; lane < kv7im::RiskItem::Lanes; ++lane)
            if (auto same = SameBits(a.pData()[i][lane], b.pData()[i][lane]); !same)
                return same << " at item " << i << ", lane " << lane;
    return testing::AssertionSuccess();
}

// The real cells: where sub-points are folded the lanes behind them differ and mean nothing.
testing::AssertionResult SameCells(const RiskMatrix& a, const RiskMatrix& b)
{
    if (a.RowsCount() != b.RowsCount() || a.ColsCount() != b.ColsCount())
        return testing::AssertionFailure() << "other dimensions";
    for (std::size_t row = 0; row < a.RowsCount(); ++row)
        for (std::size_t column = 0; column < a.ColsCount(); ++column)
            if (auto same = SameBits(a[row][column], b[row][column]); !same)
                return same << " at row " << row << ", column " << column;
    return testing::AssertionSuccess();
}

using Comparison = testing::AssertionResult (*)(const RiskMatrix&, const RiskMatrix&);

testing::AssertionResult Same(const Risk& a, const Risk& b, Comparison same)
{
    const kv7im::Profile& left = a.GetRisk();
    const kv7im::Profile& right = b.GetRisk();
    if (auto equal = same(left.Volatility(), right.Volatility()); !equal) return equal << " (volatility)";
    if (auto equal = same(left.InterestRate(), right.InterestRate()); !equal) return equal << " (rates)";
    if (auto equal = same(left.VolatilityMismatch(), right.VolatilityMismatch()); !equal) return equal << " (mismatch)";
    if (auto equal = same(left.Expiration(), right.Expiration()); !equal) return equal << " (deliveries)";
    for (std::size_t i = 0; i < kv7im::SpecialRiskPoints::size(); ++i)
        if (auto equal = SameBits(a.GetSpecialRiskPoints().pData()[i], b.GetSpecialRiskPoints().pData()[i]); !equal)
            return equal << " (point " << i << ')';
    return testing::AssertionSuccess();
}

testing::AssertionResult Same(const kv7im::RiskNodeBase& a, const kv7im::RiskNodeBase& b, Comparison same)
{
    if (auto equal = Same(a.Volatility(), b.Volatility(), same); !equal) return equal << " of the volatility side";
    return Same(a.Expiration(), b.Expiration(), same) << " of the delivery side";
}

testing::AssertionResult Same(const kv7im::RiskNodeBase& a, const plain::Sides& b, Comparison same)
{
    if (auto equal = Same(a.Volatility(), b.volatility, same); !equal) return equal << " of the volatility side";
    return Same(a.Expiration(), b.delivery, same) << " of the delivery side";
}

testing::AssertionResult SameRow(const RiskRow& a, const RiskRow& b)
{
    if (a.size() != b.size()) return testing::AssertionFailure() << "lengths " << a.size() << " and " << b.size();
    for (std::size_t i = 0; i < a.size(); ++i)
        if (auto same = SameBits(a[i], b[i]); !same) return same << " at price point " << i;
    return SameBits(a.min(), b.min()) << " (minimum of the row, its padding included)";
}

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

void FillAtRandom(RiskMatrix& matrix, std::mt19937& random)
{
    for (std::size_t row = 0; row < matrix.RowsCount(); ++row)
        for (std::size_t column = 0; column < matrix.ColsCount(); ++column)
            matrix[row][column] = std::uniform_real_distribution<double>(-500.0, 500.0)(random);
}

/// A futures, and a node of it that holds another thing on each of its sides.
struct FuturesBench
{
    FuturesBench(std::int32_t riskPointsN, std::int32_t volatNum, bool collateral, bool tas)
    {
        BaseContractSample contractSample;
        contractSample.RiskPointsN = riskPointsN;
        contractSample.VolatNum = volatNum;
        contract = contractSample.Make();
        FuturesSample sample;
        sample.InterestRateRiskUp = 0.3;
        sample.InterestRateRiskDown = 0.2;
        sample.MRAddOnUp = 0.01;
        sample.CalcFutPrice = 1003.7;
        sample.RealCalcPrice = 1001.3;
        if (collateral) sample.Attribute = Enums::InstrumentStatus::Collateral;
        if (tas) sample.Attribute = Enums::InstrumentStatus::TAS;
        futures = sample.Make(*contract);
        futures->RecalcInvariants();
    }

    [[nodiscard]] RiskNodeFutures Node() const
    {
        kv7im::Parameters parameters = futures->GetProfile(Level).GetParameters();
        RiskNodeFutures node(parameters, 1.0, Level, futures->IsCollateral());
        parameters.expirationScenariosCount = 3;
        Risk risk(parameters);
        std::mt19937 random(5);
        for (RiskMatrix* const matrix : {&risk.GetRisk().Volatility(), &risk.GetRisk().InterestRate(),
                                         &risk.GetRisk().VolatilityMismatch(), &risk.GetRisk().Expiration()})
            FillAtRandom(*matrix, random);
        RiskNodeOptionSeries series(parameters, 1.0, Level);
        series += risk;
        node += series;
        return node;
    }

    void AddPlainly(RiskNodeFutures& node, const OrdersMap& orders, Discount discount) const
    {
        node += plain::ScaledRisk(futures->TransformToOrder(orders, discount, Level), ChargeRatio);
    }

    std::shared_ptr<kv7im::CSpecBaseContract> contract;
    std::shared_ptr<kv7im::CSpecFutures> futures;
};

// 80 is 161 price points; 150 is 301, more than are worked on at a time.
TEST(OrderKernels, OrdersInAFuturesHaveTheBitsOfAddingTheirRisk)
{
    for (const bool collateral : {false, true})
        for (const bool tas : {false, true})
            for (const std::int32_t riskPointsN : {1, 2, 3, 4, 80, 150}) {
                const FuturesBench bench(riskPointsN, 3 + riskPointsN % 3 * 2, collateral, tas);
                RiskNodeFutures fast = bench.Node();
                RiskNodeFutures plainly = fast;
                ASSERT_NE(fast.Volatility(), fast.Expiration());
                RandomOrders orders(static_cast<unsigned>(riskPointsN), tas ? -150.0 : 700.0, tas ? 150.0 : 1300.0);
                for (const Discount discount : {Discount::Yes, Discount::No})
                    for (const std::size_t count : Counts) {
                        const OrdersMap change = orders(count);
                        fast.AddOrders(*bench.futures, change, discount, ChargeRatio);
                        bench.AddPlainly(plainly, change, discount);
                        ASSERT_TRUE(Same(fast, plainly, SameLanes)) << count << " entries, N " << riskPointsN;
                    }
            }
}

// Each way of an order to lose by itself, so that none hides behind another.
TEST(OrderKernels, EveryClassOfOrdersInAFuturesHasTheBitsOfAddingItsRisk)
{
    const FuturesBench bench(40, 5, false, false);
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
                        RiskNodeFutures fast = bench.Node();
                        RiskNodeFutures plainly = bench.Node();
                        fast.AddOrders(*bench.futures, orders, discount, ChargeRatio);
                        bench.AddPlainly(plainly, orders, discount);
                        ASSERT_TRUE(Same(fast, plainly, SameLanes));
                    }
}

// Of the rate stress a collateral futures takes the losses: what a cancellation would give back stays in the node.
TEST(OrderKernels, ACancelledOrderOfACollateralLeavesItsRateStressBehind)
{
    for (const bool collateral : {false, true}) {
        const FuturesBench bench(2, 3, collateral, false);
        const auto order = [](std::int64_t quantity) {
            return OrdersMap{{{t_bprice_int(1000.0), Direction::Buy, Type::Ordinal},
                              SOrderInfo(SOrderInfo::InitializationType::FullFill, 0, quantity)}};
        };
        RiskNodeFutures node(bench.futures->GetProfile(Level).GetParameters(), 1.0, Level, collateral);
        node.AddOrders(*bench.futures, order(3), Discount::Yes, 1.0);
        const double placed = node.Volatility().GetRisk().InterestRateDown()[0];
        node.AddOrders(*bench.futures, order(-3), Discount::Yes, 1.0);
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
                        const FuturesBench bench(2, 3, collateral, false);
                        if (leg == 1e300) bench.futures->MoneyCoef = infinity;
                        SOrderInfo info(SOrderInfo::InitializationType::FullFill, 0, quantity);
                        info.realCalcPriceFirstLeg = leg;
                        info.riskCenterSecondLeg = leg;
                        info.participantCalSpreadMarginType = netting;
                        RiskNodeFutures fast = bench.Node();
                        RiskNodeFutures plainly = bench.Node();
                        for (const Direction direction : {Direction::Buy, Direction::Sell}) {
                            const OrdersMap orders{{{t_bprice_int(1000.0), direction, type}, info}};
                            fast.AddOrders(*bench.futures, orders, Discount::No, ChargeRatio);
                            bench.AddPlainly(plainly, orders, Discount::No);
                            ASSERT_TRUE(Same(fast, plainly, SameLanes));
                        }
                    }
}

TEST(OrderKernels, OrdersInAFuturesNeedNoMemoryHoweverManyTheyAre)
{
    const FuturesBench bench(80, 5, false, false);
    RiskNodeFutures node = bench.Node();
    const OrdersMap orders = RandomOrders(3, 700.0, 1300.0)(500);
    using kv7im::auxiliary::LazyMemoryPool;
    std::size_t free = 0;
    for (std::size_t bulk = 0; bulk < LazyMemoryPool::BulkCount; ++bulk)
        free += LazyMemoryPool::FreeBlocks(bulk);
    const std::size_t asked = LazyMemoryPool::SystemAllocations();
    static_assert(noexcept(node.AddOrders(*bench.futures, orders, Discount::No, 1.0)));
    node.AddOrders(*bench.futures, orders, Discount::No, 1.0);
    std::size_t freeNow = 0;
    for (std::size_t bulk = 0; bulk < LazyMemoryPool::BulkCount; ++bulk)
        freeNow += LazyMemoryPool::FreeBlocks(bulk);
    EXPECT_EQ(freeNow, free);
    EXPECT_EQ(LazyMemoryPool::SystemAllocations(), asked);
}

// The engine's nodes under the same changes as the plain ones.
struct Pair
{
    explicit Pair(const Kind& ofKind)
        : kind(ofKind),
          family(FamilyOf(kind)),
          series(SeriesNode()),
          futures(family.futures->GetProfile(Level).GetParameters(), 1.0, Level, family.futures->IsCollateral()),
          plainSeries(*family.series, Dimensions(), Level, ChargeRatio),
          plainFutures(family.futures->GetProfile(Level).GetParameters(), family.futures->IsCollateral())
    {
        // A position in the futures first: its cells are not those of the series.
        const auto flat = family.futures->DescribePosition(0, 0.0, Level);
        futures.ReplacePosition(flat, family.futures->DescribePosition(-3, 990.0, Level), 1.0);
        plainFutures += family.futures->TransformToPosition(-3, 990.0, Level);
    }

    void Add(std::size_t option, const OrdersMap& orders, bool inSpread)
    {
        if (inSpread)
            series.AddOrdersInSpread(family.Option(option), orders, ChargeRatio, futures, kind.lossesOnly);
        else
            series.AddOrders(family.Option(option), orders, ChargeRatio);
        plainSeries.AddOrders(family.Option(option), orders, inSpread ? &plainFutures : nullptr);
    }

    void SetPosition(std::size_t option, std::int64_t before, std::int64_t after)
    {
        const auto describe = [&](std::int64_t quantity) {
            return family.Option(option).DescribePosition(quantity, 40.0, Level);
        };
        series.ReplacePositionInSpread(describe(before), describe(after), ChargeRatio, futures, kind.lossesOnly);
        plainSeries.SetPosition(family.Option(option), after, 40.0, 0.0, &plainFutures);
    }

    void ExpectSame() const
    {
        ASSERT_TRUE(Same(series, plainSeries.Sides(), SameLanes)) << "of the series";
        ASSERT_TRUE(Same(futures, plainFutures, kind.subPoints ? SameCells : SameLanes)) << "of the futures";
    }

    void ExpectSameRowsAndMargins()
    {
        const auto whole = Risk::CollapseProperty::NegativeAndPositive;
        const auto fast = series.GetRolledUpRiskNode(whole);
        const plain::Sides sides = plainSeries.Sides();
        const plain::CollapsedRows plainly(sides);
        ASSERT_TRUE(SameRow(fast.Volatility(), plainly.volatility));
        ASSERT_TRUE(SameRow(fast.Expiration(), plainly.delivery));
        ASSERT_TRUE(fast.ExpirationPoints() == sides.delivery.GetSpecialRiskPoints());
        const plain::Margins change = plainSeries.UpdateMargins(*family.contract);
        ASSERT_TRUE(SameBits(series.UpdateInitialMarginValue(*family.contract), change.volatility));
        ASSERT_TRUE(SameBits(series.UpdateInitialMarginDeliveryValue(*family.contract), change.delivery));
    }

    Kind kind;
    OptionFamily family;
    RiskNodeOptionSeries series;
    RiskNodeFutures futures;
    PlainSeries plainSeries;
    plain::FuturesNode plainFutures;

private:
    [[nodiscard]] kv7im::Parameters Dimensions() const
    {
        kv7im::Parameters parameters = family.Option(0).GetParameters(Level);
        if (!kind.deliveries) parameters.expirationScenariosCount = 0;
        return parameters;
    }
    [[nodiscard]] RiskNodeOptionSeries SeriesNode() const
    {
        if (Dimensions().hasSubPoints())
            return RiskNodeOptionSeries(Dimensions(), family.series->GetBindingArray(Level), 1.0, Level);
        return RiskNodeOptionSeries(Dimensions(), 1.0, Level);
    }
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
                ASSERT_NO_FATAL_FAILURE(pair.ExpectSameRowsAndMargins());
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
            }
    }
}

// Positions and orders take turns with one remembered view; what is added by other means makes it forgotten.
TEST(OrderKernels, PositionsAndOrdersOfASeriesInSpreadShareTheViewThatItRemembers)
{
    for (const Kind& kind : AllSeriesKinds()) {
        SCOPED_TRACE(kind.Text());
        Pair pair(kind);
        RandomOrders orders(17, 0.0, 120.0);
        std::int64_t held = 0;
        for (int step = 0; step < 12; ++step) {
            pair.SetPosition(2, held, 5 - 2 * step);
            held = 5 - 2 * step;
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
            pair.Add(static_cast<std::size_t>(step) % 8, orders(1 + static_cast<std::size_t>(step) % 3), true);
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
            if (step % 4 != 3) continue;
            const auto view = [&](const RiskNodeOptionSeries& node) {
                return kind.lossesOnly ? node.GetTransformedRisk() : node;
            };
            const Risk extra = pair.family.Option(1).TransformToOrder(orders(1), Level);
            pair.futures -= view(pair.series);
            pair.plainFutures -= pair.plainSeries.View();
            pair.series += extra;
            pair.plainSeries.risk += extra;
            pair.futures += view(pair.series);
            pair.plainFutures += pair.plainSeries.View();
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
            pair.family.series->MoneyCoef = std::numeric_limits<double>::infinity();
            pair.Add(0, RandomOrders(9, 0.0, 120.0)(2), inSpread);
            ASSERT_NO_FATAL_FAILURE(pair.ExpectSame());
        }
}

// A price point out of every delivery is no part of any until an order says so: with none the rows stay as they are.
TEST(OrderKernels, NoOrdersLeaveTheDeliveryRowsAsTheyAre)
{
    Pair pair({3, 3, false, true, false, false});
    pair.Add(0, {}, false);
    EXPECT_EQ(pair.series.Volatility().GetRisk().Expiration()[0][6], 0.0);
    pair.Add(0, RandomOrders(2, 0.0, 120.0)(1), false);
    EXPECT_TRUE(std::isnan(pair.series.Volatility().GetRisk().Expiration()[0][6]));
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
            const std::size_t columns = pair.series.Volatility().GetRisk().Volatility().ColsCount();
            for (const auto level : Enums::PossibleClientRiskLevelValues)
                pair.family.series->AdjustedSubRiskStep[level] = step;
            pair.family.series->RecalcInvariants();
            for (const auto& option : pair.family.options)
                option->RecalcInvariants();
            ASSERT_NE(pair.family.Option(0).GetGrid(Level).ColsCount(), columns);
            const OrdersMap more = orders(2);
            pair.series.AddOrdersInSpread(pair.family.Option(0), more, 1.0, pair.futures, lossesOnly);
            pair.series.AddOrders(pair.family.Option(0), more, 1.0);
            EXPECT_EQ(pair.series.Volatility().GetRisk().Volatility().ColsCount(), columns);
            const auto whole = Risk::CollapseProperty::NegativeAndPositive;
            EXPECT_TRUE(SameRow(pair.series.GetRolledUpRiskNode(whole).Volatility(),
                                pair.series.Volatility().CollapseToRiskRow(whole)));
        }
}

} // namespace
} // namespace test::OrderKernelsTest
