// Instruments that come while their family is open, before and after it is recomputed: what they publish is what a
// repository has that was filled with all of them at the changed parameters.
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EngineBook.h"
#include "MarketChanges.h"
#include "SameModel.h"
#include "kv7errors.h"

namespace test::InstrumentsTransactionNewcomersTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using same_model::Differences;
using same_model::InstrumentDifferences;
using testing::IsEmpty;
using Level = Enums::ClientRiskLevel;

/// A month with sub-points in its series, and one option.
plain::Market Today()
{
    OptionSeriesSample series;
    series.SubRisk = true;
    return {.baseContracts = {BaseContractSample{}},
            .futures = {FuturesSample{}},
            .currencies = {},
            .series = {series},
            .options = {OptionSample{}}};
}

FuturesSample Month(const std::string& code, Isin isin, double timeToExpiration)
{
    FuturesSample futures(code, isin);
    futures.TimeToExpiration = timeToExpiration;
    return futures;
}

/// A series of what the other one is not: delivered, with a clearing that looks at it.
OptionSeriesSample Deliverable(const std::string& code, const std::string& futures)
{
    OptionSeriesSample series(code, futures);
    series.SubRisk = true;
    series.settlementType = Enums::SettlementType::Deliverable;
    series.ExpClearingsSA = 1;
    return series;
}

const OptionSample NewOption{.Code = "NEW", .Strike = 1050.0, .Isin = 112};

class Newcomers : public testing::Test
{
protected:
    void Update(const FuturesSample& futures)
    {
        ASSERT_EQ(m_repository->UpdateFutures(market_changes::Of(futures)), Z9ERR_OK);
    }
    void Update(const BaseContractSample& contract)
    {
        ASSERT_EQ(m_repository->UpdateBaseContract(market_changes::Of(contract)), Z9ERR_OK);
    }
    /// The first month at another spot, and so with another width of the grid, in both markets.
    void ChangeWidth(double spot)
    {
        m_market.futures[0].NormalizedSpot = spot;
        Update(m_market.futures[0]);
    }
    void Complete() { ASSERT_EQ(m_repository->UpdateComplete(), Z9ERR_OK); }
    /// Into the repository, and into the market that a fresh one is filled with.
    void Insert(const FuturesSample& futures)
    {
        ASSERT_EQ(futures.InsertInto(*m_repository), Z9ERR_OK);
        m_market.futures.push_back(futures);
    }
    void Insert(const OptionSeriesSample& series)
    {
        ASSERT_EQ(series.InsertInto(*m_repository), Z9ERR_OK);
        m_market.series.push_back(series);
    }
    void Insert(const OptionSample& option)
    {
        ASSERT_EQ(option.InsertInto(*m_repository), Z9ERR_OK);
        m_market.options.push_back(option);
    }
    [[nodiscard]] const CSpecOption& Option(AccessByStatus access, Isin isin) const
    {
        return *m_repository->GetOption(access, isin);
    }
    [[nodiscard]] double ShiftOf(AccessByStatus access) const
    {
        return m_repository->GetBaseContract(access, "BC")->ShiftCoefficient;
    }
    /// The new view first, while the current objects are there, then what is left of it.
    void ExpectAFreshOne()
    {
        const auto fresh = MakeRepository(m_market);
        EXPECT_THAT(InstrumentDifferences({*m_repository, eNew}, {*fresh}), IsEmpty());
        m_repository->ReleaseChanged();
        EXPECT_THAT(Differences(*m_repository, *fresh), IsEmpty());
    }

    plain::Market m_market = Today();
    const std::unique_ptr<InstrumentsRepository> m_repository = MakeRepository(m_market);
};

// An option.

/// Half a grid is a quarter of the spot. Five points and the multiples of 50 in between: 11 of them from 744 to 1256 at
/// first, then 3 from 936 to 1064, or 41 from -24 to 2024.
class NewcomersToOtherColumns : public Newcomers, public testing::WithParamInterface<std::pair<double, std::size_t>>
{};

