// A futures that comes nearer than the others moves the shift and the limits of its contract. What of the family is
// recomputed then, and what may stay: judged by a family that is built anew, cell by cell, at each such move.
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChangingRepository.h"
#include "SameModel.h"

namespace test::FamilyRecomputationTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using testing::SizeIs;
using Level = Enums::ClientRiskLevel;

/// The family by the plain rule: each move of the shift or the limits makes every instrument again from its parameters.
class PlainFamily
{
public:
    explicit PlainFamily(const BaseContractSample& sample) : m_contract(sample.Make()) {}

    void Insert(const FuturesSample& sample)
    {
        m_members.emplace_back(sample, *m_contract);
        if (!m_contract->CorrectShiftParamsByFutures(m_members.back().futures.get())) {
            m_members.back().futures->RecalcInvariants();
            return;
        }
        for (auto member = m_members.rbegin(); member != m_members.rend(); ++member) // the last to come is the first
            member->MakeAnew(*m_contract);
    }

    /// A futures has one series at most, with one option.
    void Insert(const OptionSeriesSample& series)
    {
        for (Member& member : m_members)
            if (member.sample.Code == series.CodeRF) member.Enter(series);
    }
    void ReleaseFromPerCent() { m_contract->assetClass = Enums::AssetClass::Stock; }

    void Compare(const InstrumentsRepository& repository, same_model::Comparison& comparison) const
    {
        comparison.BaseContracts(*repository.GetBaseContract(eCurrent, m_contract->Code), *m_contract);
        for (const Member& member : m_members) {
            comparison.Futures(*repository.GetFutures(member.sample.Isin), *member.futures);
            if (member.series == nullptr) continue;
            comparison.Series(*repository.GetVirtualFutures(eCurrent, member.series->Code), *member.series);
            comparison.Options(*repository.GetOption(eCurrent, member.option->isin), *member.option);
        }
    }

private:
    struct Member
    {
        Member(const FuturesSample& futures_, CSpecBaseContract& contract)
            : sample(futures_), futures(sample.Make(contract))
        {}

        void Enter(const OptionSeriesSample& entering)
        {
            seriesSample = entering;
            series = entering.Make(*futures);
            series->RecalcInvariants();
            MakeOption();
        }
        void MakeAnew(CSpecBaseContract& contract)
        {
            const std::shared_ptr<CSpecFutures> former = std::exchange(futures, sample.Make(contract));
            futures->RecalcInvariants();
            if (series == nullptr) return;
            const auto steps = series->AdjustedSubRiskStep; // a step that was widened stays wide
            option.reset();
            series = seriesSample.Make(*futures);
            series->AdjustedSubRiskStep = steps;
            series->RecalcInvariants();
            MakeOption();
        }
        void MakeOption()
        {
            const OptionSample call{.Code = "O" + series->Code, .CodeVF = series->Code, .Isin = sample.Isin + 10000};
            option = std::make_unique<CSpecOption>(call.Make(*series));
        }

        FuturesSample sample;
        OptionSeriesSample seriesSample;
        std::shared_ptr<CSpecFutures> futures;
        std::unique_ptr<CSpecVirtFutures> series;
        std::unique_ptr<CSpecOption> option;
    };

    std::shared_ptr<CSpecBaseContract> m_contract;
    std::vector<Member> m_members;
};

/// A family of random members, entered in a random order.
class RandomFamily
{
public:
    explicit RandomFamily(unsigned seed) : m_random(seed)
    {
        contract.RiskPointsN = 7;
        if (Chance(4)) contract.AssetClass = Enums::AssetClass::Percentage;
    }

    [[nodiscard]] bool Chance(int outOf) { return std::uniform_int_distribution(1, outOf)(m_random) == 1; }

    [[nodiscard]] FuturesSample Futures(Isin isin)
    {
        FuturesSample sample("F" + std::to_string(isin), isin);
        // Steps of half of what counts as the same time, expired ones among them.
        sample.TimeToExpiration = 0.0005 * std::uniform_int_distribution(0, 40)(m_random);
        sample.CalcFutPrice = Between(-200.0, 1500.0);
        sample.RealCalcPrice = sample.CalcFutPrice + Between(-300.0, 300.0);
        sample.NormalizedSpot = Between(100.0, 2000.0);
        sample.MinStep = Chance(5) ? 2000.0 : 1.0; // a step wider than the distance of the tails is warned of
        sample.InterestRateRiskUp = Between(0.0, 0.1);
        sample.InterestRateRiskDown = Between(0.0, 0.1);
        sample.MRAddOnUp = Between(0.0, 0.05);
        if (Chance(6)) sample.Attribute = Enums::InstrumentStatus::Collateral;
        return sample;
    }
    [[nodiscard]] OptionSeriesSample Series(const FuturesSample& futures)
    {
        OptionSeriesSample sample("S" + futures.Code, futures.Code);
        sample.MinStep = 1.0;
        sample.SubRisk = Chance(2);
        sample.StrikeStep = futures.MinStep * std::uniform_int_distribution(1, 60)(m_random);
        if (futures.Attribute == Enums::InstrumentStatus::Collateral) sample.marginStyle = Enums::MarginStyle::Equity;
        if (Chance(2)) {
            sample.settlementType = Enums::SettlementType::Deliverable;
            sample.ExpClearingsCC = 1;
        }
        return sample;
    }

