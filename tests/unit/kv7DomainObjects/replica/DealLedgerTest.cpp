// Deals through the accounting, the money and the risk books of client, firm and settlement account, worked out by
// hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DealTree.h"
#include "book/SpecPosition.h"

namespace test::DealLedgerTest {
namespace {

using Enums::MarginRule;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr MarginRule Gross = MarginRule::Gross;
constexpr MarginRule HalfNetting = MarginRule::HalfNetting;
constexpr MarginRule Netting = MarginRule::Netting;

constexpr std::int64_t Money = 1'000'000; // cents of every participant

/// What a level has for a story, by its own rule or by what it takes from below. Money in wholes but for the fee.
struct LevelFigures
{
    double vm = 0;
    double go = 0;
};
/// A story's figures above the clients at one pair of rules.
struct PairOfRules
{
    MarginRule firm;
    MarginRule account;
    LevelFigures ofFirm;
    LevelFigures ofAccount;
};

std::string NameOf(const PairOfRules& pair)
{
    const auto name = [](MarginRule rule) {
        return std::string(rule == Netting ? "Netting" : rule == HalfNetting ? "HalfNetting" : "Gross");
    };
    return "firm " + name(pair.firm) + ", account " + name(pair.account);
}

/// The nine pairs of rules, given what a level has when it nets by itself and what the clients lose together. A level
/// that does not keep accounting has the VM of the level below; losses of clients reach a firm under Gross only where
/// the account takes them as well, and an account under Gross sums the GO of its firms.
std::vector<PairOfRules> NinePairs(LevelFigures own, LevelFigures clients)
{
    return {
        {Netting, Netting, own, own},
        {Netting, HalfNetting, own, {own.vm, clients.go}},
        {Netting, Gross, own, {own.vm, own.go}},
        {HalfNetting, Netting, clients, own},
        {HalfNetting, HalfNetting, clients, clients},
        {HalfNetting, Gross, clients, clients},
        {Gross, Netting, {clients.vm, 0}, own},
        {Gross, HalfNetting, clients, clients},
        {Gross, Gross, {clients.vm, 0}, {clients.vm, 0}},
    };
}

/// The whole of a level: VM and GO as given, the reserve that frees the VM (in cents), the fee, and what is left.
void ExpectLevel(const ParticipantBase& participant, const LevelFigures& figures, std::int64_t fee,
                 std::int64_t reserve)
{
    SCOPED_TRACE(participant.GetParticipantCode());
    EXPECT_EQ(participant.GetVMCloseTotal(), t_bsum_int(figures.vm));
    EXPECT_NEAR(participant.GetInitialMargin(), figures.go, 1e-9);
    const Domain::Means& means = participant.GetMeans();
    const auto blocked = static_cast<std::int64_t>(figures.go * 100);
    EXPECT_EQ(means.BlockedMoney.AsPlain(), blocked);
    EXPECT_EQ(means.m_fee.AsPlain(), fee);
    ExpectMoney(means, {.reserve = reserve,
                        .blockedNonIM = fee + reserve,
                        .free = Money - blocked - fee - reserve,
                        .forWithdrawal = Money});
}
/// With a VM in whole cents.
void ExpectLevel(const ParticipantBase& participant, const LevelFigures& figures, std::int64_t fee)
{
    ExpectLevel(participant, figures, fee, -static_cast<std::int64_t>(figures.vm * 100));
}

std::int64_t Held(const ParticipantBase& participant, Isin isin)
{
    const SPosition* const record = participant.GetPositionCalculator().getPosition(isin);
    return record == nullptr ? 0 : record->quantity;
}
std::int64_t InBook(const ParticipantBase& participant, Isin isin)
{
    return margin_orchestrator::GetPositionQuantity(participant, isin);
}
/// Contracts at the three levels: in the accounting of each, and in the books of the client and of levels under
/// Netting.
void ExpectContracts(const DealTree& tree, Isin isin, std::int64_t ofFirst, std::int64_t ofAll)
{
    EXPECT_EQ(Held(tree.first, isin), ofFirst);
    EXPECT_EQ(InBook(tree.first, isin), ofFirst);
    EXPECT_EQ(Held(tree.firm, isin), ofAll);
    EXPECT_EQ(InBook(tree.firm, isin), tree.firm.GetMarginRule() == Netting ? ofAll : 0);
    EXPECT_EQ(Held(*tree.account, isin), ofAll);
    EXPECT_EQ(InBook(*tree.account, isin), tree.account->GetMarginRule() == Netting ? ofAll : 0);
}

struct Ledger : DealTree
{
    Ledger(MarginRule firmRule, MarginRule accountRule) : DealTree(firmRule, accountRule)
    {
        for (ParticipantBase* const level : Levels())
            level->SetTradingLimits({Cents(Money), {}, false});
    }

