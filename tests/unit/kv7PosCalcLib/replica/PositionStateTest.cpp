// The serialised state of a position calculator, byte for byte.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountingMarket.h"

namespace test::PositionStateTest {
namespace {

using namespace accounting;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using Bytes = std::vector<std::byte>;

// A state worked out by hand; numbers stand with their lowest byte first, those below zero in two's complement. Money
// and prices are counts of 0.00001.
//     Near           bought 5 at 100, sold 3 at 101: closed 3 x 1
//     Dollars        bought 1 at 51.4, sold 4 at 51.2, 7 left by the last clearing: closed 1 x -0.2 x 6.5 = -1.3
//     PremiumStyle   2 written at 2.5, worth -2 x 2.5 x 6.5 = -32.5
constexpr const char* Fixture = R"(
    10 98 02 00 00 00 00 00     VM               3.00000 - 1.30000 = 170000
    b0 68 ce ff ff ff ff ff     NetOptionValue   -32.50000 = -3250000
    03 00 00 00                 numPos           3
    01 00 00 00                 numVMCurrencies  1

    01 00 00 00  00 00 00 00    isin Near, 4 bytes unused
    02 00 00 00 00 00 00 00     quantity 2
    05 00 00 00 00 00 00 00     buyQuantityTechnic
    03 00 00 00 00 00 00 00     sellQuantityTechnic
    80 96 98 00 00 00 00 00     waprice 100.00000
    e0 93 04 00 00 00 00 00     vmClose 3.00000
    80 f0 fa 02 00 00 00 00     buyVolume 500.00000
    60 57 ce 01 00 00 00 00     sellVolume 303.00000
    00 00 00 00 00 00 00 00     instr
    00 00 00 00 00 00 00 00     afterLastClearingQuantity
    00 00 00 00 00 00 00 00     netOptionValue

    03 00 00 00  00 00 00 00    isin Dollars, 4 bytes unused
    fd ff ff ff ff ff ff ff     quantity -3
    01 00 00 00 00 00 00 00     buyQuantityTechnic
    04 00 00 00 00 00 00 00     sellQuantityTechnic
    00 20 4e 00 00 00 00 00     waprice 51.20000
    30 04 fe ff ff ff ff ff     vmClose -1.30000
    20 6e 4e 00 00 00 00 00     buyVolume 51.40000
    00 80 38 01 00 00 00 00     sellVolume 204.80000
    00 00 00 00 00 00 00 00     instr
    07 00 00 00 00 00 00 00     afterLastClearingQuantity
    00 00 00 00 00 00 00 00     netOptionValue

    20 00 00 00  00 00 00 00    isin PremiumStyle, 4 bytes unused
    fe ff ff ff ff ff ff ff     quantity -2
    00 00 00 00 00 00 00 00     buyQuantityTechnic
    02 00 00 00 00 00 00 00     sellQuantityTechnic
    90 d0 03 00 00 00 00 00     waprice 2.50000
    00 00 00 00 00 00 00 00     vmClose
    00 00 00 00 00 00 00 00     buyVolume
    20 a1 07 00 00 00 00 00     sellVolume 5.00000
    00 00 00 00 00 00 00 00     instr
    fe ff ff ff ff ff ff ff     afterLastClearingQuantity -2
    b0 68 ce ff ff ff ff ff     netOptionValue -32.50000

    48 03 00 00  00 00 00 00    currId 840, 4 bytes unused
    30 04 fe ff ff ff ff ff     vmClose -1.30000
)";
constexpr std::size_t FixtureSize = 24 + 3 * 88 + 1 * 16;
constexpr std::size_t NumPosAt = 16;
constexpr std::size_t NumVMCurrenciesAt = 20;
constexpr std::size_t FirstPositionAt = 24;
constexpr std::size_t SecondPositionAt = 24 + 88;
constexpr std::size_t CurrencyAt = 24 + 3 * 88;

bool IsHexByte(const std::string& word)
{
    return word.size() == 2 && word.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// The bytes at the beginning of each line; the words behind them are for the reader.
Bytes FromDump(const char* dump)
{
    Bytes bytes;
    std::istringstream lines(dump);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        for (std::string word; words >> word && IsHexByte(word);)
            bytes.push_back(static_cast<std::byte>(std::stoi(word, nullptr, 16)));
    }
    return bytes;
}

class State : public testing::Test
{
protected:
    State() { InsertAll(instruments); }

