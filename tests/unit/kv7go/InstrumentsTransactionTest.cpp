// Changes of instruments during the day: who sees what until the commit, and what is there afterwards.
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwkwardMarket.h"
#include "ChangingRepository.h"
#include "EngineBook.h"
#include "SameModel.h"
#include "except.h"

namespace test::InstrumentsTransactionTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using same_model::Differences;
using same_model::InstrumentDifferences;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Level = Enums::ClientRiskLevel;

// Equal to a fresh repository.

/// The same instruments a day later: other rates, prices, shocks, smiles and spreads. Steps and styles never change.
plain::Market NextDay(plain::Market market)
{
    for (BaseContractSample& contract : market.baseContracts) {
        contract.MarketRisk[Enums::ClientRiskLevel::Default] *= 1.3;
        contract.MarketRisk1[Enums::ClientRiskLevel::High] *= 0.9;
        contract.MarketRisk2[Enums::ClientRiskLevel::Exceptional] *= 1.1;
        contract.ConcentrationLimit1 += 7;
        contract.SpotPrice += 3.25;
        contract.CFRisk += 0.125;
        contract.OptionModel = contract.OptionModel == Enums::OptionModel::Bachelier ? Enums::OptionModel::BlackScholes
                                                                                     : Enums::OptionModel::Bachelier;
    }
    for (FuturesSample& futures : market.futures) {
        futures.CalcFutPrice += 31.5;
        futures.RealCalcPrice += 28.75;
        futures.NormalizedSpot *= 0.75;
        futures.MinStepPrice *= 2.0;
        futures.InterestRateRiskUp += 0.01;
        futures.MRAddOnDown += 0.001;
        futures.TimeToExpiration = 0.7 / futures.Isin; // the nearest is now another one
        futures.EnforceIMSHalfNetting = !futures.EnforceIMSHalfNetting;
        if (futures.Isin != 2)
            futures.SpreadAspect = futures.SpreadAspect == Enums::SpreadAspect::InSpread
                                       ? Enums::SpreadAspect::NotInSpread
                                       : Enums::SpreadAspect::InSpread;
    }
    for (OptionSeriesParameters& series : market.series) {
        series.A += 4.0;
        series.D_Bach -= 0.5;
        series.VolatilityRisk += 0.1;
        series.TimeToExpiration *= 0.5;
        series.MinStepPrice *= 3.0;
        series.R += 0.02;
        series.UseNullVolat = !series.UseNullVolat;
        series.EnforceHalfNetting = !series.EnforceHalfNetting;
        series.ExpClearingsCC = series.ExpClearingsCC == 0 ? 2 : 0;
    }
    for (OptionSample& option : market.options)
        option.CalcOptPrice += 1.25;
    return market;
}

class EveryAwkwardMarket : public testing::TestWithParam<unsigned>
{};