TEST_P(NewcomersToOtherColumns, AreValuedOnTheColumnsOfTheChangedSeries)
{
    const auto [spot, columns] = GetParam();
    ChangeWidth(spot);
    Complete();
    Insert(NewOption);
    EXPECT_EQ(Option(eCurrent, 112).GetGrid(Level::Default).ColsCount(), 16u);
    m_repository->AdoptNewcomers();
    for (const Isin isin : {101, 112}) {
        EXPECT_EQ(Option(eNew, isin).GetParameters(Level::Default).length(), columns);
        EXPECT_EQ(Option(eNew, isin).GetGrid(Level::Default).ColsCount(), columns);
        EXPECT_EQ(Option(eNew, isin).GetProfile(Level::Default).Volatility().ColsCount(), columns);
    }
    ExpectAFreshOne();
}

TEST_P(NewcomersToOtherColumns, ComeWithTheReleaseWhenNobodyAdoptsThemBefore)
{
    const auto [spot, columns] = GetParam();
    ChangeWidth(spot);
    Complete();
    Insert(NewOption);
    m_repository->ReleaseChanged();
    EXPECT_EQ(Option(eCurrent, 112).GetProfile(Level::Default).Volatility().ColsCount(), columns);
    EXPECT_THAT(Differences(*m_repository, *MakeRepository(m_market)), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Spots, NewcomersToOtherColumns, testing::Values(std::pair(256.0, 8), std::pair(4096.0, 46)));

// The columns stay, the smile does not: nothing of the current values may be borrowed.
TEST_F(Newcomers, HaveTheSmileOfTheChangedSeries)
{
    m_market.series[0].A = 40.0;
    ASSERT_EQ(m_repository->UpdateVirtFutures(market_changes::Of(m_market.series[0])), Z9ERR_OK);
    Complete();
    Insert(NewOption);
    m_repository->AdoptNewcomers();
    ExpectAFreshOne();
}

// The second change is not recomputed, and so it is published with the values of the first by old and new alike.
TEST_F(Newcomers, KeepWhatTheyWereValuedByWhenTheFamilyIsChangedOnceMore)
{
    ChangeWidth(256.0);
    Complete();
    Insert(NewOption);
    m_repository->AdoptNewcomers();
    const auto fresh = MakeRepository(m_market);
    ChangeWidth(4096.0);
    EXPECT_THAT(same_model::ProfileDifferences({*m_repository, eNew}, {*fresh}), IsEmpty());
    m_repository->ReleaseChanged();
    EXPECT_THAT(same_model::ProfileDifferences({*m_repository}, {*fresh}), IsEmpty());
}

// A spot is released without a recomputation, so grids of 16 columns stand under it. A nearer month then recomputes the
// current family, which is open again, to 8. The copy of the series still has 16, and the new option has to.
TEST_F(Newcomers, DoNotBorrowFromAFamilyThatAnInsertionHasRecomputed)
{
    ChangeWidth(256.0);
    m_repository->ReleaseChanged();
    Update(m_market.baseContracts[0]);
    Insert(Month("NEAR", 3, 0.25));
    Insert(NewOption);
    ASSERT_EQ(Option(eCurrent, 112).GetGrid(Level::Default).ColsCount(), 8u);
    m_repository->AdoptNewcomers();
    for (const Isin isin : {101, 112}) {
        EXPECT_EQ(Option(eNew, isin).GetParameters(Level::Default).length(), 16u);
        EXPECT_EQ(Option(eNew, isin).GetGrid(Level::Default).ColsCount(), 16u);
        EXPECT_EQ(Option(eNew, isin).GetProfile(Level::Default).Volatility().ColsCount(), 16u);
    }
    Complete();
    EXPECT_EQ(Option(eNew, 112).GetProfile(Level::Default).Volatility().ColsCount(), 8u);
}

// As above. What the new option is charged when it is sold short stands from its adoption on: an eighth of a quarter of
// the spot of 256. Another spot waits for the recomputation.
TEST_F(Newcomers, KeepTheValuesThatTheyWereAdoptedWith)
{
    ChangeWidth(256.0);
    m_repository->ReleaseChanged();
    Update(m_market.baseContracts[0]);
    Insert(Month("NEAR", 3, 0.25));
    Insert(NewOption);
    m_repository->AdoptNewcomers();
    ChangeWidth(4096.0);
    const auto charge = [&] { return Option(eNew, 112).GetGrid(Level::Default).points.GetUpRisk(); };
    EXPECT_EQ(charge(), 8.0);
    Complete();
    EXPECT_EQ(charge(), 128.0);
}

// The same with a spot that leaves the number of columns: half a grid of 252 has the multiples of 50 from 750 to 1250
// between its points, as that of 256 has. The first and the last price are others. A twin of the option that was there
// before is worth what that one is worth, on the columns of the copy.
TEST_F(Newcomers, DoNotBorrowFromAFamilyWithAsManyColumnsAtOtherPrices)
{
    ChangeWidth(1008.0);
    m_repository->ReleaseChanged();
    Update(m_market.baseContracts[0]);
    Insert(Month("NEAR", 3, 0.25));
    Insert(OptionSample{.Code = "TWIN", .Isin = 112});
    m_repository->AdoptNewcomers();
    const auto lowestPrice = [&](AccessByStatus access) {
        return Option(access, 112).VirtFutures->GetVolatilityMatrixCentralRow(Level::Default)[0];
    };
    ASSERT_EQ(lowestPrice(eCurrent), 748.0);
    ASSERT_EQ(lowestPrice(eNew), 744.0);
    ASSERT_EQ(Option(eCurrent, 112).GetGrid(Level::Default).ColsCount(), 16u);
    const auto values = [&](AccessByStatus access, Isin isin) {
        return Option(access, isin).GetProfile(Level::Default).Volatility();
    };
    EXPECT_TRUE(values(eNew, 112) == values(eNew, 101));
    EXPECT_FALSE(values(eNew, 112) == values(eCurrent, 112));
}

// Series and futures.

TEST_F(Newcomers, OfEveryKindAreRecomputedWithTheFamilyThatTheyComeTo)
{
    m_market.baseContracts[0].MarketRisk[Enums::ClientRiskLevel::Default] = 0.5;
    Update(m_market.baseContracts[0]);
    m_market.futures[0].CalcFutPrice = 1064.0; // 64 above its settlement: a shift
    ChangeWidth(512.0);
    Complete();
    Insert(Month("FAR", 3, 2.0));
    Insert(Deliverable("ONFUT", "FUT"));
    Insert(OptionSample{.Code = "O1", .CodeVF = "ONFUT", .Isin = 121});
    Insert(Deliverable("ONFAR", "FAR"));
    Insert(OptionSample{.Code = "O2", .CodeVF = "ONFAR", .Isin = 122});
    EXPECT_EQ(m_repository->GetVirtualFutures(eNew, "ONFUT"), nullptr) << "they are no part of the transaction yet";

    m_repository->AdoptNewcomers();
    const CSpecFutures& far = *m_repository->GetFutures(eNew, 3);
    EXPECT_NE(&far, m_repository->GetFutures(eCurrent, 3));
    EXPECT_EQ(far.BaseContract, m_repository->GetBaseContract(eNew, "BC"));
    EXPECT_EQ(far.Limit[Level::Default], 256.0) << "half of 0.5 of 1024";
    EXPECT_EQ(Option(eNew, 122).VirtFutures->Futures, &far);
    m_repository->AdoptNewcomers(); // once is enough
    EXPECT_EQ(m_repository->GetFutures(eNew, 3), &far);
    ExpectAFreshOne();
}

TEST_F(Newcomers, ComeToAContractThatHadNoFuturesWhenItWasCompleted)
{
    m_market.baseContracts.push_back(BaseContractSample("EMPTY"));
    ASSERT_EQ(m_market.baseContracts[1].InsertInto(*m_repository), Z9ERR_OK);
    m_market.baseContracts[1].MarketRisk[Enums::ClientRiskLevel::Default] = 0.5;
    Update(m_market.baseContracts[1]);
    Complete();
    FuturesSample first("FIRST", 9, "EMPTY");
    ASSERT_EQ(first.InsertInto(*m_repository), Z9ERR_OK);
    m_repository->ReleaseChanged();
    EXPECT_EQ(m_repository->GetFutures(9)->BaseContract, m_repository->GetBaseContract(eCurrent, "EMPTY"));
    EXPECT_EQ(m_repository->GetFutures(9)->Limit[Level::Default], 256.0);
}

TEST_F(Newcomers, ThatTradeAtSettlementFollowTheChangedFutures)
{
    ASSERT_EQ((BaseContractSample("TBC").InsertInto(*m_repository)), Z9ERR_OK);
    m_market.baseContracts.push_back(BaseContractSample("TBC"));
    Update(m_market.baseContracts[1]);
    m_market.futures[0].RealCalcPrice = 936.0; // 64 of 1024 below the centre
    Update(m_market.futures[0]);
    Complete();
    FuturesSample tas("TAS", 4, "TBC");
    tas.Attribute = Enums::InstrumentStatus::TAS;
    tas.TASBaseFutIsinID = 1;
    Insert(tas);
    EXPECT_EQ(m_repository->GetFutures(eCurrent, 4)->RealCalcPrice, 1000.0);
    m_repository->AdoptNewcomers();
    EXPECT_EQ(m_repository->GetFutures(eNew, 4)->RealCalcPrice, 936.0);
    EXPECT_EQ(m_repository->GetBaseContract(eNew, "TBC")->ShiftCoefficient, 0.0625);
    ExpectAFreshOne();
}

// One that tracks what has not come yet is recomputed as it is.
TEST_F(Newcomers, ThatTradeAtSettlementMayWaitForTheTrackedFutures)
{
    m_market.baseContracts[0].MarketRisk[Enums::ClientRiskLevel::Default] = 0.5;
    Update(m_market.baseContracts[0]);
    Complete();
    FuturesSample lost("LOST", 8);
    lost.Attribute = Enums::InstrumentStatus::TAS;
    lost.TASBaseFutIsinID = 77;
    Insert(lost);
    m_repository->AdoptNewcomers();
    EXPECT_EQ(m_repository->GetFutures(eNew, 8)->Limit[Level::Default], 256.0);
    EXPECT_EQ(m_repository->UpdateComplete(), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
}

// Shift. The first month settles at its centre; a month 64 of 1024 below its own would make it a sixteenth.

class NearerNewcomer : public Newcomers
{
protected:
    [[nodiscard]] static FuturesSample Near(double timeToExpiration = 0.25)
    {
        FuturesSample futures = Month("NEAR", 3, timeToExpiration);
        futures.RealCalcPrice = 936.0;
        return futures;
    }
};

TEST_F(NearerNewcomer, SetsTheShiftOfTheFamilyWhenItIsRecomputed)
{
    m_market.baseContracts[0].ConcentrationLimit1 += 5;
    Update(m_market.baseContracts[0]);
    ChangeWidth(512.0);
    Insert(Near());
    EXPECT_EQ(ShiftOf(eCurrent), 0.0625);
    EXPECT_EQ(ShiftOf(eNew), 0.0);
    Complete();
    EXPECT_EQ(ShiftOf(eNew), 0.0625);
    ExpectAFreshOne();
}

// Books may stand on what has been recomputed, so it is left alone until the next UpdateComplete.
TEST_F(NearerNewcomer, LeavesARecomputedFamilyAsItIs)
{
    ChangeWidth(512.0);
    Complete();
    const OptionGrid* const grid = &Option(eNew, 101).GetGrid(Level::Default);
    Insert(Near());
    m_repository->AdoptNewcomers();
    EXPECT_EQ(ShiftOf(eNew), 0.0);
    EXPECT_EQ(&Option(eNew, 101).GetGrid(Level::Default), grid);
    Complete();
    EXPECT_EQ(ShiftOf(eNew), 0.0625);
    ExpectAFreshOne();
}

// The first month now expires before the newcomer.
TEST_F(NearerNewcomer, IsNoReferenceWhereAnotherOneHasBecomeNearer)
{
    m_market.futures[0].TimeToExpiration = 0.125;
    Update(m_market.futures[0]);
    Insert(Near());
    Complete();
    EXPECT_EQ(ShiftOf(eNew), 0.0);
    ExpectAFreshOne();
}

// A change of the contract leaves it without a reference until one of its futures is changed. A later month that comes
// meanwhile is none, as it is none in the current family.
TEST_F(NearerNewcomer, OfAChangedContractHasToBeTheNearest)
{
    Update(m_market.baseContracts[0]);
    Insert(Near(2.0));
    Complete();
    EXPECT_EQ(ShiftOf(eNew), 0.0);
    m_repository->ReleaseChanged();

    Update(m_market.baseContracts[0]);
    FuturesSample nearest = Near();
    nearest.Code = "NEAREST";
    nearest.Isin = 5;
    Insert(nearest);
    Complete();
    EXPECT_EQ(ShiftOf(eNew), 0.0625);
}

} // namespace
} // namespace test::InstrumentsTransactionNewcomersTest