    std::vector<ParticipantBase*> Levels() { return {&first, &second, &firm, account.get()}; }
};

// The first client buys 5 at 810 and sells 3 at 830: it has earned 3 x 20 = 60 and holds 2, which lose 2 x 110 = 220 at
// 700. The second sells 4 at 809: it loses 4 x 91 = 364 at 900. Together they bought 5 at 810 and sold 7 at 818, that
// is 3 x 830 + 4 x 809 = 5726 over 7: a level that nets has earned 5 x 8 = 40 and is short of 2 at 818, which lose 164.
// The losses of the clients are 220, 20, 0 and 0, 0, 364: 364 at 900.
TEST(DealLedgerTest, ATradeMovesPositionsVariationMarginFeesAndMarginAtAllLevels)
{
    for (const PairOfRules& pair : NinePairs({40, 164}, {60, 364})) {
        SCOPED_TRACE(NameOf(pair));
        Ledger ledger(pair.firm, pair.account);
        ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, 810.0, 5), Z9ERR_OK);   // costs 0.625: 0.63
        ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, 830.0, -3), Z9ERR_OK);  // 0.375: 0.38
        ASSERT_EQ(ledger.Trade(ledger.second, TradeFutures, 809.0, -4), Z9ERR_OK); // 0.50
        ExpectContracts(ledger, FUT, 2, -2);
        EXPECT_EQ(Held(ledger.second, FUT), -4);
        ExpectLevel(ledger.first, {60, 220}, 101);
        ExpectLevel(ledger.second, {0, 364}, 50);
        ExpectLevel(ledger.firm, pair.ofFirm, 151);
        // An account that does not net has reserved what its firm has.
        ExpectLevel(*ledger.account, pair.ofAccount, 151);
    }
}

// The same, and then all is bought and sold back: the first client's 2 at 850 (it sold 5 at 838 on the average, having
// paid 810: 140), the second client's 4 at 800: 4 x 9 = 36. A level that nets bought 9 at 7250 / 9 = 805.55556 and sold
// 9 at 7426 / 9 = 825.11111: averages have five decimals, so 9 x 19.55555 = 175.99995 and not 176; of a gain, the cents
// that are whole are counted on.
TEST(DealLedgerTest, SoldBackPositionsAreFlatAndTheMarginIsBackAtItsStart)
{
    for (const PairOfRules& pair : NinePairs({175.99995, 0}, {176, 0})) {
        SCOPED_TRACE(NameOf(pair));
        Ledger ledger(pair.firm, pair.account);
        const std::pair<double, std::int64_t> ofFirst[] = {{810.0, 5}, {830.0, -3}, {850.0, -2}};
        const std::pair<double, std::int64_t> ofSecond[] = {{809.0, -4}, {800.0, 4}};
        for (const auto& [price, quantity] : ofFirst)
            ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, price, quantity), Z9ERR_OK);
        for (const auto& [price, quantity] : ofSecond)
            ASSERT_EQ(ledger.Trade(ledger.second, TradeFutures, price, quantity), Z9ERR_OK);
        ExpectContracts(ledger, FUT, 0, 0);
        // 5, 3, 2, 4 and 4 contracts: 0.63 + 0.38 + 0.25 = 1.26 and 0.50 + 0.50 = 1.00.
        ExpectLevel(ledger.first, {140, 0}, 126);
        ExpectLevel(ledger.second, {36, 0}, 100);
        ExpectLevel(ledger.firm, pair.ofFirm, 226, pair.firm == Netting ? -17'599 : -17'600);
        const bool fromNetted = pair.account == Netting || pair.firm == Netting;
        ExpectLevel(*ledger.account, pair.ofAccount, 226, fromNetted ? -17'599 : -17'600);
    }
}

