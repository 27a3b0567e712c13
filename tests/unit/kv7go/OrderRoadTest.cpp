// The road of orders, from the portfolio to the margins, against the plain sequence of whole-matrix operations: bit by
// bit, with positions in between.
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "Road.h"

namespace test::OrderRoadTest {
namespace {

using Enums::SpreadAspect;
using Enums::SpreadMarginType;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;

/// Places and cancels; whatever is open is cancelled sooner or later.
class RandomOrders
{
public:
    explicit RandomOrders(unsigned seed) : m_random(seed) {}

    std::mt19937& Random() { return m_random; }
    /// A key on this instrument and what to change its quantity by.
    std::pair<KeyPriceType, std::int64_t> Next(Isin isin, double lowest)
    {
        KeyPriceType key;
        key.calculatedPrice = t_bprice_int(lowest + 3.0 * static_cast<double>(m_random() % 30));
        key.direction = m_random() % 2 == 0 ? Direction::Buy : Direction::Sell;
        key.type = Type::Ordinal;
        std::int64_t& open = m_open[{isin, key.calculatedPrice.AsPlain(), key.direction}];
        const std::int64_t change = open != 0 ? -open : 1 + static_cast<std::int64_t>(m_random() % 40);
        open += change;
        return {key, change};
    }

private:
    std::mt19937 m_random;
    std::map<std::tuple<Isin, std::int64_t, Direction>, std::int64_t> m_open;
};

void WalkWithOrders(const plain::Market& market, const plain::Rules& rules, unsigned seed)
{
    Road road(market, rules);
    RandomOrders orders(seed);
    std::uniform_int_distribution<Isin> isins(100, 112); // 100 stands for the futures
    int stepsOfTwoSides = 0;
    for (int step = 0; step < 90; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        const Isin drawn = isins(orders.Random());
        const Isin isin = drawn == 100 ? RoadFutures : drawn;
        const std::int64_t quantity = 10 - static_cast<std::int64_t>(orders.Random()() % 21);
        if (step % 4 != 3) {
            const auto [key, change] = orders.Next(isin, isin == RoadFutures ? 950.0 : 5.25);
            road.ChangeOrder(isin, key, change);
        } else if (isin == RoadFutures) {
            road.SetFutures(quantity, 1010.0);
        } else {
            road.SetOption(isin, quantity, 40.25, 3);
        }
        ASSERT_NO_FATAL_FAILURE(road.ExpectSameNodesAndMargins());
        const plain::FuturesNode& owner = road.Twin().Owner();
        if (owner.Volatility() != owner.Expiration()) ++stepsOfTwoSides;
    }
    EXPECT_GT(stepsOfTwoSides, 10) << "the walk says little about deliveries";
}

TEST(OrderRoad, EveryChangeOfOrdersHasTheBitsOfThePlainSequenceUpToTheMargins)
{
    unsigned seed = 1;
    for (const bool collateral : {false, true})
        for (const auto* const mcs : {"", "GROUP"})
            for (const auto calendar : {SpreadMarginType::Netting, SpreadMarginType::HalfNetting})
                for (const auto interContract : {SpreadMarginType::Netting, SpreadMarginType::Unused})
                    for (const bool noDiscount : {false, true}) {
                        plain::Rules rules;
                        rules.calendar = calendar;
                        rules.interContract = interContract;
                        rules.noFutDiscount = noDiscount;
                        rules.shortChargeRatio = 1.3;
                        rules.clearings = 3;
                        SCOPED_TRACE(std::string(mcs) + (collateral ? " collateral" : "") +
                                     (noDiscount ? " without discount" : ""));
                        ASSERT_NO_FATAL_FAILURE(
                            WalkWithOrders(RoadMarket(mcs, collateral, SpreadAspect::InSpread), rules, seed++));
                    }
}

TEST(OrderRoad, OrdersOnAFuturesOutOfSpreadHaveTheBitsOfThePlainSequence)
{
    plain::Rules rules;
    rules.clearings = 3;
    for (const bool collateral : {false, true})
        WalkWithOrders(RoadMarket("", collateral, SpreadAspect::NotInSpread), rules, 99);
}

// A change without a quantity is no change of the orders; the carrying up of nothing leaves the cells as they are.
TEST(OrderRoad, AChangeOfNoContractsLeavesEverythingAsItWas)
{
    plain::Rules rules;
    rules.clearings = 3;
    Road road(RoadMarket("GROUP", false, SpreadAspect::InSpread), rules);
    const KeyPriceType key{t_bprice_int(60.0), Direction::Buy, Type::Ordinal};
    road.ChangeOrder(101, key, 8);
    road.ChangeOrder(101, key, 0);
    road.ChangeOrder(RoadFutures, {t_bprice_int(1000.0), Direction::Sell, Type::Ordinal}, 0);
    road.ExpectSameNodesAndMargins();
    road.ChangeOrder(110, key, 0); // of a series alone
    EXPECT_EQ(road.book.portfolio.GetFuturesPositionByIsin(RoadFutures)->FindOptionPosition(110)->GetOrders().size(),
              0U);
}

/// An order in the spread of two futures as each of them takes it. The near leg goes the other way round.
struct Legs
{
    OrdersMap first;
    OrdersMap second;
};

Legs LegsOf(const SClearingDeltaOrder& order, const kv7im::CSpecFutures& near, const kv7im::CSpecFutures& far,
            SpreadMarginType netting)
{
    SOrderInfo info = order.orderInfo;
    info.realCalcPriceFirstLeg = near.RealCalcPrice;
    info.realCalcPriceSecondLeg = far.RealCalcPrice;
    info.riskCenterFirstLeg = near.CalcFutPrice;
    info.riskCenterSecondLeg = far.CalcFutPrice;
    info.participantCalSpreadMarginType = netting;
    const Direction reversed = order.isBuying ? Direction::Sell : Direction::Buy;
    const t_bprice_int price = order.CalculatedPrice.calculatedPrice;
    return {{{{price, reversed, Type::FirstLeg}, info}},
            {{{price, order.CalculatedPrice.direction, Type::SecondLeg}, info}}};
}

plain::Market SpreadMarket(const std::string& mcs, bool enforceOnFar)
{
    BaseContractSample contract;
    contract.CodeMCS = mcs;
    contract.RiskPointsN = 9;
    contract.VolatNum = 4;
    FuturesSample near;
    near.InterestRateRiskUp = 0.2;
    near.InterestRateRiskDown = 0.1;
    near.RealCalcPrice = 1002.5;
    FuturesSample far = near;
    far.Code = "FAR";
    far.Isin = 2;
    far.CalcFutPrice = 1011.25;
    far.RealCalcPrice = 1009.0;
    far.EnforceIMSHalfNetting = enforceOnFar;
    plain::Market market{{contract}, {near, far}, {}};
    market.multilegs.emplace_back();
    return market;
}

TEST(OrderRoad, OrdersInASpreadHaveTheBitsOfThePlainSequenceOnBothLegs)
{
    unsigned seed = 1;
    for (const auto* const mcs : {"", "GROUP"})
        for (const bool enforceOnFar : {false, true})
            for (const auto calendar : {SpreadMarginType::Netting, SpreadMarginType::HalfNetting})
                for (const bool noDiscount : {false, true}) {
                    plain::Rules rules;
                    rules.calendar = calendar;
                    rules.noFutDiscount = noDiscount;
                    const auto repository = MakeRepository(SpreadMarket(mcs, enforceOnFar));
                    EngineBook book(*repository, rules);
                    const kv7im::CSpecFutures& near = *repository->GetFutures(1);
                    const kv7im::CSpecFutures& far = *repository->GetFutures(2);
                    PlainNodes plainNear(near, rules);
                    PlainNodes plainFar(far, plainNear);
                    RandomOrders orders(seed++);
                    for (int step = 0; step < 40; ++step) {
                        const auto [key, change] = orders.Next(201, -30.0);
                        SClearingDeltaOrder order;
                        order.CalculatedPrice = key;
                        order.isin = 201;
                        order.isBuying = key.direction == Direction::Buy;
                        order.orderInfo = SOrderInfo(SOrderInfo::InitializationType::FullFill, 201, change);
                        ASSERT_EQ(book.portfolio.ChangeOrder(201, 1, &order), 0U);
                        const Legs legs =
                            LegsOf(order, near, far, enforceOnFar ? SpreadMarginType::HalfNetting : calendar);
                        plainNear.AddOrders(legs.first);
                        plainFar.AddOrders(legs.second);

                        const auto owner = [&](Isin isin) -> const kv7im::RiskNodeFutures& {
                            return book.portfolio.GetFuturesPositionByIsin(isin)->GetOwnerRiskNode();
                        };
                        ASSERT_TRUE(SameNodes(owner(1), plainNear.Owner())) << "step " << step;
                        ASSERT_TRUE(SameNodes(owner(2), plainFar.Owner())) << "step " << step;
                        ASSERT_TRUE(SameNodes(*owner(1).parent, plainNear.MMS())) << "step " << step;
                        ASSERT_TRUE(SameBits({book.Margins().volatility, book.Margins().delivery},
                                             {plainNear.Margins().volatility, plainNear.Margins().delivery}))
                            << "step " << step;
                    }
                }
}

} // namespace
} // namespace test::OrderRoadTest
