// The positions that a booked deal leaves, on their road through client, firm and settlement account.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "MarginOrchestrator.h"
#include "OneClientTree.h"
#include "StrangerAbove.h"
#include "kv7errors.h"
#include "replica/DealRoad.h"

namespace test::DealRoadTest {
namespace {

using Enums::MarginRule;
using margin_orchestrator::GetPositionQuantity;
using margin_orchestrator::SetPosition;
using margin_orchestrator::UpdateDealReserve;

/// The record of a leg: the deal, and the position that it left.
pos::SPosTrade Trade(Isin isin, std::int64_t dealt, double dealPrice, std::int64_t quantity, double waPrice)
{
    pos::SPosTrade trade;
    trade.isin = isin;
    trade.priceTechnic = t_bprice_int(dealPrice);
    trade.quantityTechnic = dealt;
    trade.quantity = quantity;
    trade.waprice = t_bprice_int(waPrice);
    trade.afterLastClearingQuantity = quantity;
    return trade;
}

/// One leg that left so many contracts at 800 at each level.
AssumedVectors Deal(Isin isin, std::int64_t ofClient, std::int64_t ofFirm, std::int64_t ofAccount)
{
    AssumedVectors vectors;
    vectors.positionsTradesClient = {Trade(isin, ofClient, 800.0, ofClient, 800.0)};
    vectors.positionsTradesBroker = {Trade(isin, ofClient, 800.0, ofFirm, 800.0)};
    vectors.positionsTradesSettlementAccount = {Trade(isin, ofClient, 800.0, ofAccount, 800.0)};
    return vectors;
}

/// Another leg behind those of the deal.
void Append(AssumedVectors& deal, const AssumedVectors& leg)
{
    const auto append = [](PosTradeVector& records, const PosTradeVector& more) {
        records.insert(records.end(), more.begin(), more.end());
    };
    append(deal.positionsTradesClient, leg.positionsTradesClient);
    append(deal.positionsTradesBroker, leg.positionsTradesBroker);
    append(deal.positionsTradesSettlementAccount, leg.positionsTradesSettlementAccount);
}

// One contract of FUT at 800 is 100 of margin, bought or sold. The deal leaves 2 with the client, 5 with the firm and
// -1 with the account: each level shows its own where it nets by itself, the client's where it takes its losses, and
// the change of the firm's where it sums.
TEST(DealRoad, EachPairOfRulesTakesWhatBelongsToIt)
{
    using enum MarginRule;
    const struct
    {
        MarginRule firm, account;
        double goOfFirm, goOfAccount;
    } cases[] = {
        {Netting, Netting, 500.0, 100.0},     //
        {Netting, HalfNetting, 500.0, 200.0}, // deltas are collected for the account
        {Netting, Gross, 500.0, 500.0},       //
        {HalfNetting, Netting, 200.0, 100.0}, //
        {HalfNetting, HalfNetting, 200.0, 200.0},
        {HalfNetting, Gross, 200.0, 200.0},
        {Gross, Netting, 0.0, 100.0},       // nobody asks for the client's losses
        {Gross, HalfNetting, 200.0, 200.0}, // the account does, and the firm takes them too
        {Gross, Gross, 0.0, 0.0},
    };
    for (const auto& pair : cases) {
        SCOPED_TRACE("firm " + std::to_string(static_cast<int>(pair.firm)) + ", account " +
                     std::to_string(static_cast<int>(pair.account)));
        OneClientTree tree(pair.firm, pair.account);
        EXPECT_EQ(SetPosition(tree.client, Deal(FUT, 2, 5, -1)), Z9ERR_OK);
        tree.ExpectGO(200.0, pair.goOfFirm, pair.goOfAccount);
        EXPECT_EQ(SetPosition(tree.client, Deal(FUT, 0, 0, 0)), Z9ERR_OK);
        tree.ExpectGO(0.0, 0.0, 0.0);
    }
}

// A spread that sold one SpreadFutures and bought two FUT is two records, each with its own position. They stand in
// different groups: 100 and 2 x 100.
TEST(DealRoad, ADealInASpreadHasARecordALeg)
{
    OneClientTree tree(MarginRule::HalfNetting, MarginRule::Gross);
    AssumedVectors vectors = Deal(SpreadFutures, -1, -1, -1);
    Append(vectors, Deal(FUT, 2, 2, 2));
    EXPECT_EQ(SetPosition(tree.client, vectors), Z9ERR_OK);
    tree.ExpectGO(300.0, 300.0, 300.0);
    EXPECT_EQ(GetPositionQuantity(tree.client, SpreadFutures), -1);
    EXPECT_EQ(GetPositionQuantity(tree.client, FUT), 2);
}

TEST(DealRoad, VectorsOfSomebodyElseAreTakenAlike)
{
    OneClientTree tree(MarginRule::Netting, MarginRule::Netting);
    AssumedVectors vectors = Deal(FUT, 2, 5, -1);
    const LinkedAssumedVectors linked{vectors.positionsTradesClient, vectors.positionsTradesBroker,
                                      vectors.positionsTradesSettlementAccount};
    EXPECT_EQ(SetPosition(tree.client, linked), Z9ERR_OK);
    tree.ExpectGO(200.0, 500.0, 100.0);
    EXPECT_EQ(vectors.positionsTradesClient.size(), 1U);
}

TEST(DealRoad, ADealWithoutRecordsChangesNothing)
{
    OneClientTree tree(MarginRule::HalfNetting, MarginRule::HalfNetting);
    EXPECT_EQ(SetPosition(tree.client, AssumedVectors()), Z9ERR_OK);
    tree.ExpectGO(0.0, 0.0, 0.0);
}

// The n-th record of each level speaks of the same leg, or none of them is taken.
TEST(DealRoad, RecordsThatDoNotCorrespondAreRefusedBeforeAnythingChanges)
{
    for (int kind = 0; kind < 4; ++kind) {
        SCOPED_TRACE(kind);
        OneClientTree tree(MarginRule::Netting, MarginRule::Netting);
        tree.client.SetNotUseNOV(1);
        AssumedVectors vectors = Deal(PremiumPut850, 2, 2, 2);
        if (kind == 0) vectors.positionsTradesBroker.clear();
        if (kind == 1) vectors.positionsTradesSettlementAccount.push_back(Trade(FUT, 1, 800.0, 1, 800.0));
        if (kind == 2) vectors.positionsTradesBroker[0].isin = FUT;
        if (kind == 3) vectors.positionsTradesSettlementAccount[0].isin = FUT;
        EXPECT_EQ(SetPosition(tree.client, vectors), Z9ERR_COMMON_WRONG_ARGUMENTS);
        tree.ExpectGO(0.0, 0.0, 0.0);
        EXPECT_TRUE(tree.client.GetPortfolio().Empty());
        EXPECT_EQ(tree.client.GetPremiumBlocked().AsPlain(), 0);
    }
}

// An isin of nothing gives its code and lets the legs behind it have their turn.
TEST(DealRoad, TheFirstCodeIsGivenAndTheOtherLegsFollow)
{
    OneClientTree tree(MarginRule::Netting, MarginRule::Netting);
    AssumedVectors vectors = Deal(UnknownIsin, 1, 1, 1);
    Append(vectors, Deal(FUT, 2, 3, 4));
    EXPECT_EQ(SetPosition(tree.client, vectors), Z9ERR_INSTRUMENT_ABSENT);
    tree.ExpectGO(200.0, 300.0, 400.0);
}

// Above a firm under Netting stands an account that knows other instruments. What the levels below it say is kept, a
// failure of its own as well.
TEST(DealRoad, TheFailureOfAnyLevelIsGiven)
{
    StrangerAbove tree(MarginRule::Netting);
    tree.InsertAbove(50);
    EXPECT_EQ(SetPosition(tree.client, Deal(FUT, 2, 3, 4)), Z9ERR_INSTRUMENT_ABSENT) << "unknown to the account";
    EXPECT_EQ(tree.client.GetInitialMargin(), 200.0) << "the levels below it have taken the deal";
    EXPECT_EQ(tree.firm.GetInitialMargin(), 300.0);
    EXPECT_EQ(tree.account->GetInitialMargin(), 0.0);
    EXPECT_EQ(SetPosition(tree.client, Deal(50, 2, 3, 4)), Z9ERR_INSTRUMENT_ABSENT) << "known to the account only";
    EXPECT_EQ(tree.firm.GetInitialMargin(), 300.0);
    EXPECT_EQ(tree.account->GetInitialMargin(), 400.0);
}

// A premium-style call at 750 bought at 60, on a contract of a currency with the radius 0.05: worth 0, 50 and 150, so
// -60 for each contract at the lowest price. The worth of what the last clearing left, 55 each, stands against that
// loss before the radius takes its share of the rest.
TEST(DealRoad, TheWorthOfAnOptionCountsTheContractsOfTheLastClearing)
{
    constexpr Isin Call750 = 31;
    OneClientTree tree(MarginRule::Netting, MarginRule::Netting);
    tree.AddPremiumCallInCurrency(Call750);
    AssumedVectors vectors = Deal(Call750, 2, 3, 4);
    const auto hold = [](pos::SPosTrade& record, std::int64_t afterLastClearing) {
        record.waprice = t_bprice_int(60.0);
        record.afterLastClearingQuantity = afterLastClearing;
    };
    hold(vectors.positionsTradesClient[0], 1);            // 120 + 0.05 x |55 - 120|
    hold(vectors.positionsTradesBroker[0], 2);            // 180 + 0.05 x |110 - 180|
    hold(vectors.positionsTradesSettlementAccount[0], 0); // 240 + 0.05 x |0 - 240|
    EXPECT_EQ(SetPosition(tree.client, vectors), Z9ERR_OK);
    const auto marginOf = [](const ParticipantBase& level) {
        return level.GetPortfolio().GetVolatilityInitialMargin();
    };
    EXPECT_NEAR(marginOf(tree.client), 123.25, 1e-6);
    EXPECT_NEAR(marginOf(tree.firm), 183.5, 1e-6);
    EXPECT_NEAR(marginOf(*tree.account), 252.0, 1e-6);
}

// The put at 850 is worth 150, 50 and 0 and was bought at 60: 60 of margin. A client that leaves premium-style options
// out has none, and sets their premium aside instead: by the deal, not by the position.
TEST(DealRoad, AClientThatLeavesPremiumStyleOptionsOutPaysTheirPremium)
{
    for (const bool leavesOut : {false, true}) {
        OneClientTree tree(MarginRule::HalfNetting, MarginRule::HalfNetting);
        if (leavesOut) tree.client.SetNotUseNOV(1);
        AssumedVectors vectors = Deal(PremiumPut850, 1, 1, 1);
        vectors.positionsTradesClient = {Trade(PremiumPut850, 3, 12.5, 1, 60.0)};
        EXPECT_EQ(SetPosition(tree.client, vectors), Z9ERR_OK);
        EXPECT_NEAR(tree.client.GetInitialMargin(), leavesOut ? 0.0 : 60.0, 1e-2);
        EXPECT_NEAR(tree.firm.GetInitialMargin(), 60.0, 1e-2);
        EXPECT_EQ(tree.client.GetPremiumReservesCalculator().GetReserves(PremiumPut850).premReserveDeals.AsDouble(),
                  leavesOut ? 37.5 : 0.0); // 3 x 12.5
        EXPECT_EQ(tree.client.GetPortfolioWithoutEquityOptions().GetSpecPosition(PremiumPut850), nullptr);

        EXPECT_EQ(SetPosition(tree.client, Deal(FUT, 1, 1, 1)), Z9ERR_OK);
        EXPECT_EQ(tree.client.GetPortfolioWithoutEquityOptions().GetSpecPosition(FUT) != nullptr, leavesOut);
    }
}

// Bought 3 at 12.5, then sold 5 at 10: 37.5 - 50. A sale counts, unlike a sell order; nothing stops it at 0.
TEST(DealRoad, AReserveOfDealsFollowsPurchasesAndSales)
{
    OneClientTree tree(MarginRule::HalfNetting, MarginRule::HalfNetting);
    const auto reserve = [&](Isin isin) {
        return tree.client.GetPremiumReservesCalculator().GetReserves(isin).premReserveDeals.AsDouble();
    };
    UpdateDealReserve(tree.client, PremiumPut850, t_bprice_int(12.5), 3);
    EXPECT_EQ(reserve(PremiumPut850), 0.0) << "the client does not leave such options out";
    tree.client.SetNotUseNOV(1);
    for (const Isin isin : {FUT, Call825, Call850, UnknownIsin}) {
        UpdateDealReserve(tree.client, isin, t_bprice_int(12.5), 3);
        EXPECT_EQ(reserve(isin), 0.0);
    }
    UpdateDealReserve(tree.client, PremiumPut850, t_bprice_int(12.5), 3);
    EXPECT_EQ(reserve(PremiumPut850), 37.5);
    UpdateDealReserve(tree.client, PremiumPut850, t_bprice_int(10.0), -5);
    EXPECT_EQ(reserve(PremiumPut850), -12.5);
    EXPECT_EQ(tree.client.GetPremiumReservesCalculator().GetReserves(PremiumPut850).premReserveOrders.AsDouble(), 0.0);
    EXPECT_EQ(tree.client.GetPremiumBlocked().AsDouble(), -12.5);
}

TEST(DealRoad, TheQuantityOfAPositionIsReadWithoutMakingOne)
{
    OneClientTree tree(MarginRule::Netting, MarginRule::Netting);
    EXPECT_EQ(SetPosition(tree.client, Deal(Call850, -7, -8, 9)), Z9ERR_OK);
    EXPECT_EQ(GetPositionQuantity(tree.client, Call850), -7);
    EXPECT_EQ(GetPositionQuantity(tree.firm, Call850), -8);
    EXPECT_EQ(GetPositionQuantity(*tree.account, Call850), 9);
    EXPECT_EQ(GetPositionQuantity(tree.client, SpreadFutures), 0) << "held flat, under its option";
    for (const Isin isin : {FUT, Call825, UnknownIsin})
        EXPECT_EQ(GetPositionQuantity(tree.client, isin), 0);
    EXPECT_EQ(tree.client.GetPortfolio().GetPositionCount(), 1U);
}

} // namespace
} // namespace test::DealRoadTest
