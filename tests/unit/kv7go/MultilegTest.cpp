// Multilegs in the repository: how two rows make one record, what closes it, and how it follows its legs out of spread.
#include "instruments/SpecMultileg.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "InstrumentSamples.h"
#include "LogCapture.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "kv7errors.h"

namespace test::MultilegTest {
namespace {

using namespace kv7im;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// What a record holds, to be compared whole.
struct Record
{
    Isin multileg, first, second;
    int ratio1, ratio2;
    int order1, order2;
    bool isCompleted;
    bool isIncompleteSpread;
    bool operator==(const Record&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Record& r)
{
    return out << "multileg " << r.multileg << ", legs " << r.first << " x" << r.ratio1 << " (" << r.order1 << ") and "
               << r.second << " x" << r.ratio2 << " (" << r.order2 << ")" << (r.isCompleted ? ", completed" : ", open")
               << (r.isIncompleteSpread ? ", not all in spread" : ", in spread");
}

/// Futures 1, 2 and 3 in spread and 4 outside, all of one contract.
class Multilegs : public testing::Test
{
protected:
    Multilegs()
    {
        EXPECT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
        for (const Isin isin : {1, 2, 3})
            EXPECT_EQ((FuturesSample(Code(isin), isin).InsertInto(m_repository)), Z9ERR_OK);
        EXPECT_EQ((FuturesSample([&](auto& f) {
                       f.Code = Code(4);
                       f.SpreadAspect = Enums::SpreadAspect::NotInSpread;
                       f.Isin = 4;
                   }).InsertInto(m_repository)),
                  Z9ERR_OK);
        static_cast<void>(m_log.Take());
    }

    static std::string Code(Isin isin) { return "F-" + std::to_string(isin); }
    Z9ERR Insert(Isin multileg, Isin leg, int ratio, unsigned char order)
    {
        return m_repository.InsertMultileg(multileg, leg, ratio, order);
    }
    void InsertBoth(Isin multileg, Isin first, Isin second)
    {
        ASSERT_EQ(Insert(multileg, first, -1, 1), Z9ERR_OK);
        ASSERT_EQ(Insert(multileg, second, 1, 2), Z9ERR_OK);
    }
    [[nodiscard]] Record Get(Isin multileg) const
    {
        const CSpecMultileg* const m = m_repository.GetMultileg(multileg);
        if (m == nullptr) return {};
        return {m->GetMultilegIsin(), m->GetFirstLegIsin(), m->GetSecondLegIsin(),
                m->qtyRatio1,         m->qtyRatio2,         m->legOrderNum1,
                m->legOrderNum2,      m->GetCompleted(),    m->IsIncompleteSpreadAspect()};
    }
    template <class Range>
    static std::vector<Isin> IsinsOf(const Range& range)
    {
        std::vector<Isin> isins;
        for (const CSpecMultileg& multileg : range)
            isins.push_back(multileg.GetMultilegIsin());
        return isins;
    }
    /// A futures as it stands, to be taken out of spread and back.
    CSpecFutures& Futures(Isin isin) { return *const_cast<CSpecFutures*>(m_repository.GetFutures(isin)); }
    void PutIntoSpread(Isin isin, bool isInSpread)
    {
        Futures(isin).IsInSpread = isInSpread;
        m_repository.CorrectMultilegSpreadAspectPropertyByFutures(&Futures(isin));
    }

