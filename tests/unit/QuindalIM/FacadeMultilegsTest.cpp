// Multilegs through the exports: codes, refusals, the cursor and the size contract of its buffer.
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "ExportCalls.h"
#include "FacadeFixture.h"

namespace test::FacadeMultilegsTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A buffer for the code of a multileg, holding a text of its own until it is written.
struct MultilegEntry
{
    std::array<char, 32> code{"untouched"};
    std::int32_t codeSize = 32;

    std::int32_t GetNext(std::intptr_t calc) { return GetNextMultileg(calc, code.data(), &codeSize); }
    friend bool operator==(const MultilegEntry&, const MultilegEntry&) = default;
};

/// BC with FUT-9, FUT-12 and FUT-3.
class FacadeMultilegsTest : public CalculatorTest
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
        for (const char* code : {"FUT-9", "FUT-12", "FUT-3"})
            ASSERT_EQ(calls::Futures(calc, code, "BC"), 0);
        static_cast<void>(log.Take());
    }
    std::int32_t SetOnFirst()
    {
        std::int32_t count = -1;
        EXPECT_EQ(SetOnFirstMultileg(calc, &count), 0);
        return count;
    }
    std::vector<std::string> Listed()
    {
        std::vector<std::string> codes;
        static_cast<void>(SetOnFirst());
        for (MultilegEntry entry; entry.GetNext(calc) == 0; entry = MultilegEntry())
            codes.emplace_back(entry.code.data());
        return codes;
    }
};

TEST_F(FacadeMultilegsTest, AMultilegGivesBackItsCodeAsInserted)
{
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-12"), 0);
    EXPECT_EQ(SetOnFirst(), 1);
    MultilegEntry entry;
    ASSERT_EQ(entry.GetNext(calc), 0);
    EXPECT_STREQ(entry.code.data(), "FUT-9-12");
    EXPECT_EQ(entry.codeSize, 9);

    const MultilegEntry untouched = entry;
    EXPECT_EQ(entry.GetNext(calc), 94810);
    EXPECT_EQ(entry, untouched) << "nothing is written at the end, the size included";
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_THAT(TraceOf("InsertMultileg"), ElementsAre("00,,InsertMultileg," + Handle() + ",@MultilegCode='FUT-9-12'"));
    EXPECT_THAT(TraceOf("SetOnFirstMultileg"), ElementsAre("00,,SetOnFirstMultileg," + Handle() + ",@count=1"));
    EXPECT_THAT(TraceOf("GetNextMultileg"),
                ElementsAre("00,,GetNextMultileg," + Handle() + ",@MultilegCode='FUT-9-12',@MultilegCodeSize=9",
                            "00,,GetNextMultileg," + Handle()))
        << "the end of the data is no error in the trace";
}

TEST_F(FacadeMultilegsTest, RefusalsHaveTheirCodesAndAreNotListed)
{
    EXPECT_EQ(InsertMultileg(calc, "FUT-9"), 94723) << "one dash is too few";
    EXPECT_EQ(InsertMultileg(calc, ""), 94723);
    EXPECT_EQ(InsertMultileg(calc, "FUT-9-1"), 94715) << "a leg that nobody knows";
    EXPECT_EQ(InsertMultileg(calc, "GOLD-9-12"), 94715);
    EXPECT_THAT(Listed(), IsEmpty());
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-12"), 0);
    EXPECT_EQ(InsertMultileg(calc, "FUT-9-12"), 94792);
    EXPECT_THAT(Listed(), ElementsAre("FUT-9-12"));
    EXPECT_THAT(log.Take(), IsEmpty()) << "none of it is logged";
    EXPECT_EQ(TraceOf("InsertMultileg").back(),
              "94792,Multileg already exists,InsertMultileg," + Handle() + ",@MultilegCode='FUT-9-12'");
}

TEST_F(FacadeMultilegsTest, TheListGivesTheOrderOfInsertionOnceItIsSetOnFirst)
{
    for (const char* code : {"FUT-9-3", "FUT-12-3", "FUT-9-12"})
        ASSERT_EQ(InsertMultileg(calc, code), 0);
    MultilegEntry entry;
    EXPECT_EQ(entry.GetNext(calc), 94810) << "not set on first yet";
    EXPECT_EQ(entry, MultilegEntry());
    EXPECT_THAT(Listed(), ElementsAre("FUT-9-3", "FUT-12-3", "FUT-9-12"));
}

// The size contract

