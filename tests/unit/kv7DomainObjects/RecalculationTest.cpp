// Passes of recalculation with figures worked out by hand.
//
// FUT has the grid 700, 800, 900 around its price of 800, NEXT 720, 820, 920; one unit of price is one unit of money.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "HandMarket.h"
#include "MarketChanges.h"
#include "RecalculationTree.h"
#include "kv7errors.h"

namespace test::RecalculationTest {
namespace {

using namespace recalculation;
using Enums::MarginRule;
using Enums::OptionType;
using Enums::SpreadAspect;
using kv7im::AccessByStatus;
using margin_orchestrator::EndRecalculation;
using margin_orchestrator::HasBooksToRecalculate;
using margin_orchestrator::RecalcBrokerByIsin;
using margin_orchestrator::RecalcChangedInstruments;

constexpr Isin Call750 = 10;
constexpr Isin Put850 = 11;
constexpr Isin SPREAD = 201;

/// A tree over a market that changes day by day.
struct Desk
{
    Desk(plain::Market market_, MarginRule firm, MarginRule account)
        : market(std::move(market_)),
          repository(MakeRepository(market)),
          rules(RulesOf(firm, account)),
          tree(*repository, rules)
    {}

    /// Changes some instruments of the market, and recomputes them.
    template <class Change>
    void Open(const Change& change)
    {
        change(market);
        Tree::Check(market_changes::UpdateAll(*repository, market));
        Tree::Check(repository->UpdateComplete());
    }
    /// A whole day.
    template <class Change>
    void Day(const Change& change, bool useRealCalcPrice = false)
    {
        Open(change);
        EXPECT_EQ(RecalcChangedInstruments(tree.participants, *repository, useRealCalcPrice), Z9ERR_OK);
    }
    /// Volatility margins: of the first client, the first firm and the account.
    void ExpectMargins(double ofClient, double ofFirm, double ofAccount) const
    {
        EXPECT_NEAR(tree.clients[0]->GetPortfolio().GetVolatilityInitialMargin(), ofClient, 1e-6);
        EXPECT_NEAR(tree.firms[0]->GetPortfolio().GetVolatilityInitialMargin(), ofFirm, 1e-6);
        EXPECT_NEAR(tree.account->GetPortfolio().GetVolatilityInitialMargin(), ofAccount, 1e-6);
    }

