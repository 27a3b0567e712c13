// Memory that ends in the middle of a change: whichever allocation fails, the committed instruments are as they were,
// a family is open as a whole or not at all, and what is tried again succeeds.
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AwkwardMarket.h"
#include "EngineBook.h"
#include "FailingAllocations.h"
#include "MarketChanges.h"
#include "SameModel.h"

namespace test::InstrumentsTransactionFailureTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using same_model::Differences;
using same_model::InstrumentDifferences;
using same_model::ProfileDifferences;
using testing::IsEmpty;
using testing_support::FailAtEachAllocation;

/// Everything at once: sub-points, deliveries, groups; the series and its options have codes that a string cannot hold
/// in itself. The grid of an option is so large that it is an allocation of its own.
plain::Market MarketOfToday()
{
    plain::Market market = awkward::MarketOf(31);
    for (BaseContractSample& contract : market.baseContracts) {
        contract.RiskPointsN = 500;
        contract.VolatNum = 5;
    }
    market.series[0].Code = std::string(25, 'S');
    for (const Isin isin : {2751, 2752, 2753, 2754})
        market.options.push_back(HandOption("S", isin, Enums::OptionType::Put, isin - 2000.0));
    for (OptionSample& option : market.options)
        option.CodeVF = market.series[0].Code;
    return market;
}

plain::Market MarketOfTomorrow()
{
    plain::Market market = MarketOfToday();
    market.futures[0].CalcFutPrice += 40.0;
    market.futures[0].SpreadAspect = Enums::SpreadAspect::NotInSpread;
    market.series[0].A_Bach += 3.0;
    return market;
}

class TransactionFailure : public testing::Test
{
protected:
    [[nodiscard]] Z9ERR UpdateFutures()
    {
        return m_repository->UpdateFutures(market_changes::Of(MarketOfTomorrow().futures[0]));
    }
    [[nodiscard]] Z9ERR UpdateSeries()
    {
        return m_repository->UpdateVirtFutures(market_changes::Of(MarketOfTomorrow().series[0]));
    }
    [[nodiscard]] std::size_t CountOpen() const
    {
        return boost::size(m_repository->RangeFuturesByStatus(Status::WasChanged)) +
               boost::size(m_repository->RangeBaseContractByStatus(Status::WasChanged));
    }
    /// What is committed is what was there at first.
    void ExpectUntouched() const { EXPECT_THAT(Differences(*m_repository, *m_before), IsEmpty()); }

    const std::unique_ptr<InstrumentsRepository> m_repository = MakeRepository(MarketOfToday());
    const std::unique_ptr<InstrumentsRepository> m_before = MakeRepository(MarketOfToday());
};

constexpr std::size_t WholeFamily = 3; // a contract and two months

TEST_F(TransactionFailure, OpensNothingOfAFamilyThatCannotBeCopied)
{
    const SFuturesChanges changes = market_changes::Of(MarketOfTomorrow().futures[0]);
    const long failures =
        FailAtEachAllocation([&] { return m_repository->UpdateFutures(changes); },
                             [&] {
                                 EXPECT_EQ(CountOpen(), 0u);
                                 EXPECT_EQ(m_repository->CountFutures(), 3u);
                                 EXPECT_THAT(InstrumentDifferences({*m_repository, eNew}, {*m_before}), IsEmpty());
                             });
    EXPECT_GT(failures, 40);
    EXPECT_EQ(CountOpen(), WholeFamily);
    EXPECT_THAT(InstrumentDifferences({*m_repository}, {*m_before}), IsEmpty());
}

TEST_F(TransactionFailure, LeavesASeriesAsItWasInAFamilyThatIsOpenOrNot)
{
    const SVirtFuturesChanges changes = market_changes::Of(MarketOfTomorrow().series[0]);
    const std::string code = MarketOfToday().series[0].Code;
    bool isOpen = false;
    FailAtEachAllocation([&] { return m_repository->UpdateVirtFutures(changes); },
                         [&] {
                             EXPECT_TRUE(CountOpen() == 0 || CountOpen() == WholeFamily);
                             isOpen = isOpen || CountOpen() == WholeFamily;
                             EXPECT_EQ(m_repository->GetVirtualFutures(eNew, code)->A_Bach, 11.0);
                         });
    EXPECT_TRUE(isOpen) << "the text of a message may be what there is no memory for";
    EXPECT_EQ(m_repository->GetVirtualFutures(eNew, code)->A_Bach, 14.0);
    ExpectUntouched();
}