// A loss of the one firm is reserved for although the other has gained as much: firm one loses 5 x 10, firm two wins
// them. An account that nets has both sides of it.
TEST(DealLedgerTest, AnAccountThatDoesNotNetReservesWhatItsFirmsReserve)
{
    for (const MarginRule rule : {Gross, HalfNetting, Netting}) {
        Ledger ledger(HalfNetting, rule);
        BraskClient& other = ledger.AddClient(ledger.AddFirm("AA02", HalfNetting, ledger.account), "AA02001");
        for (const double price : {810.0, 820.001}) { // the second price of each is the worse of the first firm's
            const std::int64_t quantity = price < 815 ? -5 : 5;
            ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, price, quantity), Z9ERR_OK);
            ASSERT_EQ(ledger.Trade(other, TradeFutures, price, -quantity), Z9ERR_OK);
        }
        // 5 x 10.001 = 50.005 lost is 50.01 reserved, 50.005 gained counts for 50.00.
        EXPECT_EQ(ledger.firm.GetMeans().VMReserve, Cents(5001));
        EXPECT_EQ(other.GetBroker().GetMeans().VMReserve, Cents(-5000));
        EXPECT_EQ(ledger.account->GetVMCloseTotal(), Sum(0));
        EXPECT_EQ(ledger.account->GetMeans().VMReserve, rule == Netting ? Cents(0) : Cents(1));
        EXPECT_EQ(Held(*ledger.account, FUT), 0);
    }
}

// Calls at 850 without a premium up front: 3 sold at 12 lose 3 x 38 = 114 at 900. Bought back at 5 they have earned
// 3 x 7 = 21.
TEST(DealLedgerTest, AnOptionWithoutPremiumUpFrontPaysVariationMargin)
{
    for (const PairOfRules& pair : NinePairs({0, 114}, {0, 114})) {
        SCOPED_TRACE(NameOf(pair));
        Ledger ledger(pair.firm, pair.account);
        ASSERT_EQ(ledger.Trade(ledger.first, TradeCall, 12.0, -3), Z9ERR_OK);
        ExpectContracts(ledger, Call850, -3, -3);
        ExpectLevel(ledger.first, {0, 114}, 0);
        ExpectLevel(ledger.firm, pair.ofFirm, 0);
        ExpectLevel(*ledger.account, pair.ofAccount, 0);

        ASSERT_EQ(ledger.Trade(ledger.first, TradeCall, 5.0, 3), Z9ERR_OK);
        ExpectContracts(ledger, Call850, 0, 0);
        for (const ParticipantBase* const level : ledger.FirstAndAbove())
            ExpectLevel(*level, {21, 0}, 0);
    }
}

// Puts at 850 whose premium is paid up front: 2 bought at 60 lose 2 x 60 = 120 at 900. Sold at 75 they bring 2 x 15 =
// 30, which is no variation margin.
TEST(DealLedgerTest, APremiumStyleOptionStaysOutOfTheVariationMargin)
{
    for (const PairOfRules& pair : NinePairs({0, 120}, {0, 120})) {
        SCOPED_TRACE(NameOf(pair));
        Ledger ledger(pair.firm, pair.account);
        ASSERT_EQ(ledger.Trade(ledger.first, TradePremiumPut, 60.0, 2), Z9ERR_OK);
        ExpectContracts(ledger, PremiumPut850, 2, 2);
        ExpectLevel(ledger.first, {0, 120}, 0);
        ExpectLevel(ledger.firm, pair.ofFirm, 0);
        ExpectLevel(*ledger.account, pair.ofAccount, 0);

        ASSERT_EQ(ledger.Trade(ledger.first, TradePremiumPut, 75.0, -2), Z9ERR_OK);
        ExpectContracts(ledger, PremiumPut850, 0, 0);
        for (const ParticipantBase* const level : ledger.Levels())
            ExpectLevel(*level, {0, 0}, 0);
        EXPECT_EQ(ledger.first.GetPositionCalculator().GetVMFull(), t_bsum_int(30.0));
        EXPECT_EQ(ledger.firm.GetPositionCalculator().GetVMFull(), t_bsum_int(30.0));
        EXPECT_EQ(ledger.account->GetPositionCalculator().GetVMFull(), t_bsum_int(30.0));
    }
}