    void Deal(Isin isin, const char* price, std::int64_t quantity)
    {
        pos::SPosTradesVector trades;
        calculator.ProcessTradeCLR(isin, Price(price), quantity, trades, nullptr, false, true);
    }
    /// The state of the fixture, made by deals.
    void MakeFixture()
    {
        SPosition dollars = Flat(Dollars);
        dollars.afterLastClearingQuantity = 7;
        SPosition option = Flat(PremiumStyle);
        option.quantity = -2;
        option.sellQuantityTechnic = 2;
        option.sellVolume = t_bsum_int("5");
        option.waprice = Price("2.5");
        option.afterLastClearingQuantity = -2;
        option.netOptionValue = t_bsum_int("-32.5");
        // Not in the order of the isins.
        calculator.InsertPosition(option, false, true);
        calculator.InsertPosition(dollars, false, true);
        calculator.InsertPosition(Flat(Near), false, true);
        Deal(Near, "100", 5);
        Deal(Near, "101", -3);
        Deal(Dollars, "51.4", 1);
        Deal(Dollars, "51.2", -4);
    }
    /// What Deserialize says to these bytes; the calculator must be as it was.
    std::string RefusalOf(const Bytes& bytes)
    {
        const auto before = StateOf(calculator);
        std::string text = "accepted";
        try {
            calculator.Deserialize(bytes);
        } catch (const std::exception& e) {
            text = e.what();
        }
        EXPECT_EQ(StateOf(calculator), before);
        return text;
    }
    static Bytes Altered(std::size_t at, int value)
    {
        Bytes bytes = FromDump(Fixture);
        bytes[at] = static_cast<std::byte>(value);
        return bytes;
    }