TEST_P(EveryAwkwardMarket, ChangedIsWhatAFreshOneWouldBe)
{
    const plain::Market today = awkward::MarketOf(GetParam());
    const plain::Market tomorrow = NextDay(today);
    const auto repository = MakeRepository(today);
    const auto unchanged = MakeRepository(today);
    const auto fresh = MakeRepository(tomorrow);
    ASSERT_EQ(market_changes::UpdateAll(*repository, tomorrow), Z9ERR_OK);
    ASSERT_EQ(repository->UpdateComplete(), Z9ERR_OK);
    // Nobody has asked for a value before: it is found now, and for the current options it is that of today.
    EXPECT_THAT(InstrumentDifferences({*repository, eCurrent}, {*unchanged}), IsEmpty());
    EXPECT_THAT(InstrumentDifferences({*repository, eNew}, {*fresh}), IsEmpty());

    repository->ReleaseChanged();
    EXPECT_THAT(Differences(*repository, *fresh), IsEmpty());
    EXPECT_THAT(Differences(*repository, *unchanged), testing::Not(IsEmpty()));

    // And the day after, back again, on what the first transaction left.
    ASSERT_EQ(market_changes::UpdateAll(*repository, today), Z9ERR_OK);
    ASSERT_EQ(repository->UpdateComplete(), Z9ERR_OK);
    EXPECT_THAT(InstrumentDifferences({*repository, eCurrent}, {*fresh}), IsEmpty());
    repository->ReleaseChanged();
    EXPECT_THAT(Differences(*repository, *unchanged), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Transaction, EveryAwkwardMarket, testing::Range(0u, awkward::Markets));

// A family of two futures, a series with an option on the first, and a spread between the two.

class Transaction : public ChangingRepository
{
protected:
    Transaction()
    {
        m_contract.CodeMCS = "GROUP";
        m_series.SubRisk = true;
        m_far.Code = "FAR";
        m_far.Isin = 2;
        m_far.TimeToExpiration = 1.0;
        m_far.CalcFutPrice = 1064.0; // 40 above its settlement
        m_far.RealCalcPrice = 1024.0;
        InsertFamily();
        EXPECT_EQ(m_far.InsertInto(m_repository), Z9ERR_OK);
        EXPECT_EQ(MultilegSample{}.InsertInto(m_repository), Z9ERR_OK);
    }
    [[nodiscard]] Z9ERR Update(const FuturesSample& sample)
    {
        return m_repository.UpdateFutures(market_changes::Of(sample));
    }
    [[nodiscard]] Z9ERR Update(const BaseContractSample& sample)
    {
        return m_repository.UpdateBaseContract(market_changes::Of(sample));
    }
    [[nodiscard]] Z9ERR Update(const OptionSeriesParameters& sample)
    {
        return m_repository.UpdateVirtFutures(market_changes::Of(sample));
    }
    [[nodiscard]] std::set<Isin> InMonths(std::string_view code) const
    {
        return same_model::IsinsOf(m_repository.RangeFuturesByMMS(code));
    }
    [[nodiscard]] std::set<Isin> InGroup(std::string_view code) const
    {
        return same_model::IsinsOf(m_repository.RangeFuturesByMCS(code));
    }
    [[nodiscard]] const FuturesNode& NodeOf(Isin isin) const
    {
        for (const FuturesNode& node : m_repository.RangeFuturesByIsin())
            if (node.GetIsin() == isin) return node;
        throw std::logic_error("no such futures");
    }

    FuturesSample m_far;
};

// Readers.

TEST_F(Transaction, AChangeOfOneFuturesCopiesTheWholeFamily)
{
    m_futures.CalcFutPrice = 1010.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    EXPECT_NE(&BC(eNew), &BC(eCurrent));
    for (const Isin isin : {1, 2}) {
        EXPECT_NE(&Futures(eNew, isin), &Futures(eCurrent, isin));
        EXPECT_EQ(Futures(eNew, isin).BaseContract, &BC(eNew)) << "each copy stands under the copy of its parent";
        EXPECT_EQ(Futures(eCurrent, isin).BaseContract, &BC(eCurrent));
    }
    EXPECT_EQ(Series(eNew).Futures, &Futures(eNew));
    EXPECT_EQ(Option(eNew).VirtFutures, &Series(eNew));
    EXPECT_EQ(Futures(eNew).CalcFutPrice, 1010.0);
    EXPECT_EQ(Futures(eCurrent).CalcFutPrice, 1000.0);
    EXPECT_EQ(Futures(eNew, 2).CalcFutPrice, 1064.0) << "a sibling is copied as it is";
    EXPECT_EQ(CountOpenFutures(), 2u);
}

TEST_F(Transaction, EveryWayToAnInstrumentGivesTheObjectsOfTheView)
{
    m_futures.CalcFutPrice = 1010.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    for (const AccessByStatus access : {eCurrent, eNew}) {
        EXPECT_EQ(m_repository.GetFutures(access, "FUT"), &Futures(access));
        EXPECT_EQ(m_repository.GetOption(access, "OPT"), &Option(access));
        const FuturesNode& node = NodeOf(1);
        EXPECT_EQ(node.Get(access), &Futures(access));
        EXPECT_EQ(node.GetVirtualFutures(access, "SER"), &Series(access));
        EXPECT_EQ(node.GetVirtualFuturesByOptionIterator(access, 101)->second.get(), &Series(access));
        EXPECT_EQ(node.GetVirtualFuturesByOptionIterator(access, "OPT")->second.GetOption(101), &Option(access));
        EXPECT_EQ(node.EnumerateVirtualFutures(access).begin()->second.get(), &Series(access));
    }
    EXPECT_EQ(m_repository.GetFutures("FUT"), &Futures(eCurrent));
    EXPECT_EQ(m_repository.GetFutures(1), &Futures(eCurrent));

    const auto* const newFutures = &Futures(eNew);
    const auto* const newOption = &Option(eNew);
    Commit();
    EXPECT_EQ(&Futures(eCurrent), newFutures) << "a commit is an exchange of pointers";
    EXPECT_EQ(&Futures(eNew), newFutures);
    EXPECT_EQ(&Option(eCurrent), newOption);
    EXPECT_EQ(&Option(eNew), newOption);
    EXPECT_EQ(CountOpenFutures(), 0u);
    EXPECT_EQ(CountOpenContracts(), 0u);
}

TEST_F(Transaction, ANodesPricesAreTheNewestOnes)
{
    m_futures.RealCalcPrice = 1012.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    ASSERT_EQ(m_repository.UpdateOption(101, 71.5), Z9ERR_OK);
    EXPECT_EQ(NodeOf(1).GetRealCalcPrice(), 1012.0);
    EXPECT_EQ(NodeOf(1).GetRealCalcPriceOption(101), 71.5);
    EXPECT_EQ(Option(eCurrent).CalcOptPrice, 64.0);
    Commit();
    EXPECT_EQ(Option(eCurrent).CalcOptPrice, 71.5);
}

// The option has not been asked for when the futures is changed. Its value at the centre moves with the futures, by
// more than half of the 100.
TEST_F(Transaction, AnOptionFirstAskedForWithinATransactionHasTheValueOfItsView)
{
    const auto atTheCentre = [&](AccessByStatus access) {
        const Profile profile = Option(access).GetProfile(Level::Default);
        const std::size_t centre = 2; // of five points
        return static_cast<double>(std::as_const(profile).GetCentralRowOfVolatilityMatrix()[centre]);
    };
    m_futures.CalcFutPrice = m_futures.RealCalcPrice = 1100.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    const double old = atTheCentre(eNew);
    EXPECT_EQ(atTheCentre(eCurrent), old) << "a copy that is not recomputed has the value of its original";
    ASSERT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
    EXPECT_EQ(atTheCentre(eCurrent), old);
    EXPECT_GT(atTheCentre(eNew), old + 50.0);
    const double changed = atTheCentre(eNew);
    m_repository.ReleaseChanged();
    EXPECT_EQ(atTheCentre(eCurrent), changed);
}

TEST_F(Transaction, ASecondChangeInATransactionCopiesNothing)
{
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    const auto* const copy = &Futures(eNew);
    m_contract.SpotPrice = 120.0;
    ASSERT_EQ(Update(m_contract), Z9ERR_OK);
    ASSERT_EQ(Update(m_far), Z9ERR_OK);
    ASSERT_EQ(Update(m_series), Z9ERR_OK);
    ASSERT_EQ(m_repository.UpdateOptionSeries(market_changes::SpreadOf(m_series)), Z9ERR_OK);
    EXPECT_EQ(&Futures(eNew), copy);
    EXPECT_EQ(BC(eNew).SpotPrice, 120.0);
}

TEST_F(Transaction, AnotherFamilyIsNotTouched)
{
    BaseContractSample other("OTHER");
    FuturesSample otherFutures("OF", 7, "OTHER");
    ASSERT_EQ(other.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ(otherFutures.InsertInto(m_repository), Z9ERR_OK);
    const auto* const current = &Futures(eCurrent, 7);
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    EXPECT_EQ(&Futures(eNew, 7), current);
    EXPECT_EQ(&BC(eNew, "OTHER"), &BC(eCurrent, "OTHER"));

    // Opened as well, it is committed together with the first.
    otherFutures.CalcFutPrice = 990.0;
    ASSERT_EQ(Update(otherFutures), Z9ERR_OK);
    EXPECT_EQ(CountOpenContracts(), 2u);
    Commit();
    EXPECT_EQ(Futures(eCurrent, 7).CalcFutPrice, 990.0);
}

// Groups and spreads.

TEST_F(Transaction, AFuturesChangesItsGroupsWithTheCommit)
{
    ASSERT_THAT(InMonths("BC"), UnorderedElementsAre(1, 2));
    m_futures.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    ASSERT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
    EXPECT_THAT(InMonths("BC"), UnorderedElementsAre(1, 2)) << "not before the commit";
    EXPECT_THAT(InGroup("GROUP"), UnorderedElementsAre(1, 2));
    m_repository.ReleaseChanged();
    EXPECT_THAT(InMonths("BC"), UnorderedElementsAre(2));
    EXPECT_THAT(InMonths(""), UnorderedElementsAre(1));
    EXPECT_THAT(InGroup("GROUP"), UnorderedElementsAre(2));
    EXPECT_THAT(InGroup(""), UnorderedElementsAre(1));
    EXPECT_EQ(m_repository.CountMMS(), 1u);

    m_far.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    ASSERT_EQ(Update(m_far), Z9ERR_OK);
    Commit();
    EXPECT_THAT(InMonths("BC"), IsEmpty());
    EXPECT_EQ(m_repository.CountMMS(), 0u);

    m_futures.SpreadAspect = Enums::SpreadAspect::InSpread;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    Commit();
    EXPECT_THAT(InMonths("BC"), UnorderedElementsAre(1));
    EXPECT_THAT(InGroup("GROUP"), UnorderedElementsAre(1));
    EXPECT_TRUE(m_repository.GetMultileg(201)->IsIncompleteSpreadAspect());
}

// A multileg is not copied: unlike all else its property changes at once.
TEST_F(Transaction, AMultilegFollowsItsLegsBeforeTheCommit)
{
    ASSERT_FALSE(m_repository.GetMultileg(201)->IsIncompleteSpreadAspect());
    m_far.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    ASSERT_EQ(Update(m_far), Z9ERR_OK);
    EXPECT_TRUE(m_repository.GetMultileg(201)->IsIncompleteSpreadAspect());
    EXPECT_TRUE(Futures(eCurrent, 2).IsInSpread);
    m_far.SpreadAspect = Enums::SpreadAspect::InSpread;
    ASSERT_EQ(Update(m_far), Z9ERR_OK);
    EXPECT_FALSE(m_repository.GetMultileg(201)->IsIncompleteSpreadAspect());
}

// Any value but 0 puts a futures in spread at insertion; a change is stricter, and so it is for a series both times.
TEST_F(Transaction, OnlyTheNamedValueKeepsAChangedFuturesInSpread)
{
    FuturesSample odd([](auto& f) {
        f.Code = "ODD";
        f.SpreadAspect = static_cast<Enums::SpreadAspect>(1);
        f.Isin = 9;
    });
    ASSERT_EQ(odd.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_TRUE(Futures(eCurrent, 9).IsInSpread);
    ASSERT_EQ(Update(odd), Z9ERR_OK);
    EXPECT_FALSE(Futures(eNew, 9).IsInSpread);
}

TEST_F(Transaction, ASeriesLeavesAndEntersTheSpreadByEitherChange)
{
    m_series.SpreadAspect = Enums::SpreadAspect::NotInSpread;
    m_series.EnforceHalfNetting = true;
    m_series.A = 40.0;
    ASSERT_EQ(m_repository.UpdateOptionSeries(market_changes::SpreadOf(m_series)), Z9ERR_OK);
    EXPECT_FALSE(Series(eNew).IsInSpread);
    EXPECT_TRUE(Series(eNew).EnforceHalfNetting);
    EXPECT_EQ(Series(eNew).A, 32.0) << "the smile is no part of this change";
    EXPECT_TRUE(Series(eCurrent).IsInSpread);
    Commit();
    EXPECT_FALSE(Series(eCurrent).IsInSpread);
    m_series.SpreadAspect = Enums::SpreadAspect::InSpread;
    ASSERT_EQ(Update(m_series), Z9ERR_OK);
    Commit();
    EXPECT_TRUE(Series(eCurrent).IsInSpread);
    EXPECT_EQ(Series(eCurrent).A, 40.0);
}

TEST_F(Transaction, LookupsByCodeAndIsinLeadToTheSameNodesAfterACommit)
{
    const FuturesNode* const node = &NodeOf(1);
    m_futures.SpreadAspect = Enums::SpreadAspect::NotInSpread; // the node moves in four indices
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    Commit();
    EXPECT_EQ(&NodeOf(1), node);
    for (const auto& [code, owner] : m_repository.RangeVirtualFuturesByCode())
        EXPECT_EQ(&*owner, node);
    for (const OptionEntry& entry : m_repository.RangeOptionsByIsin())
        EXPECT_EQ(&*entry.GetFutures(), node);
    for (const OptionEntry& entry : m_repository.RangeOptionsByCode())
        EXPECT_EQ(&*entry.GetFutures(), node);
    const CSpecOption* const option = node->GetVirtualFuturesIterator(eCurrent, "SER")->second.GetOption(101);
    EXPECT_EQ(option->VirtFutures->Futures, node->GetCurrent());
    for (const AccessByStatus access : {eCurrent, eNew}) {
        EXPECT_EQ(m_repository.GetOption(access, "OPT"), option);
        EXPECT_EQ(m_repository.GetOption(access, 101), option);
    }
}

// Shift and limits. The nearest futures settles at its own price: no shift. Of 1000 units the first limit is
// 1000 * 10 / (5 * 100) * 1024 in money.

TEST_F(Transaction, TheNearestFuturesMovesShiftAndLimitsOfTheCopy)
{
    ASSERT_EQ(BC(eCurrent).ShiftCoefficient, 0.0);
    ASSERT_EQ(BC(eCurrent).ConcentrationLimit1Spot, 20480.0);
    m_futures.RealCalcPrice = 936.0; // 64 of 1024 below the centre
    m_futures.MinStepPrice = 20.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    EXPECT_EQ(BC(eNew).ShiftCoefficient, 0.0625);
    EXPECT_EQ(BC(eNew).MarketRiskUp[Level::Default], 0.3125);
    EXPECT_EQ(BC(eNew).ConcentrationLimit1Spot, 40960.0);
    EXPECT_EQ(BC(eCurrent).ShiftCoefficient, 0.0);
    EXPECT_EQ(BC(eCurrent).ConcentrationLimit1Spot, 20480.0);

    m_far.RealCalcPrice = 1000.0;
    ASSERT_EQ(Update(m_far), Z9ERR_OK);
    EXPECT_EQ(BC(eNew).ShiftCoefficient, 0.0625) << "a later month is no reference";
    Commit();
    EXPECT_EQ(BC(eCurrent).ShiftCoefficient, 0.0625);
    EXPECT_EQ(Futures(eCurrent, 2).GetUpRisk(Level::Default), 0.125 * 1024.0 * 0.3125) << "the whole family follows";
}

TEST_F(Transaction, AfterAChangeOfTheContractTheNextFuturesSetsTheShiftWhateverItsExpiry)
{
    m_futures.RealCalcPrice = 936.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    ASSERT_EQ(Update(m_contract), Z9ERR_OK);
    EXPECT_EQ(BC(eNew).ShiftCoefficient, 0.0625) << "the shift survives until then";
    FuturesSample expired = m_far;
    expired.TimeToExpiration = 0.0;
    ASSERT_EQ(Update(expired), Z9ERR_OK);
    EXPECT_EQ(BC(eNew).ShiftCoefficient, 0.0625) << "an expired futures is no reference";
    ASSERT_EQ(Update(m_far), Z9ERR_OK);
    EXPECT_EQ(BC(eNew).ShiftCoefficient, 40.0 / 1024.0);
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    EXPECT_EQ(BC(eNew).ShiftCoefficient, 0.0625) << "and the nearer one takes over";
}

// The limits in money are those of the reference futures, which a change of the contract alone does not ask.
TEST_F(Transaction, ChangedLimitsCountInMoneyFromTheNextChangeOfAFuturesOn)
{
    m_contract.ConcentrationLimit1 = 2000;
    ASSERT_EQ(Update(m_contract), Z9ERR_OK);
    Commit();
    EXPECT_EQ(BC(eCurrent).ConcentrationLimit1, 2000);
    EXPECT_EQ(BC(eCurrent).ConcentrationLimit1Spot, 20480.0) << "of the former 1000";
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    Commit();
    EXPECT_EQ(BC(eCurrent).ConcentrationLimit1Spot, 40960.0);
}

// A contract in per cent has a spot of its own, 100.
TEST_F(Transaction, ChangedLimitsOfAContractInPerCentCountAtOnce)
{
    BaseContractSample rate("RATE");
    rate.AssetClass = Enums::AssetClass::Percentage;
    ASSERT_EQ(rate.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ(BC(eCurrent, "RATE").ConcentrationLimit1Spot, 1000.0 * 100.0);
    rate.ConcentrationLimit1 = 2000;
    ASSERT_EQ(Update(rate), Z9ERR_OK);
    Commit();
    EXPECT_EQ(BC(eCurrent, "RATE").ConcentrationLimit1Spot, 2000.0 * 100.0);
}

// Stages.

TEST_F(Transaction, CompletingNothingIsFineAndReleasingTwiceIsOnce)
{
    EXPECT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
    m_repository.ReleaseChanged();
    const auto* const untouched = &Futures(eCurrent);
    m_futures.CalcFutPrice = 1010.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    EXPECT_EQ(&Futures(eCurrent), untouched);
    Commit();
    const auto* const released = &Futures(eCurrent);
    EXPECT_NE(released, untouched);
    m_repository.ReleaseChanged();
    EXPECT_EQ(&Futures(eCurrent), released);
    EXPECT_EQ(Futures(eCurrent).CalcFutPrice, 1010.0);
    EXPECT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
}

// Only UpdateComplete recomputes: what is released without it has new parameters and old profiles.
TEST_F(Transaction, WhatIsReleasedWithoutBeingRecomputedHasOldProfiles)
{
    const Profile oldOption = Option(eCurrent).GetProfile(Level::High);
    m_futures.CalcFutPrice = m_futures.RealCalcPrice = 1100.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    m_repository.ReleaseChanged();
    EXPECT_EQ(Futures(eCurrent).CalcFutPrice, 1100.0);
    const RiskRowWrapper prices = Futures(eCurrent).GetProfile(Level::Default).GetCentralRowOfVolatilityMatrix();
    EXPECT_EQ(static_cast<double>(prices[2]), 1000.0);
    EXPECT_EQ(Option(eCurrent).GetProfile(Level::High), oldOption);

    ASSERT_EQ(Update(m_futures), Z9ERR_OK); // the next transaction makes up for it
    Commit();
    const RiskRowWrapper renewed = Futures(eCurrent).GetProfile(Level::Default).GetCentralRowOfVolatilityMatrix();
    EXPECT_EQ(static_cast<double>(renewed[2]), 1100.0);
    EXPECT_NE(Option(eCurrent).GetProfile(Level::High), oldOption);
}

TEST_F(Transaction, ARefusedChangeIsReleasedAsACopyOfWhatWas)
{
    OptionSeriesSample bad = m_series;
    bad.VolatilityRisk = 5.0;
    ASSERT_NE(Update(bad), Z9ERR_OK);
    const auto* const copy = &Series(eNew);
    Commit();
    EXPECT_EQ(&Series(eCurrent), copy);
    EXPECT_EQ(Series(eCurrent).VolatilityRisk, 0.0);
}

// Series and options.

TEST_F(Transaction, SubPointsFollowTheGrid)
{
    // Half a grid is 256 wide at first and 64 afterwards: multiples of 50 from 744 to 1256, then from 936 to 1064.
    const auto subPoints = [&] { return Series(eCurrent).subPointRange[Level::Default]; };
    EXPECT_EQ(subPoints(), (std::vector<std::int32_t>{15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25}));
    m_futures.NormalizedSpot = 256.0;
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    Commit();
    EXPECT_EQ(subPoints(), (std::vector<std::int32_t>{19, 20, 21}));
    const Profile profile = Option(eCurrent).GetProfile(Level::Default);
    EXPECT_EQ(profile.Volatility().ColsCount(), 8u);
    EXPECT_EQ(profile.Volatility().Binding(), &Series(eCurrent).GetBindingArray(Level::Default));
}

TEST_F(Transaction, DeliveryScenariosComeAndGoWithTheClearingsThatLookAtThem)
{
    OptionSeriesSample deliverable("DLV", "FUT");
    deliverable.settlementType = Enums::SettlementType::Deliverable;
    ASSERT_EQ(deliverable.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ((OptionSample{.Code = "DO", .CodeVF = "DLV", .Isin = 102}.InsertInto(m_repository)), Z9ERR_OK);
    const auto scenarios = [&](AccessByStatus access) {
        return Option(access, 102).GetProfile(Level::Default).Expiration().RowsCount();
    };
    EXPECT_EQ(scenarios(eCurrent), 0u);
    deliverable.ExpClearingsSA = 1;
    ASSERT_EQ(Update(deliverable), Z9ERR_OK);
    EXPECT_EQ(scenarios(eNew), 0u) << "not before they are computed";
    ASSERT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
    EXPECT_EQ(scenarios(eCurrent), 0u);
    // The limit is 128, the step 50: two steps on either side of the centre, the centre and the two ends.
    EXPECT_EQ(scenarios(eNew), 7u);
    m_repository.ReleaseChanged();
    EXPECT_EQ(scenarios(eCurrent), 7u);
    deliverable.ExpClearingsSA = 0;
    ASSERT_EQ(Update(deliverable), Z9ERR_OK);
    EXPECT_EQ(scenarios(eNew), 7u);
    Commit();
    EXPECT_EQ(scenarios(eCurrent), 0u);
}

// 512 wide and 1 apart are more than 200 sub-points: the step becomes 3. It stays so when the grid has become narrow
// enough for 1 again, until the series itself is changed.
TEST_F(Transaction, AWidenedStepStaysUntilTheSeriesIsChanged)
{
    FuturesSample fine([](auto& f) {
        f.Code = "FINE";
        f.MinStep = 1.0;
        f.Isin = 5;
    });
    ASSERT_EQ(fine.InsertInto(m_repository), Z9ERR_OK);
    OptionSeriesSample series("NARROW", "FINE");
    series.StrikeStep = series.MinStep = 1.0;
    series.SubRisk = true;
    ASSERT_EQ(series.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ(Series(eCurrent, "NARROW").AdjustedSubRiskStep[Level::Default], 3.0);
    fine.NormalizedSpot = 100.0; // 50 wide
    ASSERT_EQ(Update(fine), Z9ERR_OK);
    Commit();
    EXPECT_EQ(Series(eCurrent, "NARROW").AdjustedSubRiskStep[Level::Default], 3.0);
    ASSERT_EQ(Update(series), Z9ERR_OK);
    Commit();
    EXPECT_EQ(Series(eCurrent, "NARROW").AdjustedSubRiskStep[Level::Default], 1.0);
}

// Should a recomputation fail between a series and its options, these have no values of the columns that are gone.
TEST_F(Transaction, AnOptionThatCannotBeRecomputedHasNoValuesOfFormerColumns)
{
    const auto contract = m_contract.Make();
    const auto futures = m_futures.Make(*contract);
    futures->RecalcInvariants();
    VirtualFuturesNode node(m_series.Make(*futures));
    node.storage().insert(m_option.Make(*node.get()));
    node.RecalcInvariants();
    node.ValueAllOptions();
    ASSERT_EQ(node.GetOption("OPT")->GetGrid(Level::Default).ColsCount(), 16u);

    futures->NormalizedSpot = 256.0;
    futures->RecalcInvariants();
    contract->optionModel = static_cast<Enums::OptionModel>(7);
    EXPECT_THROW(node.RecalcInvariants(), kv7base::CZ9Error);
    contract->optionModel = Enums::OptionModel::BlackScholes;
    EXPECT_EQ(node.GetOption("OPT")->GetGrid(Level::Default).ColsCount(), 8u);
}

// Instruments that come while their family is open.

TEST_F(Transaction, WhatIsInsertedIntoAnOpenFamilyIsThereAfterTheCommit)
{
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    FuturesSample newFutures("NEWF", 3);
    newFutures.TimeToExpiration = 2.0;
    ASSERT_EQ(newFutures.InsertInto(m_repository), Z9ERR_OK);
    const OptionSeriesSample newSeries("NEWS", "FUT");
    ASSERT_EQ(newSeries.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ((OptionSample{.Code = "NEW1", .CodeVF = "NEWS", .Isin = 111}.InsertInto(m_repository)), Z9ERR_OK);
    ASSERT_EQ((OptionSample{.Code = "NEW2", .Isin = 112}.InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_EQ(&Futures(eNew, 3), &Futures(eCurrent, 3)) << "it is no part of the transaction yet";
    EXPECT_EQ(Update(newSeries), Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND);
    EXPECT_EQ(m_repository.UpdateOption(111, 1.0), Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND);
    EXPECT_EQ(m_repository.UpdateOption(112, 1.0), Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND);

    m_contract.MarketRisk[Enums::ClientRiskLevel::Default] = 0.5;
    ASSERT_EQ(Update(m_contract), Z9ERR_OK);
    Commit();
    EXPECT_EQ(Futures(eCurrent, 3).BaseContract, &BC(eCurrent));
    EXPECT_EQ(Futures(eCurrent, 3).Limit[Level::Default], 256.0) << "0.5 * 1024 / 2: recomputed with its family";
    EXPECT_EQ(Series(eCurrent, "NEWS").Futures, &Futures(eCurrent));
    EXPECT_EQ(Option(eCurrent, 111).VirtFutures, &Series(eCurrent, "NEWS"));
    EXPECT_EQ(Option(eCurrent, 112).VirtFutures, &Series(eCurrent));
    EXPECT_EQ(Option(eCurrent, 112).GetProfile(Level::Default), Option(eCurrent).GetProfile(Level::Default));
}

// A release without recomputation takes them along too, with the profiles that they came with.
TEST_F(Transaction, ANewFuturesOfAnOpenFamilyStandsUnderTheReleasedContract)
{
    m_contract.MarketRisk[Enums::ClientRiskLevel::Default] = 0.5;
    ASSERT_EQ(Update(m_contract), Z9ERR_OK);
    ASSERT_EQ((FuturesSample("NEWF", 3).InsertInto(m_repository)), Z9ERR_OK);
    m_repository.ReleaseChanged();
    EXPECT_EQ(Futures(eCurrent, 3).BaseContract, &BC(eCurrent));
    EXPECT_EQ(Futures(eCurrent, 3).Limit[Level::Default], 128.0);
    EXPECT_EQ(CountOpenFutures(), 0u);
}

// An insertion that moves the shift of the current contract leaves the open one and what was copied from it alone.
TEST_F(Transaction, AnInsertionThatRecomputesAFamilyDoesNotReachItsCopies)
{
    ASSERT_EQ(Update(m_far), Z9ERR_OK);
    const auto charge = [&](AccessByStatus access) {
        return Option(access).GetProfile(Level::Default).GetSpecialRiskPoints().GetUpRisk();
    };
    FuturesSample nearest("NEAR", 3);
    nearest.TimeToExpiration = 0.25;
    nearest.RealCalcPrice = 936.0;
    ASSERT_EQ(nearest.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_EQ(charge(eCurrent), 0.125 * 1024.0 * 0.3125);
    EXPECT_EQ(charge(eNew), 0.125 * 1024.0 * 0.25);
}

TEST_F(Transaction, ASeriesThatRewritesItsContractDoesSoForTheOpenOneToo)
{
    BaseContractSample bond([](auto& c) {
        c.Code = "BOND";
        c.AssetClass = Enums::AssetClass::Bond;
    });
    FuturesSample spot("SPOT", 6, "BOND");
    spot.Attribute = Enums::InstrumentStatus::Collateral;
    ASSERT_EQ(bond.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ(spot.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ(Update(spot), Z9ERR_OK);
    OptionSeriesSample series("ONSPOT", "SPOT");
    series.marginStyle = Enums::MarginStyle::Equity;
    ASSERT_EQ(series.InsertInto(m_repository), Z9ERR_OK);
    Commit();
    EXPECT_EQ(BC(eCurrent, "BOND").assetClass, Enums::AssetClass::Stock);
    EXPECT_TRUE(Series(eCurrent, "ONSPOT").IsOptionsSeriesForStock());
}

// Trade at settlement.

class TradeAtSettlement : public Transaction
{
protected:
    TradeAtSettlement()
    {
        EXPECT_EQ((BaseContractSample("TBC").InsertInto(m_repository)), Z9ERR_OK);
        m_tas.Code = "TAS";
        m_tas.CodeBC = "TBC";
        m_tas.Isin = 4;
        m_tas.Attribute = Enums::InstrumentStatus::TAS;
        m_tas.TASBaseFutIsinID = 1;
        EXPECT_EQ(m_tas.InsertInto(m_repository), Z9ERR_OK);
        m_futures.RealCalcPrice = 936.0; // a shift of a sixteenth
    }

    FuturesSample m_tas;
};

TEST_F(TradeAtSettlement, FollowsTheFuturesOfAnotherContractWhenBothAreChanged)
{
    ASSERT_EQ(Update(m_tas), Z9ERR_OK); // in either order
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    EXPECT_EQ(Futures(eNew, 4).RealCalcPrice, 1000.0) << "not before it is recomputed";
    ASSERT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
    EXPECT_EQ(Futures(eNew, 4).RealCalcPrice, 936.0);
    EXPECT_EQ(BC(eNew, "TBC").ShiftCoefficient, 0.0625);
    EXPECT_EQ(BC(eNew, "TBC").MarketRisk1Down[Level::Default], 0.3125);
    EXPECT_EQ(BC(eNew, "TBC").ConcentrationLimit1Spot, BC(eNew).ConcentrationLimit1Spot);
    EXPECT_EQ(Futures(eNew, 4).GetZL(Level::Default), Futures(eNew).GetZL(Level::Default));
    EXPECT_EQ(BC(eCurrent, "TBC").ShiftCoefficient, 0.0);
    EXPECT_EQ(Futures(eCurrent, 4).RealCalcPrice, 1000.0);
    m_repository.ReleaseChanged();
    EXPECT_EQ(BC(eCurrent, "TBC").ShiftCoefficient, 0.0625);
}

TEST_F(TradeAtSettlement, StaysAsItIsWhenOnlyTheOtherIsChanged)
{
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    Commit();
    EXPECT_EQ(Futures(eCurrent, 4).RealCalcPrice, 1000.0);
    EXPECT_EQ(BC(eCurrent, "TBC").ShiftCoefficient, 0.0);

    // Its own change finds the other one as it has been committed.
    ASSERT_EQ(Update(m_tas), Z9ERR_OK);
    Commit();
    EXPECT_EQ(Futures(eCurrent, 4).RealCalcPrice, 936.0);
    EXPECT_EQ(BC(eCurrent, "TBC").ShiftCoefficient, 0.0625);
}

TEST_F(TradeAtSettlement, HasToFindTheOtherToBeRecomputed)
{
    FuturesSample lost("LOST", 8);
    lost.Attribute = Enums::InstrumentStatus::TAS;
    lost.TASBaseFutIsinID = 77;
    ASSERT_EQ(lost.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ(Update(lost), Z9ERR_OK);
    EXPECT_EQ(m_repository.UpdateComplete(), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    m_repository.ReleaseChanged(); // what could not be recomputed is released as it is
    EXPECT_EQ(CountOpenFutures(), 0u);

    // Its base may come later; the next transaction finds it.
    ASSERT_EQ((FuturesSample([](auto& f) {
                   f.Code = "BASE";
                   f.RealCalcPrice = 777.0;
                   f.Isin = 77;
               }).InsertInto(m_repository)),
              Z9ERR_OK);
    ASSERT_EQ(Update(lost), Z9ERR_OK);
    EXPECT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
    EXPECT_EQ(Futures(eNew, 8).RealCalcPrice, 777.0);
}

// Futures beside it in its contract are recomputed before it or after it, as the index has them, and the shift comes
// with it. An option that is asked for when all is done has the charge of the moment of its recomputation, as its
// futures has.
TEST_F(TradeAtSettlement, AnOptionBesideItHasTheChargeOfItsOwnFutures)
{
    ASSERT_EQ((BaseContractSample("UBC").InsertInto(m_repository)), Z9ERR_OK);
    const std::set<Isin> beside = {31, 32, 33, 34};
    for (const Isin isin : beside) {
        const std::string code = "X" + std::to_string(isin);
        FuturesSample futures(code, isin, "UBC");
        futures.TimeToExpiration = 0.01 * isin;
        ASSERT_EQ(futures.InsertInto(m_repository), Z9ERR_OK);
        ASSERT_EQ(OptionSeriesSample("S" + code, code).InsertInto(m_repository), Z9ERR_OK);
        ASSERT_EQ((OptionSample{.Code = "O" + code, .CodeVF = "S" + code, .Isin = 100 * isin}.InsertInto(m_repository)),
                  Z9ERR_OK);
        if (isin != 32) continue;
        FuturesSample tas = m_tas;
        tas.Code = "TAS2";
        tas.CodeBC = "UBC";
        tas.Isin = 40;
        ASSERT_EQ(tas.InsertInto(m_repository), Z9ERR_OK);
    }
    ASSERT_EQ(Update(m_futures), Z9ERR_OK);
    ASSERT_EQ(m_repository.UpdateOption(3100, 1.0), Z9ERR_OK);
    ASSERT_EQ(m_repository.UpdateComplete(), Z9ERR_OK);
    std::set<double> charges;
    for (const Isin isin : beside) {
        charges.insert(Futures(eNew, isin).GetUpRisk(Level::Default));
        EXPECT_EQ(Option(eNew, 100 * isin).GetProfile(Level::Default).GetSpecialRiskPoints().GetUpRisk(),
                  Futures(eNew, isin).GetUpRisk(Level::Default));
    }
    EXPECT_THAT(charges, UnorderedElementsAre(0.125 * 1024.0 * 0.25, 0.125 * 1024.0 * 0.3125))
        << "some before it and some after it";
}

} // namespace
} // namespace test::InstrumentsTransactionTest
