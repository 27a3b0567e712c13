// Memory that ends in the middle of an insertion: whichever allocation fails, the repository is as it was before.
#include <string>

#include <gtest/gtest.h>

#include "FailingAllocations.h"
#include "InstrumentSamples.h"
#include "SameModel.h"

namespace test::InsertionFailureTest {
namespace {

using namespace kv7im;
using enum AccessByStatus;
using testing_support::FailAtEachAllocation;

class InsertionFailure : public testing::Test
{
protected:
    InsertionFailure() { InsertCollateralInto(m_repository); }

    static void InsertCollateralInto(InstrumentsRepository& repository)
    {
        const BaseContractSample contract([](auto& c) { c.AssetClass = Enums::AssetClass::Bond; });
        EXPECT_EQ(contract.InsertInto(repository), Z9ERR_OK);
        const FuturesSample futures([](auto& f) { f.Attribute = Enums::InstrumentStatus::Collateral; });
        EXPECT_EQ(futures.InsertInto(repository), Z9ERR_OK);
    }
    [[nodiscard]] const FuturesNode& Node() const { return *m_repository.RangeFuturesByCode().begin(); }

    const std::string m_longCode = std::string(100, 'L'); // which a string cannot hold in itself
    InstrumentsRepository m_repository;
};

TEST_F(InsertionFailure, LeavesNoSeriesAndTheContractsAssetClass)
{
    OptionSeriesSample series(m_longCode, "FUT");
    series.SubRisk = true;
    const long failures = FailAtEachAllocation(
        [&] { return series.InsertInto(m_repository); },
        [&] {
            EXPECT_EQ(m_repository.CountVirtualFutures(), 0u);
            EXPECT_EQ(Node().CountVirtualFutures(eCurrent), 0u);
            EXPECT_EQ(m_repository.GetVirtualFutures(eCurrent, m_longCode), nullptr);
            EXPECT_EQ(m_repository.GetBaseContract(eCurrent, "BC")->assetClass, Enums::AssetClass::Bond);
            EXPECT_EQ(m_repository.CountFutures(), 1u);
        });
    EXPECT_GT(failures, 20);
    EXPECT_EQ(m_repository.GetBaseContract(eCurrent, "BC")->assetClass, Enums::AssetClass::Stock);
    EXPECT_NE(m_repository.GetVirtualFutures(eCurrent, m_longCode), nullptr);
}

TEST_F(InsertionFailure, LeavesNoOptionInAnyIndex)
{
    const std::string seriesCode(90, 'S');
    ASSERT_EQ(OptionSeriesSample(seriesCode, "FUT").InsertInto(m_repository), Z9ERR_OK);
    const OptionSample option{.Code = m_longCode, .CodeVF = seriesCode};
    const long failures = FailAtEachAllocation(
        [&] { return option.InsertInto(m_repository); },
        [&] {
            EXPECT_EQ(m_repository.CountOptions(), 0u);
            EXPECT_EQ(m_repository.GetOption(eCurrent, 101), nullptr);
            EXPECT_EQ(m_repository.GetOption(eCurrent, m_longCode), nullptr);
            EXPECT_FALSE(m_repository.OptionExists(m_longCode));
            EXPECT_TRUE(m_repository.RangeOptionsByCode().empty());
            EXPECT_TRUE(Node().EnumerateOptions().empty());
            EXPECT_TRUE(Node().GetVirtualFuturesIterator(eCurrent, seriesCode)->second.storage().empty());
            EXPECT_EQ(Node().GetVirtualFuturesByOptionIterator(eCurrent, m_longCode), Node().Storage(eCurrent).end());
        });
    EXPECT_GE(failures, 4); // two nodes of containers, and two codes too long for their strings
    EXPECT_EQ(m_repository.GetOption(eCurrent, m_longCode), m_repository.GetOption(eCurrent, 101));
    EXPECT_NE(m_repository.GetOption(eCurrent, 101), nullptr);
}

TEST_F(InsertionFailure, LeavesAFamilyThatTheFuturesWouldHaveMoved)
{
    InstrumentsRepository untouched;
    for (InstrumentsRepository* const repository : {&m_repository, &untouched}) {
        if (repository == &untouched) InsertCollateralInto(untouched);
        ASSERT_EQ(OptionSeriesSample{}.InsertInto(*repository), Z9ERR_OK);
        ASSERT_EQ(OptionSample{}.InsertInto(*repository), Z9ERR_OK);
    }
    FuturesSample nearer(m_longCode, 2);
    nearer.Attribute = Enums::InstrumentStatus::Collateral;
    nearer.TimeToExpiration = 0.25;
    nearer.RealCalcPrice = 936.0; // 64 below the centre: a shift of a sixteenth of the spot
    const long failures = FailAtEachAllocation([&] { return nearer.InsertInto(m_repository); },
                                               [&] {
                                                   ASSERT_EQ(m_repository.CountFutures(), 1u);
                                                   const auto differences =
                                                       same_model::Differences(m_repository, untouched);
                                                   EXPECT_TRUE(differences.empty()) << same_model::TextOf(differences);
                                               });
    EXPECT_GT(failures, 5);
    EXPECT_EQ(m_repository.GetBaseContract(eCurrent, "BC")->ShiftCoefficient, 0.0625);
}

TEST_F(InsertionFailure, LeavesNoMultilegAndCompletesOneWithoutMemory)
{
    ASSERT_EQ((FuturesSample("FUT2", 2).InsertInto(m_repository)), Z9ERR_OK);
    const long failures = FailAtEachAllocation([&] { return m_repository.InsertMultileg(201, 1, -1, 1); },
                                               [&] {
                                                   EXPECT_EQ(m_repository.CountMultilegs(), 0u);
                                                   EXPECT_EQ(m_repository.GetMultileg(201), nullptr);
                                                   EXPECT_TRUE(m_repository.RangeMultilegByFirstLegIsin(1).empty());
                                               });
    EXPECT_GT(failures, 0);
    {
        const testing_support::RoomForAllocations room(0);
        EXPECT_EQ(m_repository.InsertMultileg(201, 2, 1, 2), Z9ERR_OK) << "the second leg needs none";
    }
    EXPECT_TRUE(m_repository.GetMultileg(201)->GetCompleted());
}

TEST_F(InsertionFailure, LeavesNoCopyOfAFamilyHalfMade)
{
    ASSERT_EQ(OptionSeriesSample{}.InsertInto(m_repository), Z9ERR_OK);
    CSpecBaseContract& contract = *Node().GetCurrent()->BaseContract;
    FuturesNode node(FuturesSample("FUT", 5).Make(contract));
    VirtualFuturesNode series(OptionSeriesSample{}.Make(*node.GetCurrent()));
    series.storage().insert(OptionSample{}.Make(*series.get()));
    node.InsertVirtualFuturesNode(series);
    node.SetStatus(Status::WasChanged);
    const long failures = FailAtEachAllocation(
        [&] {
            node.InitializeChangedInstrument(&contract);
            return Z9ERR_OK;
        },
        [&] {
            EXPECT_EQ(node.GetChanged(), node.GetCurrent());
            EXPECT_EQ(&node.Storage(eNew), &node.Storage(eCurrent));
            EXPECT_EQ(node.CountVirtualFutures(eCurrent), 1u);
        });
    EXPECT_GT(failures, 10);
    EXPECT_NE(node.GetChanged(), node.GetCurrent());
}

} // namespace
} // namespace test::InsertionFailureTest