    plain::Market market;
    std::unique_ptr<kv7im::InstrumentsRepository> repository;
    Rules rules;
    Tree tree;
};

void PutInSpread(plain::Market& market, bool inSpread)
{
    market.futures[0].SpreadAspect = inSpread ? SpreadAspect::InSpread : SpreadAspect::NotInSpread;
}

// FUT bought is -100, 0, 100, two of NEXT sold 200, 0, -200: 100 together. Apart they are 100 and 200. Day by day FUT
// leaves the spread, comes back and leaves it again.
TEST(Recalculation, AFuturesLeavesTheSpreadAndEntersItAsOftenAsItLikes)
{
    for (const std::string group : {"", "GROUP"}) {
        Desk desk(ThreeFutures(group), MarginRule::HalfNetting, MarginRule::HalfNetting);
        desk.tree.SetPosition(0, FUT, {1, 800.0});
        desk.tree.SetPosition(0, NEXT, {-2, 820.0});
        desk.ExpectMargins(100.0, 100.0, 100.0);
        for (const bool inSpread : {false, true, false, true}) {
            desk.Day([&](plain::Market& market) { PutInSpread(market, inSpread); });
            const double margin = inSpread ? 100.0 : 300.0;
            desk.ExpectMargins(margin, margin, margin);
        }
        desk.tree.SetPosition(0, FUT, {0, 0.0});
        desk.tree.SetPosition(0, NEXT, {0, 0.0});
        desk.ExpectMargins(0.0, 0.0, 0.0);
    }
}

// A futures sold is 100, 0, -100, a call and a put bought at 60 are 30, -20, 30. Apart 100 and 20, together 70.
TEST(Recalculation, ASeriesEntersTheSpreadAndLeavesItAsOftenAsItLikes)
{
    plain::Market market = ThreeFutures();
    market.series = {HandSeries("S")};
    market.options = {HandOption("S", Call750, OptionType::Call, 750.0),
                      HandOption("S", Put850, OptionType::Put, 850.0)};
    Desk desk(market, MarginRule::HalfNetting, MarginRule::HalfNetting);
    desk.tree.SetPosition(0, FUT, {-1, 800.0});
    desk.tree.SetPosition(0, Call750, {1, 60.0});
    desk.tree.SetPosition(0, Put850, {1, 60.0});
    desk.ExpectMargins(120.0, 120.0, 120.0);
    for (const SpreadAspect aspect :
         {SpreadAspect::InSpread, SpreadAspect::NotInSpread, SpreadAspect::InSpread, SpreadAspect::NotInSpread}) {
        desk.Day([&](plain::Market& changed) { changed.series[0].SpreadAspect = aspect; });
        const double margin = aspect == SpreadAspect::InSpread ? 70.0 : 120.0;
        desk.ExpectMargins(margin, margin, margin);
    }
}

// FUT goes from 800 to 770, where its grid is 670, 770, 870: bought at 800 it may lose 130, settled at 770 it is 100.
TEST(Recalculation, TheSettlementPricesMayTakeThePlaceOfTheAverageOnes)
{
    for (const bool useRealCalcPrice : {false, true}) {
        Desk desk(ThreeFutures(), MarginRule::HalfNetting, MarginRule::Gross);
        desk.tree.SetPosition(0, FUT, {1, 800.0});
        desk.Day(
            [](plain::Market& market) { market.futures[0].CalcFutPrice = market.futures[0].RealCalcPrice = 770.0; },
            useRealCalcPrice);
        const double margin = useRealCalcPrice ? 100.0 : 130.0;
        desk.ExpectMargins(margin, margin, 0.0);
        EXPECT_EQ(desk.tree.account->GetPortfolio().GetGrossInitialMargin(), margin);
        EXPECT_EQ(desk.tree.account->GetInitialMargin(), margin);
        EXPECT_EQ(desk.tree.account->GetMeans().BlockedMoney.AsDouble(), margin);
        EXPECT_EQ(desk.tree.firms[0]->GetMeans().BlockedMoney.AsDouble(), margin);
    }
}

// The spread sells FUT and buys FAR, of another contract, for 5 more than it is worth. Its orders are margined leg by
// leg under half netting, the far one at FUT's settlement price plus 5. FUT goes up by 30, and only its family changes:
// FAR, which stands at 800, is bid at 835 now, and may lose 135 at 700.
TEST(Recalculation, TheOtherLegOfASpreadFollowsThePriceOfAFamilyThatIsNotItsOwn)
{
    plain::Market market = ThreeFutures();
    market.multilegs = {MultilegSample{}};
    market.multilegs[0].SecondLeg = FAR;
    Desk desk(market, MarginRule::Gross, MarginRule::Gross);
    desk.tree.clients[0]->SetCalSpreadMarginType(Enums::SpreadMarginType::HalfNetting);
    desk.tree.ChangeOrder(0, {SPREAD, true, 5.0, 1}, 1);
    EXPECT_NEAR(desk.tree.clients[0]->GetPortfolio().GetVolatilityInitialMargin(), 100.0 + 105.0, 1e-6);

    FuturesSample changed = desk.market.futures[0];
    changed.CalcFutPrice = changed.RealCalcPrice = 830.0;
    Tree::Check(desk.repository->UpdateFutures(market_changes::Of(changed)));
    Tree::Check(desk.repository->UpdateComplete());
    EXPECT_EQ(FuturesOfOpenFamilies(*desk.repository), (std::set<Isin>{FUT, NEXT}));
    EXPECT_EQ(RecalcChangedInstruments(desk.tree.participants, *desk.repository, false), Z9ERR_OK);
    EXPECT_NEAR(desk.tree.clients[0]->GetPortfolio().GetVolatilityInitialMargin(), 100.0 + 135.0, 1e-6);
}

// A month and an option that are listed after the day's changes were recomputed, and trade at once: the pass takes
// their books along onto the new objects, and trading goes on there.
TEST(Recalculation, WhatIsInsertedIntoARecomputedFamilyIsTakenAlong)
{
    constexpr Isin NEWF = 4;
    plain::Market market = ThreeFutures();
    market.series = {HandSeries("ALONE")};
    Desk desk(market, MarginRule::HalfNetting, MarginRule::HalfNetting);
    desk.tree.SetPosition(0, FUT, {1, 800.0});
    desk.Open(
        [](plain::Market& changed) { changed.futures[0].CalcFutPrice = changed.futures[0].RealCalcPrice = 810.0; });

    FuturesSample month = HandFutures("NEWF", NEWF);
    month.SpreadAspect = Enums::SpreadAspect::InSpread;
    month.TimeToExpiration = 1.0;
    const OptionSample option = HandOption("ALONE", Call750, OptionType::Call, 750.0);
    Tree::Check(month.InsertInto(*desk.repository));
    Tree::Check(option.InsertInto(*desk.repository));
    desk.market.futures.push_back(month);
    desk.market.options.push_back(option);
    desk.tree.SetPosition(0, NEWF, {2, 795.0});
    desk.tree.SetPosition(0, Call750, {3, 60.0});
    EXPECT_EQ(RecalcChangedInstruments(desk.tree.participants, *desk.repository, false), Z9ERR_OK);
    EXPECT_EQ(desk.tree.clients[0]->GetPortfolio().GetFuturesPositionByIsin(NEWF)->GetFutures(),
              desk.repository->GetFutures(NEWF));

    const auto changed = MakeRepository(desk.market);
    Tree fresh(*changed, desk.rules);
    fresh.SetPosition(0, FUT, {1, 800.0});
    fresh.SetPosition(0, NEWF, {2, 795.0});
    fresh.SetPosition(0, Call750, {3, 60.0});
    EXPECT_EQ(DifferencesOf(desk.tree, fresh), "");
    for (Tree* const each : {&desk.tree, &fresh}) {
        each->SetPosition(0, NEWF, {-1, 805.0});
        each->SetPosition(0, Call750, {-2, 61.0});
    }
    EXPECT_EQ(DifferencesOf(desk.tree, fresh), "");
}

// At settlement prices only what has changed is settled: FAR, bought at 850, is taken anew for the spread's sake and
// may lose 150 at 700 still. FUT, bought at 805, stands at 830 now and may lose 100.
TEST(Recalculation, AFamilyThatHasNotChangedKeepsItsPricesWhereTheOtherIsSettled)
{
    plain::Market market = ThreeFutures();
    market.multilegs = {MultilegSample{}};
    market.multilegs[0].SecondLeg = FAR;
    Desk desk(market, MarginRule::Gross, MarginRule::Gross);
    desk.tree.SetPosition(0, FUT, {1, 805.0});
    desk.tree.SetPosition(0, FAR, {1, 850.0});
    EXPECT_NEAR(desk.tree.clients[0]->GetPortfolio().GetVolatilityInitialMargin(), 105.0 + 150.0, 1e-6);

    FuturesSample changed = desk.market.futures[0];
    changed.CalcFutPrice = changed.RealCalcPrice = 830.0;
    Tree::Check(desk.repository->UpdateFutures(market_changes::Of(changed)));
    Tree::Check(desk.repository->UpdateComplete());
    EXPECT_EQ(RecalcChangedInstruments(desk.tree.participants, *desk.repository, true), Z9ERR_OK);
    EXPECT_NEAR(desk.tree.clients[0]->GetPortfolio().GetVolatilityInitialMargin(), 100.0 + 150.0, 1e-6);
    EXPECT_EQ(desk.tree.clients[0]->GetPortfolio().GetSpecPosition(FAR)->GetWAPrice(), 850.0);
}

// Within a contract both legs change in one pass, one after the other: whichever is first, the orders of both know the
// new prices of both. A spread bought at 25 is 5 above the 20 between its legs, and 15 above the 10 of the next day.
TEST(Recalculation, BothLegsOfASpreadAreTakenAnewAtTheNewPricesOfBoth)
{
    for (const auto& order : {std::pair(FUT, NEXT), std::pair(NEXT, FUT)}) {
        plain::Market market = ThreeFutures();
        market.multilegs = {MultilegSample{}};
        Desk desk(market, MarginRule::HalfNetting, MarginRule::HalfNetting);
        desk.tree.ChangeOrder(0, {SPREAD, true, 25.0, 1}, 1);
        desk.ExpectMargins(5.0, 5.0, 5.0);
        desk.Open(
            [](plain::Market& changed) { changed.futures[1].CalcFutPrice = changed.futures[1].RealCalcPrice = 810.0; });
        for (const Isin isin : {order.first, order.second})
            EXPECT_EQ(RecalcBrokerByIsin(*desk.tree.firms[0], isin, false), Z9ERR_OK);
        desk.ExpectMargins(15.0, 15.0, 15.0);
        const auto& orders = desk.tree.clients[0]->GetPortfolio().GetSpecPosition(FUT)->GetOrders();
        EXPECT_EQ(orders.begin()->second.realCalcPriceSecondLeg, 810.0);
        desk.repository->ReleaseChanged();
        EndRecalculation(desk.tree.participants);
    }
}

// A host may drive the pass by itself. Until the release nothing is seen of it but in the books that are done.
TEST(Recalculation, APassCanBeDrivenIsinByIsin)
{
    Desk desk(ThreeFutures(), MarginRule::HalfNetting, MarginRule::HalfNetting);
    desk.tree.SetPosition(0, FUT, {1, 800.0});
    desk.tree.SetPosition(0, FAR, {1, 800.0});
    EXPECT_FALSE(HasBooksToRecalculate(desk.tree.participants));
    desk.Open([](plain::Market& market) {
        market.futures[0].CalcFutPrice = market.futures[0].RealCalcPrice = 770.0;
        market.futures[2].CalcFutPrice = market.futures[2].RealCalcPrice = 790.0;
    });
    EXPECT_TRUE(HasBooksToRecalculate(desk.tree.participants));
    desk.ExpectMargins(200.0, 200.0, 200.0);
    BraskBroker& firm = *desk.tree.firms[0];
    EXPECT_EQ(RecalcBrokerByIsin(firm, FUT, false), Z9ERR_OK);
    desk.ExpectMargins(230.0, 230.0, 230.0);
    EXPECT_EQ(RecalcBrokerByIsin(firm, FUT, false), Z9ERR_OK) << "once more changes nothing";
    desk.ExpectMargins(230.0, 230.0, 230.0);
    EXPECT_TRUE(HasBooksToRecalculate(desk.tree.participants));
    EXPECT_EQ(RecalcBrokerByIsin(firm, FAR, false), Z9ERR_OK);
    desk.ExpectMargins(240.0, 240.0, 240.0);
    EXPECT_FALSE(HasBooksToRecalculate(desk.tree.participants));

    const kv7im::CSpecFutures* const next = desk.repository->GetFutures(AccessByStatus::eNew, FUT);
    desk.repository->ReleaseChanged();
    EndRecalculation(desk.tree.participants);
    EXPECT_EQ(desk.repository->GetFutures(FUT), next) << "the new object becomes the current one where it stands";
    for (const ParticipantBase* const each :
         {static_cast<const ParticipantBase*>(desk.tree.clients[0]), static_cast<const ParticipantBase*>(&firm),
          static_cast<const ParticipantBase*>(desk.tree.account.get())})
        EXPECT_EQ(each->GetInstruments().CountRecalculatedIsins(), 0U);
    desk.tree.SetPosition(0, FUT, {2, 800.0});
    desk.ExpectMargins(370.0, 370.0, 370.0);
}

// The firms share the account. Its own position is taken anew with the first of them, at the settlement price of 770,
// and not again with the second, which would find another average price.
TEST(Recalculation, AnAccountUnderNettingIsTakenAnewOnceAPass)
{
    Desk desk(ThreeFutures(), MarginRule::HalfNetting, MarginRule::Netting);
    Tree::Check(margin_orchestrator::SetPositionSettlementAccount(*desk.tree.account, FUT, 1, 800.0, 0));
    desk.ExpectMargins(0.0, 0.0, 100.0);
    desk.Open([](plain::Market& market) { market.futures[0].CalcFutPrice = market.futures[0].RealCalcPrice = 770.0; });
    EXPECT_EQ(RecalcBrokerByIsin(*desk.tree.firms[0], FUT, false), Z9ERR_OK);
    desk.ExpectMargins(0.0, 0.0, 130.0);
    EXPECT_TRUE(desk.tree.account->GetInstruments().IsRecalculated(FUT));
    EXPECT_EQ(RecalcBrokerByIsin(*desk.tree.firms[1], FUT, true), Z9ERR_OK);
    desk.ExpectMargins(0.0, 0.0, 130.0);
    EXPECT_EQ(desk.tree.account->GetInitialMargin(), 130.0);
    EXPECT_EQ(desk.tree.account->GetMeans().BlockedMoney.AsDouble(), 130.0);
    desk.repository->ReleaseChanged();
    EndRecalculation(desk.tree.participants);
    EXPECT_FALSE(desk.tree.account->GetInstruments().IsRecalculated(FUT));
}

// A firm under Netting takes its own position anew, and leaves that of its clients to them.
TEST(Recalculation, AFirmUnderNettingTakesItsOwnPositionAnew)
{
    Desk desk(ThreeFutures(), MarginRule::Netting, MarginRule::Gross);
    desk.tree.SetPosition(0, FUT, {1, 800.0});
    Tree::Check(margin_orchestrator::SetPositionBroker(*desk.tree.firms[0], FUT, 3, 800.0, 0));
    desk.ExpectMargins(100.0, 300.0, 0.0);
    desk.Day([](plain::Market& market) { market.futures[0].CalcFutPrice = market.futures[0].RealCalcPrice = 770.0; });
    desk.ExpectMargins(130.0, 390.0, 0.0);
    EXPECT_EQ(desk.tree.account->GetInitialMargin(), desk.tree.firms[0]->GetInitialMargin());
}

// A book without premium-style options that is not kept any more stands on the instruments like any other.
TEST(Recalculation, ASideBookAtRestLeavesTheOldInstrumentsToo)
{
    Desk desk(ThreeFutures(), MarginRule::HalfNetting, MarginRule::HalfNetting);
    BraskClient& client = *desk.tree.clients[0];
    client.SetNotUseNOV(1);
    desk.tree.SetPosition(0, FUT, {1, 800.0});
    client.SetNotUseNOV(0);
    desk.Day([](plain::Market& market) { market.futures[0].CalcFutPrice = market.futures[0].RealCalcPrice = 770.0; });
    client.SetNotUseNOV(1);
    EXPECT_EQ(client.GetPortfolioWithoutEquityOptions().GetFuturesPositionByIsin(FUT)->GetFutures(),
              desk.repository->GetFutures(FUT));
    EXPECT_NEAR(client.GetPortfolioWithoutEquityOptions().GetVolatilityInitialMargin(), 130.0, 1e-6);
    desk.tree.SetPosition(0, FUT, {2, 800.0});
    EXPECT_NEAR(client.GetPortfolioWithoutEquityOptions().GetVolatilityInitialMargin(), 260.0, 1e-6);
}

// The view of a participant: a futures that is marked is read from the new objects, and its options with it.
TEST(Recalculation, OptionsAreReadAsTheirFuturesAre)
{
    plain::Market market = ThreeFutures();
    market.series = {HandSeries("S"), HandSeries("T", "NEXT")};
    market.options = {HandOption("S", Call750, OptionType::Call, 750.0),
                      HandOption("T", Put850, OptionType::Put, 850.0)};
    Desk desk(market, MarginRule::HalfNetting, MarginRule::HalfNetting);
    desk.Open([](plain::Market& changed) {
        for (OptionSample& option : changed.options)
            option.CalcOptPrice = 47.5;
    });
    kv7im::InstrumentsRepositoryWrapper& view = desk.tree.clients[0]->GetInstrumentsForUpdate();
    const auto expect = [&](Isin isin, AccessByStatus access) { EXPECT_EQ(view.GetStatus(isin), access) << isin; };
    for (const Isin isin : {FUT, NEXT, Call750, Put850, UnknownIsin})
        expect(isin, AccessByStatus::eCurrent);
    EXPECT_TRUE(view.SetRecalculated(FUT));
    EXPECT_FALSE(view.SetRecalculated(FUT));
    for (const Isin isin : {FUT, Call750})
        expect(isin, AccessByStatus::eNew);
    for (const Isin isin : {NEXT, Put850, UnknownIsin})
        expect(isin, AccessByStatus::eCurrent);
    EXPECT_EQ(view.GetOption(Call750)->CalcOptPrice, 47.5);
    EXPECT_EQ(view.GetOption(Put850)->CalcOptPrice, 0.0);
    EXPECT_FALSE(view.IsRecalculated(Call750)) << "only the futures is marked";
    view.ResetRecalculated(FUT);
    expect(Call750, AccessByStatus::eCurrent);
}

// Nothing is open: nothing happens.
TEST(Recalculation, APassWithoutChangesLeavesEverything)
{
    Desk desk(ThreeFutures(), MarginRule::HalfNetting, MarginRule::HalfNetting);
    desk.tree.SetPosition(0, FUT, {1, 800.0});
    const kv7im::CSpecFutures* const futures = desk.repository->GetFutures(FUT);
    EXPECT_EQ(RecalcChangedInstruments(desk.tree.participants, *desk.repository, true), Z9ERR_OK);
    EXPECT_EQ(desk.repository->GetFutures(FUT), futures);
    desk.ExpectMargins(100.0, 100.0, 100.0);
}

} // namespace
} // namespace test::RecalculationTest