    BaseContractSample contract;

private:
    [[nodiscard]] double Between(double low, double high)
    {
        return std::uniform_real_distribution(low, high)(m_random);
    }

    std::mt19937 m_random;
};

TEST(FamilyRecomputation, GivesWhatAFamilyMadeAnewHasInAnyOrderOfExpirations)
{
    LogCapture log;
    for (unsigned seed = 1; seed <= 60; ++seed) {
        RandomFamily random(seed);
        InstrumentsRepository repository;
        PlainFamily plainly(random.contract);
        ASSERT_EQ(random.contract.InsertInto(repository), Z9ERR_OK);
        static_cast<void>(log.Take());
        for (Isin isin = 1; isin <= 25; ++isin) {
            const FuturesSample futures = random.Futures(isin);
            ASSERT_EQ(futures.InsertInto(repository), Z9ERR_OK);
            const std::vector<std::string> said = log.Take();
            plainly.Insert(futures);
            ASSERT_EQ(said, log.Take()) << "seed " << seed << " futures " << isin;

            if (random.Chance(3)) {
                const OptionSeriesSample series = random.Series(futures);
                const bool isPerCent = repository.GetBaseContract(eCurrent, "BC")->IsPercentage();
                const OptionSample call{.Code = "O" + series.Code, .CodeVF = series.Code, .Isin = isin + 10000};
                ASSERT_EQ(series.InsertInto(repository), Z9ERR_OK);
                ASSERT_EQ(call.InsertInto(repository), Z9ERR_OK);
                // A collateral instrument with options is no contract in per cent any more.
                if (isPerCent && !repository.GetBaseContract(eCurrent, "BC")->IsPercentage())
                    plainly.ReleaseFromPerCent();
                plainly.Insert(series);
                static_cast<void>(log.Take());
            }
            same_model::Comparison comparison;
            plainly.Compare(repository, comparison);
            ASSERT_TRUE(comparison.Differences().empty())
                << "seed " << seed << " futures " << isin << ": " << same_model::TextOf(comparison.Differences());
        }
    }
}

class FamilyRecomputed : public ChangingRepository
{
protected:
    /// A futures nearer than all that came before it.
    void InsertNearer(Isin isin)
    {
        m_time /= 2.0;
        FuturesSample nearer("F" + std::to_string(isin), isin);
        nearer.TimeToExpiration = m_time;
        nearer.RealCalcPrice = 1000.0 - static_cast<double>(isin);
        ASSERT_EQ(nearer.InsertInto(m_repository), Z9ERR_OK);
    }

private:
    double m_time = 0.5;
};

TEST_F(FamilyRecomputed, KeepsItsGridsWhenANearerFuturesComes)
{
    InsertFamily();
    const std::uint32_t grid = Futures(eCurrent).GetGridNumber();
    const RiskItem* const prices = Futures(eCurrent).GetProfile(Level::Low).Volatility().pData();
    const RiskItem* const ofSeries = Series(eCurrent).volatilityMatrix[Level::Low].pData();
    for (Isin isin = 2; isin < 5; ++isin) {
        const double stressed = Futures(eCurrent).GetMR2U(Level::Low);
        InsertNearer(isin);
        EXPECT_NE(Futures(eCurrent).GetMR2U(Level::Low), stressed) << "the stress points follow the shift";
    }
    EXPECT_EQ(Futures(eCurrent).GetGridNumber(), grid);
    EXPECT_EQ(Futures(eCurrent).GetProfile(Level::Low).Volatility().pData(), prices);
    EXPECT_EQ(Series(eCurrent).volatilityMatrix[Level::Low].pData(), ofSeries);
}

TEST_F(FamilyRecomputed, WarnsEachTimeOfWhatWasForced)
{
    InsertFamily();
    OptionSeriesSample series("WIDE", "FUT");
    series.settlementType = Enums::SettlementType::Deliverable;
    series.ExpClearingsCC = 1;
    series.StrikeStep =
        5.0; // 25 of them and more in half the grid: 128, 160, 192 and 256 wide, but 64 at the low level
    ASSERT_EQ(series.InsertInto(m_repository), Z9ERR_OK);
    EXPECT_THAT(m_log.Take(), SizeIs(4));
    InsertNearer(2);
    EXPECT_THAT(m_log.Take(), SizeIs(4));
    InsertNearer(3);
    EXPECT_THAT(m_log.Take(), SizeIs(4));
}

TEST_F(FamilyRecomputed, GetsNewGridsWhereChangesWereReleasedWithoutARecomputation)
{
    InsertFamily();
    m_futures.CalcFutPrice = 1100.0;
    ASSERT_EQ(m_repository.UpdateFutures(market_changes::Of(m_futures)), Z9ERR_OK);
    m_repository.ReleaseChanged();
    ASSERT_EQ(Futures(eCurrent).GetProfile(Level::Low).GetCentralRowOfVolatilityMatrix()[2], 1000.0);
    InsertNearer(2);
    EXPECT_EQ(Futures(eCurrent).GetProfile(Level::Low).GetCentralRowOfVolatilityMatrix()[2], 1100.0);
    EXPECT_EQ(Series(eCurrent).GetVolatilityMatrixCentralRow(Level::Low)[2], 1100.0);
}

} // namespace
} // namespace test::FamilyRecomputationTest