TEST_F(TransactionFailure, RecomputesAgainWhatWasLeftInTheMiddle)
{
    ASSERT_EQ(UpdateFutures(), Z9ERR_OK);
    ASSERT_EQ(UpdateSeries(), Z9ERR_OK);
    const long failures =
        FailAtEachAllocation([&] { return m_repository->UpdateComplete(); },
                             [&] {
                                 EXPECT_EQ(CountOpen(), WholeFamily);
                                 EXPECT_THAT(InstrumentDifferences({*m_repository}, {*m_before}), IsEmpty());
                             });
    EXPECT_GT(failures, 5);
    m_repository->ReleaseChanged();
    EXPECT_THAT(Differences(*m_repository, *MakeRepository(MarketOfTomorrow())), IsEmpty());
}

TEST_F(TransactionFailure, ReleasesAllOrNothing)
{
    ASSERT_EQ(UpdateFutures(), Z9ERR_OK);
    ASSERT_EQ(UpdateSeries(), Z9ERR_OK);
    ASSERT_EQ(m_repository->UpdateComplete(), Z9ERR_OK);
    const long failures = FailAtEachAllocation(
        [&] {
            m_repository->ReleaseChanged();
            return Z9ERR_OK;
        },
        [&] {
            EXPECT_EQ(CountOpen(), WholeFamily);
            EXPECT_THAT(InstrumentDifferences({*m_repository}, {*m_before}), IsEmpty());
        });
    EXPECT_GT(failures, 1);
    EXPECT_EQ(CountOpen(), 0u);
    EXPECT_THAT(Differences(*m_repository, *MakeRepository(MarketOfTomorrow())), IsEmpty());
}

// A month with a series and an option, and an option beside the others, come after the recomputation; each is there as
// a whole or comes with the next try.
TEST_F(TransactionFailure, AdoptsNewcomersAgainWhereItWasLeft)
{
    plain::Market market = MarketOfTomorrow();
    ASSERT_EQ(UpdateFutures(), Z9ERR_OK);
    ASSERT_EQ(UpdateSeries(), Z9ERR_OK);
    ASSERT_EQ(m_repository->UpdateComplete(), Z9ERR_OK);
    FuturesSample month = market.futures[0];
    month.Code = "NEWMONTH";
    month.Isin = 901;
    month.TimeToExpiration = 9.0;
    kv7im::OptionSeriesParameters series = market.series[0];
    series.Code = "NEWSERIES";
    series.CodeRF = month.Code;
    OptionSample known = market.options[0];
    known.Code = "NEWOPTION";
    known.Isin = 902;
    OptionSample option = known;
    option.Code = "OPTIONOFNEW";
    option.CodeVF = series.Code;
    option.Isin = 903;
    ASSERT_EQ(month.InsertInto(*m_repository), Z9ERR_OK);
    ASSERT_EQ(m_repository->InsertVirtFutures(series), Z9ERR_OK);
    ASSERT_EQ(known.InsertInto(*m_repository), Z9ERR_OK);
    ASSERT_EQ(option.InsertInto(*m_repository), Z9ERR_OK);

    const long failures = FailAtEachAllocation(
        [&] {
            m_repository->AdoptNewcomers();
            return Z9ERR_OK;
        },
        [] {});
    EXPECT_GT(failures, 10);
    market.futures.push_back(month);
    market.series.push_back(series);
    market.options.push_back(known);
    market.options.push_back(option);
    EXPECT_THAT(InstrumentDifferences({*m_repository, eNew}, {*MakeRepository(market)}), IsEmpty());
    m_repository->ReleaseChanged();
    EXPECT_THAT(Differences(*m_repository, *MakeRepository(market)), IsEmpty());
}

// Options that nobody has asked for are valued before the instruments that they would be valued by go.
TEST_F(TransactionFailure, KeepsTheOldValuesOfWhatIsReleasedWithoutBeingRecomputed)
{
    ASSERT_EQ(UpdateFutures(), Z9ERR_OK);
    ASSERT_EQ(UpdateSeries(), Z9ERR_OK);
    const long failures = FailAtEachAllocation(
        [&] {
            m_repository->ReleaseChanged();
            return Z9ERR_OK;
        },
        [&] { EXPECT_EQ(CountOpen(), WholeFamily); });
    EXPECT_GT(failures, 20) << "eight options of five levels";
    EXPECT_EQ(CountOpen(), 0u);
    EXPECT_THAT(ProfileDifferences({*m_repository}, {*m_before}), IsEmpty());
}

} // namespace
} // namespace test::InstrumentsTransactionFailureTest