// A client whose margin leaves such options out pays for them: 2 x 60 are blocked, 2 x 75 come back.
TEST(DealLedgerTest, ThePremiumOfADealIsBlockedWhereItIsNotMargined)
{
    Ledger ledger(Netting, Netting);
    ledger.first.SetNotUseNOV(1);
    ASSERT_EQ(ledger.Trade(ledger.first, TradePremiumPut, 60.0, 2), Z9ERR_OK);
    EXPECT_EQ(ledger.first.GetInitialMargin(), 0.0);
    EXPECT_EQ(ledger.first.GetMeans().m_premiumBlocked, Cents(12'000));
    EXPECT_EQ(ledger.first.GetMeans().FreeMoney, Cents(Money - 12'000));
    EXPECT_EQ(ledger.firm.GetMeans().m_premiumBlocked, Cents(0)); // a client's affair

    ASSERT_EQ(ledger.Trade(ledger.first, TradePremiumPut, 75.0, -2), Z9ERR_OK);
    EXPECT_EQ(ledger.first.GetMeans().m_premiumBlocked, Cents(-3'000));
    EXPECT_EQ(ledger.first.GetMeans().FreeMoney, Cents(Money + 3'000));
}

// Two spreads bought at 15: FUT sold at its settlement price of 800, SpreadFutures bought at 15 + 800 = 815. FUT loses
// 2 x 100 at 900, SpreadFutures 2 x 115 at 700; they do not net, one of them stands alone. Sold back at 20,
// SpreadFutures has earned 2 x 5.
TEST(DealLedgerTest, ASpreadMovesBothLegs)
{
    for (const PairOfRules& pair : NinePairs({0, 430}, {0, 430})) {
        SCOPED_TRACE(NameOf(pair));
        Ledger ledger(pair.firm, pair.account);
        ASSERT_EQ(ledger.Trade(ledger.first, TradeSpread, 15.0, 2), Z9ERR_OK);
        EXPECT_EQ(ledger.tradedIsin, Spread);
        EXPECT_EQ(ledger.tradedInstrument, &ledger.positionInstruments.getInstrumentTRD(TradeSpread));
        ExpectContracts(ledger, FUT, -2, -2);
        ExpectContracts(ledger, SpreadFutures, 2, 2);
        EXPECT_EQ(Held(ledger.first, Spread), 0);
        ExpectLevel(ledger.first, {0, 430}, 0);
        ExpectLevel(ledger.firm, pair.ofFirm, 0);
        ExpectLevel(*ledger.account, pair.ofAccount, 0);
        EXPECT_EQ(ledger.vectors.positionsTradesClient[0].priceTechnic, t_bprice_int(800.0));
        EXPECT_EQ(ledger.vectors.positionsTradesClient[1].priceTechnic, t_bprice_int(815.0));
        for (const PosTradeVector* const trades :
             {&ledger.vectors.positionsTradesClient, &ledger.vectors.positionsTradesBroker,
              &ledger.vectors.positionsTradesSettlementAccount}) {
            ASSERT_EQ(trades->size(), 2U);
            EXPECT_EQ((*trades)[0].status, Enums::Status::None);
            EXPECT_EQ((*trades)[1].status, Enums::Status::SecondLeg);
        }

        ASSERT_EQ(ledger.Trade(ledger.first, TradeSpread, 20.0, -2), Z9ERR_OK);
        ExpectContracts(ledger, FUT, 0, 0);
        ExpectContracts(ledger, SpreadFutures, 0, 0);
        for (const ParticipantBase* const level : ledger.FirstAndAbove())
            ExpectLevel(*level, {10, 0}, 0);
    }
}

TEST(DealLedgerTest, ASyntheticDealTakesThePricesOfItsOrders)
{
    Ledger ledger(Netting, HalfNetting);
    const pos::SyntheticDealPrices prices({Spread, t_bprice_int(9.0)}, {FUT, t_bprice_int(802.0)},
                                          {SpreadFutures, t_bprice_int(811.0)});
    ASSERT_EQ(money_orchestrator::ProcessTrade(ledger.first, TradeSpread, t_bprice_int(9.0), 1, prices, ledger.vectors,
                                               ledger.tradedIsin, ledger.tradedInstrument),
              Z9ERR_OK);
    EXPECT_EQ(ledger.first.GetPositionCalculator().getPosition(FUT)->waprice, t_bprice_int(802.0));
    EXPECT_EQ(ledger.first.GetPositionCalculator().getPosition(SpreadFutures)->waprice, t_bprice_int(811.0));
    EXPECT_EQ(ledger.firm.GetPositionCalculator().getPosition(SpreadFutures)->waprice, t_bprice_int(811.0));
    EXPECT_NEAR(ledger.first.GetInitialMargin(), 98.0 + 111.0, 1e-9);
}

// Bought at 810 and sold at 790 in a contract whose VM is kept in dollars: 4 x 20 = 80 lost, and a tenth of it may go
// by the dollar's movement: 88 reserved. A gain of 80 counts for 72.
TEST(DealLedgerTest, VariationMarginOfACurrencyContractIsKeptInTheCurrency)
{
    for (const PairOfRules& pair : NinePairs({}, {})) {
        SCOPED_TRACE(NameOf(pair));
        for (const std::int64_t quantity : {4, -4}) {
            Ledger ledger(pair.firm, pair.account);
            ASSERT_EQ(ledger.Trade(ledger.first, TradeCurrency, 810.0, quantity), Z9ERR_OK);
            ASSERT_EQ(ledger.Trade(ledger.first, TradeCurrency, 790.0, -quantity), Z9ERR_OK);
            const double vm = quantity > 0 ? -80.0 : 80.0;
            for (const ParticipantBase* const level : ledger.FirstAndAbove()) {
                ExpectLevel(*level, {vm, 0}, 0, quantity > 0 ? 8800 : -7200);
                EXPECT_EQ(level->GetVMCloseByCurrencies(), (VMCloseByCurrencies{{Dollar, t_bsum_int(vm)}}));
                EXPECT_EQ(level->GetPositionCalculator().GetVMCurrFull(),
                          (VMCloseByCurrencies{{Dollar, t_bsum_int(vm)}}));
                EXPECT_EQ(level->GetPositionCalculator().GetVMFull(), t_bsum_int(vm));
            }
        }
    }
}

TEST(DealLedgerTest, TheVectorsTellWhatTheDealDid)
{
    Ledger ledger(HalfNetting, Gross);
    ASSERT_EQ(ledger.Trade(ledger.second, TradeFutures, 800.0, -1), Z9ERR_OK);
    ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, 810.0, 5), Z9ERR_OK);
    ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, 830.0, -3), Z9ERR_OK);
    EXPECT_EQ(ledger.tradedIsin, FUT);
    const AssumedVectors& vectors = ledger.vectors;
    ASSERT_EQ(vectors.positionsTradesClient.size(), 1U);
    const pos::SPosTrade& ofClient = vectors.positionsTradesClient[0];
    EXPECT_EQ(ofClient.isin, FUT);
    EXPECT_EQ(ofClient.quantityTechnic, -3);
    EXPECT_EQ(ofClient.openInterestDelta, -3); // 5 to 2
    EXPECT_EQ(ofClient.deltaFee, t_bprice_int(0.375));
    EXPECT_EQ(ofClient.quantity, 2);
    EXPECT_EQ(ofClient.waprice, t_bprice_int(810.0));
    EXPECT_EQ(ofClient.vmClose, t_bsum_int(60.0));
    for (const PosTradeVector* const counted :
         {&vectors.positionsTradesBroker, &vectors.positionsTradesSettlementAccount}) {
        ASSERT_EQ(counted->size(), 1U);
        EXPECT_EQ(counted->front().quantity, 1);
        EXPECT_EQ(counted->front().waprice, t_bprice_int()); // no accounting
        EXPECT_EQ(counted->front().deltaFee, t_bprice_int());
    }
    ASSERT_EQ(vectors.deltaPositions.size(), 1U);
    EXPECT_EQ(vectors.deltaPositions[0].Isin, FUT);
    EXPECT_EQ(vectors.deltaPositions[0].Quantity, -3);
    ASSERT_EQ(vectors.PosChecks.size(), 1U);
    EXPECT_EQ(vectors.PosChecks[0].Code, ledger.first.GetClientCode());
    EXPECT_EQ(vectors.PosChecks[0].QuantityBefore, 5);
    EXPECT_EQ(vectors.PosChecks[0].QuantityAfter, 2);
    EXPECT_THAT(vectors.deltaOrders, IsEmpty());
}

TEST(DealLedgerTest, VectorsOfSomebodyElsesServeAsWell)
{
    Ledger ledger(Netting, Netting);
    PosTradeVector ofClient, ofFirm, ofAccount;
    LinkedAssumedVectors linked{ofClient, ofFirm, ofAccount};
    ASSERT_EQ(money_orchestrator::ProcessTrade(ledger.first, TradeFutures, t_bprice_int(800.0), 2,
                                               ledger.noSyntheticPrices, linked, ledger.tradedIsin,
                                               ledger.tradedInstrument),
              Z9ERR_OK);
    EXPECT_EQ(ofClient.at(0).quantity, 2);
    EXPECT_EQ(ofFirm.at(0).quantity, 2);
    EXPECT_EQ(ofAccount.at(0).quantity, 2);
    for (const ParticipantBase* const level : ledger.FirstAndAbove())
        ExpectLevel(*level, {0, 200}, 25);
}

TEST(DealLedgerTest, ADealCountsTheClientsPositions)
{
    Ledger ledger(Netting, Netting);
    ASSERT_EQ(ledger.Trade(ledger.first, TradeSpread, 15.0, 2), Z9ERR_OK);
    ASSERT_EQ(ledger.Trade(ledger.first, TradeCall, 12.0, -3), Z9ERR_OK);
    const OrdersAndPositionsQuantitiesCounter& byIsin = ledger.first.GetOrdersAndPositionsQuantitiesCounter();
    EXPECT_EQ(byIsin.Get(FUT).positionQuantity, -2);
    EXPECT_EQ(byIsin.Get(SpreadFutures).positionQuantity, 2);
    EXPECT_EQ(byIsin.Get(Call850).positionQuantity, -3);
    EXPECT_EQ(byIsin.Get(FUT).buyOrderQuantity, 0);
    const BaseContractQuantities ofBaseContract = ledger.first.GetQuantitiesCounter().Get(1);
    EXPECT_EQ(ofBaseContract.futuresValue.pos, 0); // -2 and 2
    EXPECT_EQ(ofBaseContract.optionsValue.pos, -3);
}

TEST(DealLedgerTest, AnInstrumentWithoutLegsMovesNothing)
{
    Ledger ledger(Netting, Netting);
    ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, 800.0, 1), Z9ERR_OK);
    ASSERT_EQ(ledger.Trade(ledger.first, TradeNothing, 800.0, 1), Z9ERR_OK);
    EXPECT_EQ(ledger.tradedIsin, Nothing);
    EXPECT_THAT(ledger.vectors.positionsTradesClient, IsEmpty());
    EXPECT_THAT(ledger.vectors.positionsTradesBroker, IsEmpty());
    EXPECT_THAT(ledger.vectors.positionsTradesSettlementAccount, IsEmpty());
    EXPECT_THAT(ledger.vectors.deltaPositions, IsEmpty());
    ExpectLevel(ledger.first, {0, 100}, 13); // of the first trade
}

// What is refused

TEST(DealLedgerTest, WhatCannotBeBookedChangesNothing)
{
    Ledger ledger(Netting, Netting);
    ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, 800.0, 1), Z9ERR_OK);
    const auto expectUnchanged = [&] {
        ExpectContracts(ledger, FUT, 1, 1);
        ExpectContracts(ledger, SpreadFutures, 0, 0);
        ExpectLevel(ledger.first, {0, 100}, 13);
        ExpectLevel(ledger.firm, {0, 100}, 13);
        ExpectLevel(*ledger.account, {0, 100}, 13);
        EXPECT_EQ(ledger.first.GetOrdersAndPositionsQuantitiesCounter().Get(FUT).positionQuantity, 1);
    };

    const Failure unknown = FailureOf([&] { static_cast<void>(ledger.Trade(ledger.first, 999, 800.0, 1)); });
    EXPECT_EQ(unknown.code, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_EQ(ledger.tradedInstrument, nullptr);
    expectUnchanged();

    // A price for one leg only.
    const pos::SyntheticDealPrices prices({Spread, t_bprice_int(9.0)}, {FUT, t_bprice_int(802.0)},
                                          {FUT, t_bprice_int()});
    const Failure withoutPrice = FailureOf([&] {
        static_cast<void>(money_orchestrator::ProcessTrade(ledger.first, TradeSpread, t_bprice_int(9.0), 1, prices,
                                                           ledger.vectors, ledger.tradedIsin, ledger.tradedInstrument));
    });
    EXPECT_EQ(withoutPrice.code, Z9ERR_ISIN_ABSENT);
    expectUnchanged();

    // A futures that has an accounting and no risk.
    EXPECT_EQ(ledger.Trade(ledger.first, TradeBaseless, 800.0, 1), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(Held(ledger.first, UnknownIsin), 0);
    expectUnchanged();
}

// A volume is counted in units of 0.00001 in 64 bits: 1.15e11 contracts at 800 fill them. Each client stays below, the
// firm, which has both, does not.
TEST(DealLedgerTest, ADealThatTheFirmCannotTakeIsTakenBackFromTheClient)
{
    constexpr std::int64_t many = 100'000'000'000;
    Ledger ledger(Netting, Gross);
    ASSERT_EQ(ledger.Trade(ledger.first, TradeCurrency, 800.0, many), Z9ERR_OK);
    ASSERT_EQ(ledger.Trade(ledger.second, TradeCurrency, 800.0, 1), Z9ERR_OK);
    const Failure failure =
        FailureOf([&] { static_cast<void>(ledger.Trade(ledger.second, TradeCurrency, 790.0, many)); });
    EXPECT_EQ(failure.code, Z9ERR_COMMON_OVERFLOW);
    ExpectContracts(ledger, CurrencyFutures, many, many + 1);
    EXPECT_EQ(Held(ledger.second, CurrencyFutures), 1);
    EXPECT_EQ(ledger.second.GetPositionCalculator().getPosition(CurrencyFutures)->buyVolume, t_bsum_int(800.0));
    EXPECT_EQ(ledger.second.GetOrdersAndPositionsQuantitiesCounter().Get(CurrencyFutures).positionQuantity, 1);
    ExpectLevel(ledger.second, {0, 100}, 0);

    // So does a sale that would have closed something: VM and reserve are taken back too.
    ASSERT_EQ(ledger.Trade(ledger.first, TradeCurrency, 800.0, -many), Z9ERR_OK);
    EXPECT_EQ(FailureOf([&] { static_cast<void>(ledger.Trade(ledger.second, TradeCurrency, 790.0, -many)); }).code,
              Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(Held(ledger.second, CurrencyFutures), 1);
    EXPECT_EQ(ledger.second.GetVMCloseByCurrencies().at(Dollar), Sum(0));
    ExpectLevel(ledger.second, {0, 100}, 0);
}

// A firm without an account of its own: the shared account takes its money and has no positions.
TEST(DealLedgerTest, AFirmWithoutAnAccountPaysIntoTheSharedOne)
{
    const BraskSettlementAccountPtr& shared = GetDummySettlementAccount();
    const Domain::Means meansBefore = shared->GetMeans();
    const t_bsum_int vmBefore = shared->GetVMCloseTotal();
    DealTree tree(HalfNetting, Gross, shared);
    ASSERT_EQ(tree.Trade(tree.first, TradeFutures, 810.0, 4), Z9ERR_OK);
    ASSERT_EQ(tree.Trade(tree.first, TradeFutures, 820.001, -4), Z9ERR_OK); // 40.004
    ASSERT_EQ(tree.Trade(tree.first, TradeCurrency, 800.0, 1), Z9ERR_OK);
    ASSERT_EQ(tree.Trade(tree.first, TradeCurrency, 790.0, -1), Z9ERR_OK); // -10 and a tenth of it
    EXPECT_EQ(shared->GetVMCloseTotal() - vmBefore, t_bsum_int(30.004));
    EXPECT_EQ(shared->GetMeans().VMReserve - meansBefore.VMReserve, Cents(-2900)); // floor of 29.004
    EXPECT_EQ(shared->GetMeans().m_fee - meansBefore.m_fee, Cents(100));
    EXPECT_TRUE(shared->GetPositionCalculator().GetPositions().empty());
    ASSERT_EQ(tree.vectors.positionsTradesSettlementAccount.size(), 1U);
    EXPECT_EQ(tree.vectors.positionsTradesSettlementAccount[0].isin, CurrencyFutures);
    EXPECT_EQ(tree.vectors.positionsTradesSettlementAccount[0].quantity, 0);

    // A clearing takes its part out again; the others' stays.
    money_orchestrator::RefreshPositions(tree.repository);
    EXPECT_EQ(shared->GetVMCloseTotal(), vmBefore);
    EXPECT_EQ(shared->GetPositionCalculator().GetVMFull(), vmBefore);
    EXPECT_EQ(shared->GetVMCloseByCurrencies().at(Dollar), Sum(0));
    EXPECT_EQ(shared->GetPositionCalculator().GetVMCurrFull().at(Dollar), Sum(0));
    EXPECT_EQ(shared->GetMeans().VMReserve, meansBefore.VMReserve);
    money_orchestrator::AdjustFee(tree.first, Cents(-100));
    EXPECT_EQ(shared->GetMeans().m_fee, meansBefore.m_fee);
}

// Clearing deals

TEST(DealLedgerTest, AClearingDealMovesAllLevelsAndIsTakenBackWhole)
{
    for (const PairOfRules& pair : NinePairs({30, 220}, {30, 220})) {
        SCOPED_TRACE(NameOf(pair));
        Ledger ledger(pair.firm, pair.account);
        ASSERT_EQ(ledger.Trade(ledger.first, TradeFutures, 810.0, 5), Z9ERR_OK); // 0.63
        const bool firmBooks = pair.firm == Netting;

        // 3 sold at 820 earn 30; 2 bought at 810 are left, which lose 220 at 700.
        PositionSet positions;
        ASSERT_EQ(money_orchestrator::ProcessClearingTrade(ledger.first, FUT, t_bprice_int(820.0), -3, ledger.vectors,
                                                           positions, false),
                  Z9ERR_OK);
        ExpectContracts(ledger, FUT, 2, 2);
        ExpectLevel(ledger.first, {30, 220}, 63); // no fee
        ExpectLevel(ledger.firm, pair.ofFirm, 63);
        ExpectLevel(*ledger.account, pair.ofAccount, 63);
        EXPECT_EQ(positions.clientPosition.prev.quantity, 5);
        EXPECT_EQ(positions.clientPosition.curr, ledger.first.GetPositionCalculator().getPosition(FUT));
        EXPECT_EQ(positions.brokerPosition.prev.quantity, 5);
        EXPECT_EQ(positions.brokerPosition.curr->sellVolume, t_bsum_int(firmBooks ? 2460.0 : 0.0));
        EXPECT_EQ(positions.settlementAccountPosition.curr->quantity, 2);

        ASSERT_EQ(money_orchestrator::ProcessClearingTrade(ledger.first, FUT, t_bprice_int(820.0), 3, ledger.vectors,
                                                           positions, true),
                  Z9ERR_OK);
        ExpectContracts(ledger, FUT, 5, 5);
        ExpectLevel(ledger.first, {0, 550}, 63);
        EXPECT_EQ(ledger.first.GetPositionCalculator().getPosition(FUT)->sellQuantityTechnic, 0);
        EXPECT_EQ(ledger.firm.GetVMCloseTotal(), Sum(0));
        EXPECT_EQ(ledger.firm.GetMeans().VMReserve, Cents(0));
        EXPECT_EQ(ledger.account->GetVMCloseTotal(), Sum(0));
        EXPECT_EQ(ledger.account->GetMeans().VMReserve, Cents(0));
        EXPECT_EQ(ledger.vectors.positionsTradesClient[0].deltaFee, t_bprice_int());
    }
}

TEST(DealLedgerTest, AClearingDealOfTheFirstContractsNeedsNoRecordBefore)
{
    Ledger ledger(HalfNetting, Netting);
    PosTradeVector ofClient, ofFirm, ofAccount;
    LinkedAssumedVectors linked{ofClient, ofFirm, ofAccount};
    PositionSet positions;
    ASSERT_EQ(money_orchestrator::ProcessClearingTrade(ledger.first, Call850, t_bprice_int(12.0), -3, linked, positions,
                                                       false),
              Z9ERR_OK);
    ExpectContracts(ledger, Call850, -3, -3);
    ExpectLevel(*ledger.account, {0, 114}, 0);
    EXPECT_EQ(positions.clientPosition.prev.quantity, 0);

    const Failure unknown = FailureOf([&] {
        static_cast<void>(money_orchestrator::ProcessClearingTrade(ledger.first, Nothing, t_bprice_int(12.0), -3,
                                                                   linked, positions, false));
    });
    EXPECT_EQ(unknown.code, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_EQ(money_orchestrator::ProcessClearingTrade(ledger.first, UnknownIsin, t_bprice_int(12.0), -3, linked,
                                                       positions, false),
              Z9ERR_INSTRUMENT_ABSENT);
    ExpectLevel(ledger.first, {0, 114}, 0);
}

TEST(DealLedgerTest, TheSharedAccountHasNoPositionToTellOf)
{
    DealTree tree(Netting, Gross, GetDummySettlementAccount());
    PositionSet positions;
    positions.settlementAccountPosition.curr = &positions.clientPosition.prev; // of an earlier deal
    ASSERT_EQ(money_orchestrator::ProcessClearingTrade(tree.first, FUT, t_bprice_int(800.0), 1, tree.vectors, positions,
                                                       false),
              Z9ERR_OK);
    EXPECT_EQ(positions.settlementAccountPosition.curr, nullptr);
    EXPECT_EQ(positions.brokerPosition.curr->quantity, 1);
}

} // namespace
} // namespace test::DealLedgerTest