TEST_F(FacadeMultilegsTest, ABufferThatIsTooSmallGivesTheSizeAndPassesTheEntryOver)
{
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-12"), 0);
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-3"), 0);
    for (const std::int32_t capacity :
         {8, 1, 0, -1, std::numeric_limits<std::int32_t>::min()}) { // 8: no room for the zero
        MultilegEntry entry;
        entry.codeSize = capacity;
        MultilegEntry expected = entry;
        expected.codeSize = 9;
        EXPECT_EQ(SetOnFirst(), 2);
        EXPECT_EQ(entry.GetNext(calc), 7) << capacity;
        EXPECT_EQ(entry, expected) << capacity << ": the needed size, and no byte of the code";
        MultilegEntry next;
        EXPECT_EQ(next.GetNext(calc), 0);
        EXPECT_STREQ(next.code.data(), "FUT-9-3");
        EXPECT_EQ(next.GetNext(calc), 94810);
    }
}

TEST_F(FacadeMultilegsTest, ABufferOfLengthAndOneIsEnoughAndTheLastByteOfALargerOneIsZero)
{
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-12"), 0);
    MultilegEntry exact;
    exact.code.fill('#');
    exact.codeSize = 9;
    SetOnFirst();
    ASSERT_EQ(exact.GetNext(calc), 0);
    EXPECT_STREQ(exact.code.data(), "FUT-9-12");
    EXPECT_EQ(exact.codeSize, 9);
    EXPECT_EQ(exact.code[9], '#') << "nothing is written behind it";

    MultilegEntry larger;
    larger.code.fill('#');
    larger.codeSize = 20;
    SetOnFirst();
    ASSERT_EQ(larger.GetNext(calc), 0);
    EXPECT_STREQ(larger.code.data(), "FUT-9-12");
    EXPECT_EQ(larger.codeSize, 9);
    EXPECT_EQ(larger.code[19], '\0');
    EXPECT_EQ(larger.code[20], '#');
}

TEST_F(FacadeMultilegsTest, NullPointersAreNamedAndMoveNoCursor)
{
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-12"), 0);
    SetOnFirst();
    MultilegEntry entry;
    EXPECT_EQ(InsertMultileg(calc, nullptr), 94811);
    EXPECT_EQ(SetOnFirstMultileg(calc, nullptr), 94811);
    EXPECT_EQ(GetNextMultileg(calc, nullptr, &entry.codeSize), 94811);
    EXPECT_EQ(GetNextMultileg(calc, entry.code.data(), nullptr), 94811);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] InsertMultileg: Code is null",
                                        "ERROR [QuindalIM] SetOnFirstMultileg: count is null",
                                        "ERROR [QuindalIM] GetNextMultileg: MultilegCode is null",
                                        "ERROR [QuindalIM] GetNextMultileg: MultilegCodeSize is null"));
    EXPECT_EQ(entry, MultilegEntry());
    EXPECT_EQ(entry.GetNext(calc), 0) << "the multileg is still there";
}

TEST_F(FacadeMultilegsTest, AZeroHandleIsAWrongArgument)
{
    MultilegEntry entry;
    std::int32_t count = -1;
    EXPECT_EQ(InsertMultileg(0, "FUT-9-12"), 94811);
    EXPECT_EQ(SetOnFirstMultileg(0, &count), 94811);
    EXPECT_EQ(entry.GetNext(0), 94811);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(entry, MultilegEntry());
}

// Life

TEST_F(FacadeMultilegsTest, MultilegsStandInTheWayOfADownloadUntilClearAll)
{
    int downloads = 0;
    TheLink().onDownload = [&downloads](QuindalIM::CCalcGOEx&) { ++downloads; };
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-12"), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995);
    EXPECT_EQ(downloads, 0) << "the network is not touched";
    SetOnFirst();
    ASSERT_EQ(ClearAll(calc), 0);
    MultilegEntry entry;
    EXPECT_EQ(entry.GetNext(calc), 94810);
    EXPECT_EQ(SetOnFirst(), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    EXPECT_EQ(downloads, 1);
    EXPECT_EQ(InsertMultileg(calc, "FUT-9-12"), 94715) << "the legs are gone with the rest";
}

TEST_F(FacadeMultilegsTest, ANewCalculatorHasForgottenTheListAndTheCodesOfTheLegs)
{
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-12"), 0);
    ASSERT_EQ(DestroyQuindalIMCalculator(calc), 0);
    ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    EXPECT_EQ(SetOnFirst(), 0);
    EXPECT_EQ(InsertMultileg(calc, "FUT-9-12"), 94715);
}

TEST_F(FacadeMultilegsTest, NoPositionStandsInAMultileg)
{
    ASSERT_EQ(InsertMultileg(calc, "FUT-9-12"), 0);
    ASSERT_EQ(calls::Firm(calc, "AA00"), 0);
    ASSERT_EQ(calls::Part(calc, "AA00001"), 0);
    calls::Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT-9", 3, 1000.0, margins), 0);
    const calls::Margins before = margins;
    EXPECT_EQ(calls::Position(calc, "AA00001", "FUT-9-12", 1, 5.0, margins), 0) << "taken, and of no effect";
    EXPECT_EQ(margins, before);
}

} // namespace
} // namespace test::FacadeMultilegsTest