    pos::PositionCalculatorInstruments instruments;
    CPositionCalculator calculator{instruments};
};

TEST_F(State, IsWrittenByteForByte)
{
    ASSERT_EQ(FromDump(Fixture).size(), FixtureSize);
    MakeFixture();
    EXPECT_EQ(calculator.GetRequiredBufferSize(), FixtureSize);
    EXPECT_EQ(StateOf(calculator), FromDump(Fixture));
}

TEST_F(State, IsReadFieldByField)
{
    calculator.Deserialize(FromDump(Fixture));
    EXPECT_EQ(calculator.VM, t_bsum_int("1.7"));
    EXPECT_EQ(calculator.NetOptionValue, t_bsum_int("-32.5"));
    EXPECT_THAT(calculator.VMCurr, ElementsAre(Pair(DollarCurrency, t_bsum_int("-1.3"))));
    ASSERT_EQ(calculator.GetPositions().size(), 3U);
    const SPosition& dollars = *calculator.getPosition(Dollars);
    EXPECT_EQ(dollars.isin, Dollars);
    EXPECT_EQ(dollars.quantity, -3);
    EXPECT_EQ(dollars.buyQuantityTechnic, 1);
    EXPECT_EQ(dollars.sellQuantityTechnic, 4);
    EXPECT_EQ(dollars.waprice, Price("51.2"));
    EXPECT_EQ(dollars.vmClose, t_bsum_int("-1.3"));
    EXPECT_EQ(dollars.buyVolume, t_bsum_int("51.4"));
    EXPECT_EQ(dollars.sellVolume, t_bsum_int("204.8"));
    EXPECT_EQ(dollars.instr, &instruments.getInstrumentCLR(Dollars)) << "at this dictionary's instrument";
    EXPECT_EQ(dollars.afterLastClearingQuantity, 7);
    EXPECT_EQ(calculator.getPosition(PremiumStyle)->netOptionValue, t_bsum_int("-32.5"));
}

TEST_F(State, ComesBackTheSameASecondTime)
{
    MakeFixture();
    const Bytes first = StateOf(calculator);
    CPositionCalculator copy(instruments);
    copy.Deserialize(first);
    const Bytes second = StateOf(copy);
    EXPECT_EQ(second, first);
    CPositionCalculator copyOfCopy(instruments);
    copyOfCopy.Deserialize(second);
    EXPECT_EQ(StateOf(copyOfCopy), first);
    // And lives on like the original.
    for (CPositionCalculator* const book : {&calculator, &copyOfCopy}) {
        pos::SPosTradesVector trades;
        book->ProcessTradeCLR(Dollars, Price("49.9"), 5, trades, nullptr, false, true);
        book->ProcessTradeCLR(PremiumStyle, Price("2"), 2, trades, nullptr, false, true);
        book->refreshAllPositions();
    }
    EXPECT_EQ(StateOf(copyOfCopy), StateOf(calculator));
}

TEST_F(State, TakesThePlaceOfWhatStoodThere)
{
    calculator.InsertPosition(Flat(Far), false, false);
    calculator.VMCurr[978] = t_bsum_int("1");
    calculator.Deserialize(FromDump(Fixture));
    EXPECT_EQ(calculator.getPosition(Far), nullptr);
    EXPECT_EQ(StateOf(calculator), FromDump(Fixture));
}

TEST_F(State, OfAnEmptyCalculatorIsItsHead)
{
    const Bytes zeros(24, std::byte{0});
    EXPECT_EQ(StateOf(calculator), zeros);
    MakeFixture();
    calculator.Deserialize(zeros);
    EXPECT_THAT(calculator.GetPositions(), IsEmpty());
    EXPECT_THAT(calculator.VMCurr, IsEmpty());
}

TEST_F(State, PutsThePremiumsBackIntoTheFullSums)
{
    MakeFixture();
    Deal(PremiumStyle, "1.5", 1); // closed 1 x (2.5 - 1.5) x 6.5
    ASSERT_EQ(calculator.VMFull, t_bsum_int("8.2")) << "1.7 + 6.5";
    CPositionCalculator copy(instruments);
    copy.Deserialize(StateOf(calculator));
    EXPECT_EQ(copy.VM, t_bsum_int("1.7"));
    EXPECT_EQ(copy.VMFull, t_bsum_int("8.2"));
    EXPECT_THAT(copy.VMCurr, ElementsAre(Pair(DollarCurrency, t_bsum_int("-1.3"))));
    EXPECT_THAT(copy.VMCurrFull, ElementsAre(Pair(DollarCurrency, t_bsum_int("5.2"))));
}

TEST_F(State, HoldsTheExtremesOfEveryField)
{
    SPosition position = Flat(Near);
    position.quantity = Smallest;
    position.buyQuantityTechnic = Largest;
    position.sellVolume = t_bsum_int::FromPlain(Smallest);
    position.afterLastClearingQuantity = -1;
    calculator.InsertPosition(position, false, false);
    calculator.VM = t_bsum_int::FromPlain(Smallest);
    calculator.VMCurr[-1] = t_bsum_int::FromPlain(Largest);
    CPositionCalculator copy(instruments);
    copy.Deserialize(StateOf(calculator));
    EXPECT_EQ(copy.getPosition(Near)->quantity, Smallest);
    EXPECT_EQ(copy.getPosition(Near)->buyQuantityTechnic, Largest);
    EXPECT_EQ(copy.getPosition(Near)->sellVolume.AsPlain(), Smallest);
    EXPECT_EQ(copy.VM.AsPlain(), Smallest);
    EXPECT_THAT(copy.VMCurr, ElementsAre(Pair(-1, t_bsum_int::FromPlain(Largest))));
}

TEST_F(State, NeedsABufferOfItsSize)
{
    MakeFixture();
    Bytes buffer(FixtureSize + 3, std::byte{0xAA});
    for (std::size_t size = 0; size < FixtureSize; ++size) {
        try {
            calculator.Serialize(std::span(buffer).first(size));
            FAIL() << size << " bytes were enough";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Not enough buffer");
        }
    }
    EXPECT_EQ(buffer, Bytes(FixtureSize + 3, std::byte{0xAA})) << "nothing was written";
    // At an odd address, too, and not a byte further.
    calculator.Serialize(std::span(buffer).subspan(1));
    EXPECT_TRUE(std::equal(buffer.begin() + 1, buffer.end() - 2, FromDump(Fixture).begin()));
    EXPECT_EQ(buffer.front(), std::byte{0xAA});
    EXPECT_EQ(buffer[FixtureSize + 1], std::byte{0xAA});
    CPositionCalculator copy(instruments);
    copy.Deserialize(std::span(buffer).subspan(1, FixtureSize));
    EXPECT_EQ(StateOf(copy), FromDump(Fixture));
}

TEST_F(State, OfAnotherLengthThanItsCountsIsRefused)
{
    MakeFixture();
    const Bytes whole = FromDump(Fixture);
    for (std::size_t size = 0; size < FixtureSize; ++size) {
        const std::string expected = size < 24 ? "24" : "304";
        EXPECT_EQ(RefusalOf({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}),
                  "Position calculator state: " + std::to_string(size) + " bytes given, " + expected + " expected");
    }
    Bytes longer = whole;
    longer.push_back(std::byte{0});
    EXPECT_EQ(RefusalOf(longer), "Position calculator state: 305 bytes given, 304 expected");
    EXPECT_EQ(RefusalOf(Altered(NumPosAt, 2)), "Position calculator state: 304 bytes given, 216 expected");
    EXPECT_EQ(RefusalOf(Altered(NumVMCurrenciesAt, 2)), "Position calculator state: 304 bytes given, 320 expected");
    // 24 + 88 (3 + 255 x 2^24) + 16, beyond 32 bits.
    EXPECT_EQ(RefusalOf(Altered(NumPosAt + 3, 0xFF)),
              "Position calculator state: 304 bytes given, 376480727344 expected");
}

TEST_F(State, OfAnUnknownInstrumentIsRefused)
{
    EXPECT_THAT(RefusalOf(Altered(SecondPositionAt, 98)), HasSubstr("Isin: 98"));
    EXPECT_EQ(FailureOf([&] { calculator.Deserialize(Altered(SecondPositionAt, 98)); }).code,
              Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_EQ(FailureOf([&] { calculator.Deserialize(Altered(SecondPositionAt, Calendar)); }).code,
              Z9ERR_POSITION_CALCULATOR_MULTILEG_ISIN_IN_POSITION);
}

TEST_F(State, WhereAPositionOrACurrencyStandsTwiceIsRefused)
{
    EXPECT_THAT(RefusalOf(Altered(SecondPositionAt, Near)), HasSubstr("Isin: 1"));
    EXPECT_EQ(FailureOf([&] { calculator.Deserialize(Altered(SecondPositionAt, Near)); }).code,
              Z9ERR_POSITION_CALCULATOR_POSITION_ALREADY_EXISTS);

    Bytes twice = Altered(NumVMCurrenciesAt, 2);
    twice.insert(twice.end(), twice.begin() + CurrencyAt, twice.end());
    EXPECT_EQ(RefusalOf(twice), "Position calculator state: currency 840 stands twice");
}

TEST_F(State, IgnoresTheUnusedBytes)
{
    Bytes bytes = FromDump(Fixture);
    bytes[FirstPositionAt + 4] = std::byte{0xFF};  // behind the isin
    bytes[FirstPositionAt + 64] = std::byte{0xFF}; // instr
    bytes[CurrencyAt + 7] = std::byte{0xFF};
    calculator.Deserialize(bytes);
    EXPECT_EQ(StateOf(calculator), FromDump(Fixture)) << "and writes them as zeros";
}

TEST_F(State, MayListPositionsInAnyOrder)
{
    Bytes bytes = FromDump(Fixture);
    std::swap_ranges(bytes.begin() + FirstPositionAt, bytes.begin() + SecondPositionAt,
                     bytes.begin() + SecondPositionAt);
    calculator.Deserialize(bytes);
    EXPECT_EQ(StateOf(calculator), FromDump(Fixture)) << "and is written by ascending isin";
}

// Contracts alone, as a level has them that does not net. Read back, the futures has an instrument, so the next
// clearing puts it to the settlement price of 100; an isin that accounting does not know does not come back at all.
TEST_F(State, OfALevelThatOnlyCountsDoesNotComeBackAsItWas)
{
    CPositionCalculator counting(instruments);
    SPosition counted = Flat(Near);
    counted.quantity = 5;
    counting.InsertPositionForHalfNettingAndGross(counted);
    calculator.Deserialize(StateOf(counting));
    EXPECT_EQ(StateOf(calculator), StateOf(counting)) << "the bytes are the same";
    EXPECT_EQ(counting.getPosition(Near)->instr, nullptr);
    EXPECT_NE(calculator.getPosition(Near)->instr, nullptr);
    counting.refreshAllPositions();
    calculator.refreshAllPositions();
    EXPECT_EQ(counting.getPosition(Near)->waprice, t_bprice_int());
    EXPECT_EQ(calculator.getPosition(Near)->waprice, Price("100"));

    counting.InsertPositionForHalfNettingAndGross(Flat(777));
    EXPECT_EQ(FailureOf([&] { calculator.Deserialize(StateOf(counting)); }).code,
              Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
}

} // namespace
} // namespace test::PositionStateTest