    LogCapture m_log;
    InstrumentsRepository m_repository;
};

TEST(SpecMultileg, StartsOpenAndInSpreadWithEveryArgumentInItsField)
{
    const CSpecMultileg multileg(201, 1, -2, 3, 4, 5, 6);
    EXPECT_EQ(multileg.GetMultilegIsin(), 201);
    EXPECT_EQ(multileg.GetFirstLegIsin(), 1);
    EXPECT_EQ(multileg.qtyRatio1, -2);
    EXPECT_EQ(multileg.legOrderNum1, 3);
    EXPECT_EQ(multileg.GetSecondLegIsin(), 4);
    EXPECT_EQ(multileg.qtyRatio2, 5);
    EXPECT_EQ(multileg.legOrderNum2, 6);
    EXPECT_EQ(multileg.spreadAspectProperty, CSpecMultileg::SpreadAspectProperty::Complete);
    EXPECT_FALSE(multileg.GetCompleted());
}

TEST(SpecMultileg, ChangesItsSpreadAndItsCompletion)
{
    CSpecMultileg multileg(201, 1, -1, 1, 2, 1, 2);
    multileg.MakeIncompleteSpreadAspect();
    EXPECT_TRUE(multileg.IsIncompleteSpreadAspect());
    EXPECT_EQ(static_cast<int>(multileg.spreadAspectProperty), 1);
    multileg.MakeCompleteSpreadAspect();
    EXPECT_FALSE(multileg.IsIncompleteSpreadAspect());
    EXPECT_EQ(static_cast<int>(multileg.spreadAspectProperty), 0);

    CSpecMultileg::CompletedChange{true}(multileg);
    EXPECT_TRUE(multileg.GetCompleted());
    CSpecMultileg::CompletedChange{false}(multileg);
    EXPECT_FALSE(multileg.GetCompleted());
}

// Two rows, one record

TEST_F(Multilegs, TheFirstRowStandsInBothSlotsUntilTheSecondOneComes)
{
    ASSERT_EQ(Insert(201, 1, -1, 1), Z9ERR_OK);
    EXPECT_EQ(Get(201), (Record{201, 1, 1, -1, -1, 1, 1, false, false}));
    EXPECT_EQ(m_repository.CountMultilegs(), 1u);
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegCompleted()), IsEmpty());
}

TEST_F(Multilegs, LegsInEitherOrderOfArrivalEndWithTheLowerNumberFirst)
{
    const Record expected{0, 1, 2, -1, 1, 1, 2, true, false};
    ASSERT_EQ(Insert(201, 1, -1, 1), Z9ERR_OK);
    ASSERT_EQ(Insert(201, 2, 1, 2), Z9ERR_OK);
    ASSERT_EQ(Insert(202, 2, 1, 2), Z9ERR_OK);
    ASSERT_EQ(Insert(202, 1, -1, 1), Z9ERR_OK);
    for (const Isin multileg : {201, 202}) {
        Record record = expected;
        record.multileg = multileg;
        EXPECT_EQ(Get(multileg), record);
    }
}

TEST_F(Multilegs, OrderNumbersCountAsUnsignedBytesAndNeedNotBeOneAndTwo)
{
    ASSERT_EQ(Insert(201, 1, 3, 255), Z9ERR_OK);
    ASSERT_EQ(Insert(201, 2, -7, 0), Z9ERR_OK);
    EXPECT_EQ(Get(201), (Record{201, 2, 1, -7, 3, 0, 255, true, false}));
}

TEST_F(Multilegs, AThirdRowIsRefusedAndChangesNothing)
{
    InsertBoth(201, 1, 2);
    const Record completed = Get(201);
    for (unsigned char order = 0; order < 4; ++order)
        EXPECT_EQ(Insert(201, 3, 5, order), Z9ERR_CALCGO_API_ERROR_MULTILEG_ALREADY_EXISTS) << +order;
    EXPECT_EQ(Insert(201, 4, 5, 0), 94792) << "not even the spread of an outside leg";
    EXPECT_EQ(Get(201), completed);
    EXPECT_EQ(m_repository.CountMultilegs(), 1u);
}

TEST_F(Multilegs, ADuplicateOrderNumberClosesTheRecordWithOneLegInBothSlots)
{
    ASSERT_EQ(Insert(201, 1, -1, 1), Z9ERR_OK);
    EXPECT_EQ(Insert(201, 2, 1, 1), Z9ERR_CALCGO_API_ERROR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG);
    EXPECT_EQ(Get(201), (Record{201, 1, 1, -1, -1, 1, 1, true, false})) << "it stays that way, deliberately";
    EXPECT_EQ(Insert(201, 2, 1, 2), Z9ERR_CALCGO_API_ERROR_MULTILEG_ALREADY_EXISTS);
    EXPECT_EQ(Get(201), (Record{201, 1, 1, -1, -1, 1, 1, true, false}));
}

TEST_F(Multilegs, ARowOfAnUnknownLegIsRefusedAndLeavesTheRecordOpen)
{
    EXPECT_EQ(Insert(201, 9, -1, 1), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_EQ(m_repository.GetMultileg(201), nullptr);
    ASSERT_EQ(Insert(201, 1, -1, 1), Z9ERR_OK);
    EXPECT_EQ(Insert(201, 9, 1, 2), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
    EXPECT_FALSE(m_repository.GetMultileg(201)->GetCompleted());
    EXPECT_EQ(Insert(201, 2, 1, 2), Z9ERR_OK);
}

TEST_F(Multilegs, TheUnknownLegOfACompletedRecordIsToldFirst)
{
    InsertBoth(201, 1, 2);
    EXPECT_EQ(Insert(201, 9, 1, 3), Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND);
}

TEST_F(Multilegs, NoneOfItIsLogged)
{
    InsertBoth(201, 1, 2);
    static_cast<void>(Insert(201, 3, 1, 3));
    static_cast<void>(Insert(202, 9, 1, 1));
    EXPECT_THAT(m_log.Take(), IsEmpty());
}

// Rows of the exchange's table

SMultilegDictionaryStruct Row(Isin multileg, Isin leg, int ratio, std::int8_t order)
{
    SMultilegDictionaryStruct row;
    row.Isin = multileg;
    row.LegsQuantity = 77; // of no use here
    row.IsinLeg = leg;
    row.QuantityRatio = ratio;
    row.LegOrderNum = order;
    return row;
}

TEST_F(Multilegs, ARowOfTheTableIsALegOfItsFields)
{
    ASSERT_EQ(m_repository.InsertMultileg(Row(201, 2, 3, 127)), Z9ERR_OK);
    ASSERT_EQ(m_repository.InsertMultileg(Row(201, 1, -2, 0)), Z9ERR_OK);
    EXPECT_EQ(Get(201), (Record{201, 1, 2, -2, 3, 0, 127, true, false}));
}

TEST_F(Multilegs, ANegativeOrderNumberOfARowIsOutOfRange)
{
    const auto order = static_cast<std::int8_t>(200); // -56 as the byte of the record
    EXPECT_EQ(m_repository.InsertMultileg(Row(201, 1, -1, order)), Z9ERR_COMMON_OVERFLOW);
    EXPECT_THAT(m_log.Take(),
                ElementsAre("ERROR [InstrumentsRepository] InsertMultileg: Parameter ml.LegOrderNum is out of range"));
    EXPECT_EQ(m_repository.InsertMultileg(Row(201, 9, -1, -1)), Z9ERR_COMMON_OVERFLOW) << "before the unknown leg";
    EXPECT_EQ(m_repository.CountMultilegs(), 0u);
}

// Spread

TEST_F(Multilegs, ALegOutsideTheSpreadMakesTheMultilegIncompleteInEitherSlot)
{
    InsertBoth(201, 1, 2);
    EXPECT_FALSE(Get(201).isIncompleteSpread);
    InsertBoth(202, 4, 1); // an outside leg first: the second one, in spread, does not make up for it
    EXPECT_TRUE(Get(202).isIncompleteSpread);
    InsertBoth(203, 1, 4);
    EXPECT_TRUE(Get(203).isIncompleteSpread);
}

TEST_F(Multilegs, AMultilegFollowsALegOutOfSpreadAndBackInEitherSlot)
{
    InsertBoth(201, 1, 2);
    InsertBoth(202, 3, 1);
    InsertBoth(203, 2, 3);
    PutIntoSpread(1, false);
    EXPECT_TRUE(Get(201).isIncompleteSpread);
    EXPECT_TRUE(Get(202).isIncompleteSpread);
    EXPECT_FALSE(Get(203).isIncompleteSpread) << "the futures is no leg of it";
    PutIntoSpread(1, true);
    EXPECT_FALSE(Get(201).isIncompleteSpread);
    EXPECT_FALSE(Get(202).isIncompleteSpread);
    EXPECT_TRUE(Get(201).isCompleted) << "the record itself is what it was";
}

TEST_F(Multilegs, ALegThatComesIntoSpreadIsNotEnoughWhileTheOtherOneIsOutside)
{
    InsertBoth(201, 1, 4);
    PutIntoSpread(1, true);
    EXPECT_TRUE(Get(201).isIncompleteSpread);
    PutIntoSpread(4, true);
    EXPECT_FALSE(Get(201).isIncompleteSpread);
}

TEST_F(Multilegs, AnOpenRecordFollowsItsOneLeg)
{
    ASSERT_EQ(Insert(201, 1, -1, 1), Z9ERR_OK);
    PutIntoSpread(1, false);
    EXPECT_TRUE(Get(201).isIncompleteSpread);
    PutIntoSpread(1, true);
    EXPECT_FALSE(Get(201).isIncompleteSpread);
}

TEST_F(Multilegs, TheOtherLegIsTheOneOfTheOpenTransaction)
{
    InsertBoth(201, 1, 2);
    InsertBoth(202, 2, 1);
    // Futures 2 leaves the spread in a transaction that is open: its committed object is in spread still.
    const auto range = m_repository.RangeFuturesByStatus(Status::NotChanged);
    for (const FuturesNode& node : range) {
        if (node.GetIsin() != 2) continue;
        auto& changing = const_cast<FuturesNode&>(node);
        changing.InitializeChangedInstrument(node.GetCurrent()->BaseContract);
        changing.SetStatus(Status::WasChanged);
        changing.GetChanged()->IsInSpread = false;
        ASSERT_TRUE(changing.GetCurrent()->IsInSpread);

        m_repository.CorrectMultilegSpreadAspectPropertyByFutures(&Futures(1));
        EXPECT_TRUE(Get(201).isIncompleteSpread);
        EXPECT_TRUE(Get(202).isIncompleteSpread);

        changing.SetStatus(Status::NotChanged); // as the container knows it
        m_repository.CorrectMultilegSpreadAspectPropertyByFutures(&Futures(1));
        EXPECT_FALSE(Get(201).isIncompleteSpread);
        EXPECT_FALSE(Get(202).isIncompleteSpread);
        break;
    }
}

TEST_F(Multilegs, AFuturesThatIsALegOfNothingChangesNothing)
{
    InsertBoth(201, 1, 2);
    PutIntoSpread(3, false);
    EXPECT_FALSE(Get(201).isIncompleteSpread);
}

// Reading

TEST_F(Multilegs, RangesGiveTheRecordsByEachIndex)
{
    InsertBoth(201, 1, 2);
    InsertBoth(202, 1, 3);
    InsertBoth(203, 2, 3);
    ASSERT_EQ(Insert(204, 3, -1, 1), Z9ERR_OK); // open, in both slots
    EXPECT_EQ(m_repository.CountMultilegs(), 4u);
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegByIsin()), UnorderedElementsAre(201, 202, 203, 204));
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegByFirstLegIsin(1)), UnorderedElementsAre(201, 202));
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegByFirstLegIsin(3)), UnorderedElementsAre(204));
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegBySecondLegIsin(3)), UnorderedElementsAre(202, 203, 204));
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegBySecondLegIsin(1)), IsEmpty());
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegCompleted()), UnorderedElementsAre(201, 202, 203));
}

