// Orders of one position: how changes meet their entries, and what of them reaches the node. Figures are worked out by
// hand over the three prices of HandMarket.
#include <cstdint>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "HandMarket.h"
#include "HandOrders.h"
#include "kv7errors.h"

namespace test::PositionOrdersTest {
namespace {

using namespace kv7im;
using Enums::OptionType;
using testing::ElementsAre;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;

constexpr double Tolerance = 1e-6;
constexpr Isin Call750 = 10; // worth 0, 50, 150 over 700, 800 and 900

plain::Market MarketOf()
{
    return {{HandBaseContract()},
            {HandFutures()},
            {},
            0.0,
            {HandSeries("S")},
            {HandOption("S", Call750, OptionType::Call, 750.0)}};
}

/// A book that its orders are sent to.
class Desk
{
public:
    explicit Desk(const plain::Market& market = MarketOf(), const plain::Rules& rules = {})
        : m_repository(MakeRepository(market)), engine(*m_repository, rules)
    {}

    void Change(Isin isin, const KeyPriceType& key, std::int64_t quantity)
    {
        EXPECT_EQ(engine.portfolio.ChangeOrder(isin, key, quantity), Z9ERR_OK);
    }
    void Send(Isin isin, const std::vector<SClearingDeltaOrder>& records)
    {
        EXPECT_EQ(engine.portfolio.ChangeOrder(isin, records.size(), records.data()), Z9ERR_OK);
    }
    [[nodiscard]] const OrdersMap& Orders(Isin isin = FUT) const
    {
        return engine.portfolio.GetSpecPosition(isin)->GetOrders();
    }
    [[nodiscard]] double Margin() const
    {
        EXPECT_EQ(engine.portfolio.GetVolatilityInitialMargin(), engine.portfolio.GetDeliveryVolatilityInitialMargin());
        return engine.portfolio.GetVolatilityInitialMargin();
    }

private:
    std::unique_ptr<InstrumentsRepository> m_repository;

public:
    EngineBook engine;
};

// Five bid at 810 lose 5 x 110 at 700.
TEST(PositionOrders, OrdersOfOnePriceSideAndKindAreOneEntry)
{
    Desk desk;
    desk.Change(FUT, Buy(810.0), 2);
    EXPECT_NEAR(desk.Margin(), 220.0, Tolerance);
    desk.Change(FUT, Buy(810.0), 3);
    EXPECT_NEAR(desk.Margin(), 550.0, Tolerance);
    EXPECT_EQ(desk.Orders().size(), 1U);
    EXPECT_EQ(QuantityOf(desk.Orders(), Buy(810.0)), 5);

    desk.Change(FUT, Sell(810.0), 1);                                  // the other side: 90 at 900
    desk.Change(FUT, Buy(810.00001), 1);                               // another price
    desk.Change(FUT, KeyOf(Direction::Buy, 810.0, Type::MultiLeg), 1); // another kind, which is not valued
    EXPECT_EQ(desk.Orders().size(), 4U);
    EXPECT_EQ(QuantityOf(desk.Orders(), Buy(810.0)), 5);
    EXPECT_NEAR(desk.Margin(), 660.00001, Tolerance);
    EXPECT_EQ(desk.engine.portfolio.GetSpecPosition(FUT)->GetQuantity(), 0) << "orders are no position";
}

TEST(PositionOrders, AnOrderThatIsCancelledWholeIsForgottenAndItsRiskWithIt)
{
    for (const Isin isin : {FUT, Call750}) {
        Desk desk;
        desk.Change(isin, Sell(60.0), 3);
        EXPECT_GT(desk.Margin(), 0.0);
        desk.Change(isin, Sell(60.0), -1);
        EXPECT_EQ(QuantityOf(desk.Orders(isin), Sell(60.0)), 2);
        EXPECT_GT(desk.Margin(), 0.0);
        desk.Change(isin, Sell(60.0), -2);
        EXPECT_TRUE(desk.Orders(isin).empty());
        EXPECT_NEAR(desk.Margin(), 0.0, Tolerance);
    }
}

// A call of 810 on two contracts is 220; what was sent before must not come again with the next change.
TEST(PositionOrders, EveryCallAddsItsOwnChangesOnly)
{
    Desk desk;
    desk.Change(FUT, Buy(810.0), 2);
    desk.Change(FUT, Buy(805.0), 1);
    EXPECT_NEAR(desk.Margin(), 220.0 + 105.0, Tolerance);
    desk.Change(FUT, Buy(805.0), -1);
    desk.Change(FUT, Buy(805.0), 0);
    EXPECT_NEAR(desk.Margin(), 220.0, Tolerance);
}

SClearingDeltaOrder LegRecord(double price, std::int64_t quantity, double settlement, Enums::SpreadMarginType netting)
{
    SClearingDeltaOrder record = Record(KeyOf(Direction::Buy, price, Type::FirstLeg), quantity, FUT, 201);
    record.orderInfo.initializationType = SOrderInfo::InitializationType::FullFill;
    record.orderInfo.realCalcPriceFirstLeg = settlement;
    record.orderInfo.realCalcPriceSecondLeg = settlement + 1.0;
    record.orderInfo.riskCenterFirstLeg = settlement + 2.0;
    record.orderInfo.riskCenterSecondLeg = settlement + 3.0;
    record.orderInfo.participantCalSpreadMarginType = netting;
    return record;
}

TEST(OrderRecords, OpenOrdersBecomeTheRecordsThatMakeThem)
{
    const KeyPriceType buy = Buy(800.0);
    const KeyPriceType farLeg = KeyOf(Direction::Sell, 25.0, Type::SecondLeg);
    SOrderInfo leg(SOrderInfo::InitializationType::FullFill, 201, 3);
    leg.realCalcPriceSecondLeg = 821.0;
    leg.participantCalSpreadMarginType = Enums::SpreadMarginType::HalfNetting;
    const OrdersMap open{{buy, SOrderInfo(SOrderInfo::InitializationType::OnlyDeltaQuantity, 0, 2)}, {farLeg, leg}};

    const std::vector<SClearingDeltaOrder> records = OrderRecordsOf(FUT, open);
    ASSERT_EQ(records.size(), 2U);
    auto entry = open.begin();
    for (const SClearingDeltaOrder& record : records) {
        EXPECT_EQ(record.CalculatedPrice, entry->first) << "records come in the order of the orders";
        EXPECT_EQ(record.isin, FUT);
        EXPECT_EQ(record.isBuying, record.CalculatedPrice == buy);
        EXPECT_EQ(record.orderInfo.deltaQuantity, record.isBuying ? 2 : 3);
        EXPECT_EQ(record.orderInfo.multilegIsin, record.isBuying ? 0 : 201);
        EXPECT_EQ(record.orderInfo.initializationType, entry->second.initializationType);
        EXPECT_EQ(record.orderInfo.realCalcPriceSecondLeg, record.isBuying ? 0.0 : 821.0);
        EXPECT_EQ(record.orderInfo.participantCalSpreadMarginType, entry->second.participantCalSpreadMarginType);
        ++entry;
    }
}

// The first change is valued at 800 (100 a contract), the second at 820 (120): each as it came. The entry has the
// fields of the second.
TEST(PositionOrders, ALaterChangeOverwritesTheFieldsAndAddsItsQuantity)
{
    Desk desk;
    desk.Send(FUT, {LegRecord(25.0, 2, 800.0, Enums::SpreadMarginType::HalfNetting)});
    EXPECT_NEAR(desk.Margin(), 200.0, Tolerance);
    SClearingDeltaOrder later = LegRecord(25.0, 3, 820.0, Enums::SpreadMarginType::HalfNetting);
    later.orderInfo.multilegIsin = 202;
    later.orderInfo.initializationType = SOrderInfo::InitializationType::OnlyDeltaQuantity;
    desk.Send(FUT, {later});
    EXPECT_NEAR(desk.Margin(), 200.0 + 360.0, Tolerance);

    ASSERT_EQ(desk.Orders().size(), 1U);
    const SOrderInfo& entry = desk.Orders().begin()->second;
    EXPECT_EQ(entry.deltaQuantity, 5);
    EXPECT_EQ(entry.multilegIsin, 202);
    EXPECT_EQ(entry.initializationType, SOrderInfo::InitializationType::OnlyDeltaQuantity);
    EXPECT_EQ(entry.realCalcPriceFirstLeg, 820.0);
    EXPECT_EQ(entry.realCalcPriceSecondLeg, 821.0);
    EXPECT_EQ(entry.riskCenterFirstLeg, 822.0);
    EXPECT_EQ(entry.riskCenterSecondLeg, 823.0);
    EXPECT_EQ(entry.participantCalSpreadMarginType, Enums::SpreadMarginType::HalfNetting);
}

TEST(PositionOrders, ARecordWithoutAQuantityChangesNothingNotEvenTheLegPrices)
{
    Desk desk;
    desk.Send(FUT, {LegRecord(25.0, 2, 800.0, Enums::SpreadMarginType::HalfNetting)});
    desk.Send(FUT, {LegRecord(25.0, 0, 850.0, Enums::SpreadMarginType::Unused), Record(Buy(810.0), 0)});
    ASSERT_EQ(desk.Orders().size(), 1U) << "nor does it make an entry";
    EXPECT_EQ(desk.Orders().begin()->second.realCalcPriceFirstLeg, 800.0);
    EXPECT_EQ(desk.Orders().begin()->second.participantCalSpreadMarginType, Enums::SpreadMarginType::HalfNetting);
    EXPECT_NEAR(desk.Margin(), 200.0, Tolerance);
}

// Records of one call land in the order in which they stand; those of one entry are valued as the last of them says.
TEST(PositionOrders, SeveralRecordsOfOneCallMeetInTheirEntries)
{
    Desk desk;
    desk.Send(FUT, {Record(Buy(810.0), 5), Record(Sell(790.0), 2), Record(Buy(810.0), -5), Record(Buy(810.0), 3)});
    EXPECT_EQ(desk.Orders().size(), 2U);
    EXPECT_EQ(QuantityOf(desk.Orders(), Buy(810.0)), 3);
    EXPECT_EQ(QuantityOf(desk.Orders(), Sell(790.0)), 2);
    EXPECT_NEAR(desk.Margin(), 330.0, Tolerance); // -330, -30 - 20, -220

    desk.Send(FUT, {Record(Buy(700.0), 4), Record(Buy(700.0), -4)});
    EXPECT_EQ(desk.Orders().size(), 2U) << "what comes and goes in one call leaves no entry";
    EXPECT_NEAR(desk.Margin(), 330.0, Tolerance);

    Desk legs;
    legs.Send(FUT, {LegRecord(25.0, 2, 800.0, Enums::SpreadMarginType::HalfNetting),
                    LegRecord(25.0, 1, 820.0, Enums::SpreadMarginType::HalfNetting)});
    EXPECT_NEAR(legs.Margin(), 3 * 120.0, Tolerance);
    EXPECT_EQ(legs.Orders().begin()->second.realCalcPriceFirstLeg, 820.0);
}

TEST(PositionOrders, NoRecordsAreNoChange)
{
    Desk desk;
    desk.Change(FUT, Buy(810.0), 2);
    EXPECT_EQ(desk.engine.portfolio.ChangeOrder(FUT, 0, nullptr), Z9ERR_OK);
    EXPECT_EQ(desk.engine.portfolio.ChangeOrder(Call750, 0, nullptr), Z9ERR_OK);
    EXPECT_EQ(desk.Orders().size(), 1U);
    EXPECT_NEAR(desk.Margin(), 220.0, Tolerance);
}

// The quantity enters as it is: two cancelled that were never placed relieve a bought futures of -100 at 700, by the
// 220 that they would have cost. A caller who cancels what he did not place gets what he asked for.
TEST(PositionOrders, CancellingMoreThanWasPlacedRelievesTheBook)
{
    Desk desk;
    EXPECT_EQ(desk.engine.portfolio.SetPosition(FUT, 3, 800.0, 0), Z9ERR_OK);
    desk.Change(FUT, Buy(810.0), -2);
    EXPECT_EQ(QuantityOf(desk.Orders(), Buy(810.0)), -2);
    EXPECT_NEAR(desk.Margin(), 80.0, Tolerance); // -300 + 220, 0 + 20, 300
    desk.Change(FUT, Buy(810.0), 2);
    EXPECT_TRUE(desk.Orders().empty());
    EXPECT_NEAR(desk.Margin(), 300.0, Tolerance);
}

// An order that comes alone is whole; it has a multileg only where it is one as it was sent.
TEST(PositionOrders, TheFormOfOneOrderFillsItsRecord)
{
    for (const Isin isin : {FUT, Call750}) {
        Desk desk;
        desk.Change(isin, Buy(60.0), 2);
        const SOrderInfo ordinal = desk.Orders(isin).begin()->second;
        EXPECT_EQ(ordinal.initializationType, SOrderInfo::InitializationType::FullFill);
        EXPECT_EQ(ordinal.multilegIsin, 0);
        EXPECT_EQ(ordinal.realCalcPriceFirstLeg, 0.0);
        EXPECT_EQ(ordinal.riskCenterSecondLeg, 0.0);
        EXPECT_EQ(ordinal.participantCalSpreadMarginType, Enums::SpreadMarginType::Unused);
        desk.Change(isin, Buy(60.0), -2);
        desk.Change(isin, KeyOf(Direction::Buy, 60.0, Type::MultiLeg), 1);
        EXPECT_EQ(desk.Orders(isin).begin()->second.multilegIsin, isin);
        desk.Change(isin, KeyOf(Direction::Buy, 60.0, Type::FirstLeg), 1);
        EXPECT_EQ(desk.Orders(isin).at(KeyOf(Direction::Buy, 60.0, Type::FirstLeg)).multilegIsin, 0);
    }
}

TEST(PositionOrders, TheFormOfSeveralOrdersTakesTheRecordsAsTheyAre)
{
    Desk desk;
    desk.Send(Call750, {Record(Buy(60.0), 2, Call750, 77)});
    const SOrderInfo& entry = desk.Orders(Call750).begin()->second;
    EXPECT_EQ(entry.initializationType, SOrderInfo::InitializationType::OnlyDeltaQuantity);
    EXPECT_EQ(entry.multilegIsin, 77);
}

// Half of the spot at the rate of 0.125 is a charge of 50. One offered at 900 has nothing to lose on the grid.
TEST(PositionOrders, TheRatioOfTheParticipantMultipliesTheChargesOfOrders)
{
    plain::Market market = MarketOf();
    market.baseContracts[0].ShortOptionMinimumCharge = 0.5;
    plain::Rules rules;
    for (const double ratio : {1.0, 1.5}) {
        rules.shortChargeRatio = ratio;
        Desk desk(market, rules);
        desk.Change(FUT, Sell(900.0), 1);
        EXPECT_NEAR(desk.Margin(), 50.0 * ratio, Tolerance);
        desk.Change(FUT, Buy(700.0), 2); // the charge below, twice
        EXPECT_NEAR(desk.Margin(), 100.0 * ratio, Tolerance);
        Desk option(market, rules);
        option.Change(Call750, Sell(150.0), 1);
        EXPECT_NEAR(option.Margin(), 50.0 * ratio, Tolerance);
        option.Change(Call750, Sell(150.0), -1);
        EXPECT_NEAR(option.Margin(), 0.0, Tolerance);
    }
}

// At the level Low the grid is half as wide: 750, 800 and 850.
TEST(PositionOrders, OrdersAreValuedAtTheLevelOfTheParticipant)
{
    plain::Market market = MarketOf();
    BaseContractSample& contract = market.baseContracts[0];
    contract.MarketRisk[Enums::ClientRiskLevel::Low] = contract.MarketRisk1[Enums::ClientRiskLevel::Low] =
        contract.MarketRisk2[Enums::ClientRiskLevel::Low] = 0.0625;
    plain::Rules rules;
    rules.level = Enums::ClientRiskLevel::Low;
    Desk desk(market, rules);
    desk.Change(FUT, Sell(800.0), 1);
    EXPECT_NEAR(desk.Margin(), 50.0, Tolerance);
    desk.Change(Call750, Sell(60.0), 1); // worth 100 at 850
    EXPECT_NEAR(desk.Margin(), 50.0 + 40.0, Tolerance);
}

// Bid at 790 without discount is held at 800; an option has no such rule.
TEST(PositionOrders, TheRuleOfNoDiscountIsForOrdersInFuturesOnly)
{
    plain::Rules rules;
    for (const bool noDiscount : {false, true}) {
        rules.noFutDiscount = noDiscount;
        Desk desk(MarketOf(), rules);
        desk.Change(FUT, Buy(790.0), 1);
        EXPECT_NEAR(desk.Margin(), noDiscount ? 100.0 : 90.0, Tolerance);
        Desk sale(MarketOf(), rules);
        sale.Change(FUT, Sell(810.0), 1);
        EXPECT_NEAR(sale.Margin(), noDiscount ? 100.0 : 90.0, Tolerance);
        Desk option(MarketOf(), rules);
        option.Change(Call750, Buy(30.0), 1);
        EXPECT_NEAR(option.Margin(), 30.0, Tolerance);
    }
}

// A collateral instrument takes the losses of the rate stress and nothing else, so it cannot give one back: a bid at
// 800 costs 100 and a stress of 10 at 700; when it is cancelled the 10 stay, and again, until the book is taken anew.
plain::Market MarketWithStress(Enums::InstrumentStatus attribute)
{
    plain::Market market = MarketOf();
    market.futures[0].Attribute = attribute;
    market.futures[0].MRAddOnUp = market.futures[0].MRAddOnDown = 10.0 / 800.0;
    market.series.clear();
    market.options.clear();
    return market;
}

TEST(PositionOrders, ACancelledOrderOfACollateralInstrumentLeavesItsRateStress)
{
    Desk desk(MarketWithStress(Enums::InstrumentStatus::Collateral));
    desk.Change(FUT, Buy(800.0), 1);
    EXPECT_NEAR(desk.Margin(), 110.0, Tolerance);
    desk.Change(FUT, Buy(800.0), -1);
    EXPECT_TRUE(desk.Orders().empty());
    EXPECT_NEAR(desk.Margin(), 10.0, Tolerance);
    desk.Change(FUT, Sell(800.0), 3); // 3 x 10 at the other end
    desk.Change(FUT, Sell(800.0), -3);
    EXPECT_NEAR(desk.Margin(), 30.0, Tolerance);
    EXPECT_EQ(desk.engine.portfolio.Refresh(), Z9ERR_OK);
    EXPECT_EQ(desk.Margin(), 0.0);
}

// The records of one call meet before they reach the node. Moved from 800 to 790 in one call the order brings the
// stress that it takes away; moved in two it takes nothing away and brings another.
TEST(PositionOrders, AnOrderOfACollateralInstrumentMovedInOneCallLeavesNoStressBehind)
{
    Desk atOnce(MarketWithStress(Enums::InstrumentStatus::Collateral));
    atOnce.Change(FUT, Buy(800.0), 1);
    atOnce.Send(FUT, {Record(Buy(800.0), -1), Record(Buy(790.0), 1)});
    EXPECT_NEAR(atOnce.Margin(), 90.0 + 10.0, Tolerance);
    Desk inTwo(MarketWithStress(Enums::InstrumentStatus::Collateral));
    inTwo.Change(FUT, Buy(800.0), 1);
    inTwo.Change(FUT, Buy(800.0), -1);
    inTwo.Change(FUT, Buy(790.0), 1);
    EXPECT_NEAR(inTwo.Margin(), 90.0 + 20.0, Tolerance);
}

TEST(PositionOrders, ACancelledOrderOfAnyOtherFuturesLeavesNothing)
{
    Desk desk(MarketWithStress(Enums::InstrumentStatus::None));
    desk.Change(FUT, Buy(800.0), 1);
    EXPECT_NEAR(desk.Margin(), 110.0, Tolerance);
    desk.Change(FUT, Buy(800.0), -1);
    EXPECT_NEAR(desk.Margin(), 0.0, Tolerance);
}

// The first change of orders makes the position, as setting one does.
TEST(PositionOrders, AnOrderInAnOptionMakesItsPositionAndItsSeries)
{
    Desk desk;
    EXPECT_EQ(desk.engine.portfolio.GetSpecPosition(Call750), nullptr);
    desk.Change(Call750, Buy(60.0), 1);
    const CSpecPosition* const position = desk.engine.portfolio.GetSpecPosition(Call750);
    ASSERT_NE(position, nullptr);
    EXPECT_EQ(position->GetQuantity(), 0);
    EXPECT_THAT(desk.engine.added, ElementsAre(FUT));
    EXPECT_NE(desk.engine.portfolio.GetFuturesPositionByIsin(FUT)->GetRiskNodeOptionSeriesByVFCode("S"), nullptr);
}

} // namespace
} // namespace test::PositionOrdersTest