TEST_F(Multilegs, ALegThatTakesTheFirstSlotIsFoundByItAndTheOlderOneNoLonger)
{
    ASSERT_EQ(Insert(201, 2, 1, 2), Z9ERR_OK);
    ASSERT_THAT(IsinsOf(m_repository.RangeMultilegByFirstLegIsin(2)), ElementsAre(201));
    ASSERT_EQ(Insert(201, 1, -1, 1), Z9ERR_OK);
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegByFirstLegIsin(2)), IsEmpty());
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegByFirstLegIsin(1)), ElementsAre(201));
    EXPECT_THAT(IsinsOf(m_repository.RangeMultilegBySecondLegIsin(2)), ElementsAre(201));
}

TEST_F(Multilegs, AnUnknownIsinIsNoMultileg)
{
    EXPECT_EQ(m_repository.GetMultileg(201), nullptr);
    InsertBoth(201, 1, 2);
    EXPECT_EQ(m_repository.GetMultileg(1), nullptr) << "a leg is none";
    EXPECT_EQ(InstrumentsRepositoryWrapper(m_repository).GetMultileg(201), m_repository.GetMultileg(201));
}

TEST_F(Multilegs, ClearEmptiesThemAndTheIsinMayComeAgain)
{
    InsertBoth(201, 1, 2);
    m_repository.Clear();
    EXPECT_EQ(m_repository.CountMultilegs(), 0u);
    EXPECT_EQ(m_repository.GetMultileg(201), nullptr);
    ASSERT_EQ(BaseContractSample{}.InsertInto(m_repository), Z9ERR_OK);
    ASSERT_EQ((FuturesSample(Code(7), 7).InsertInto(m_repository)), Z9ERR_OK);
    EXPECT_EQ(Insert(201, 7, 1, 2), Z9ERR_OK);
    EXPECT_EQ(Get(201), (Record{201, 7, 7, 1, 1, 2, 2, false, false}));
}

TEST_F(Multilegs, ThousandsOfThemAreFoundByEachKey)
{
    // Every pair of three legs again and again: long runs of equal keys in the indices that are not unique.
    constexpr Isin Count = 3000;
    for (Isin i = 0; i < Count; ++i)
        InsertBoth(1000 + i, 1 + i % 3, 1 + (i + 1) % 3);
    PutIntoSpread(2, false);
    Isin incomplete = 0;
    for (Isin i = 0; i < Count; ++i)
        if (Get(1000 + i).isIncompleteSpread) ++incomplete;
    EXPECT_EQ(incomplete, 2000) << "two of three have futures 2 as a leg";
    EXPECT_EQ(IsinsOf(m_repository.RangeMultilegBySecondLegIsin(2)).size(), 1000u);
}

} // namespace
} // namespace test::MultilegTest
