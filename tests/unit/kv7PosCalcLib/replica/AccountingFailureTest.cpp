// Memory that ends in the middle: whichever allocation fails, the dictionary and the books are as they were, and what
// follows comes out as if nothing had happened.
#include <functional>

#include <gtest/gtest.h>

#include "AccountingMarket.h"
#include "DictionarySnapshot.h"
#include "FailingAllocations.h"

namespace test::AccountingFailureTest {
namespace {

using namespace accounting;
using testing_support::FailAtEachAllocation;
using testing_support::RoomForAllocations;

struct Insert
{
    const char* name;
    std::function<void(pos::PositionCalculatorInstruments&)> action;
};

const Insert Inserts[] = {
    {"base contract", [](auto& i) { i.InsertBaseContract(900, true, 1); }},
    {"trade mode",
     [](auto& i) {
         i.InsertTradeMode(900, Enums::TradeModeStatus::Open, Enums::PriceType::Price, Enums::AuctionType::None, false,
                           false, false);
     }},
    {"futures", [](auto& i) { InsertFutures(i, 900, 101, 1, 1, 1); }},
    {"series",
     [](auto& i) { i.InsertVirtFutures("A SERIES OF A LONG NAME", "F1", Enums::MarginStyle::Futures, 1, 1); }},
    {"option",
     [](auto& i) { i.InsertOption("AN OPTION OF A LONG NAME", "MARGIN", 900, Enums::OptionType::Put, t_bprice(1)); }},
    {"first leg", [](auto& i) { i.InsertMultileg(901, Near, 1, 1); }},
    {"second leg", [](auto& i) { i.InsertMultileg(901, Far, 1, 2); }},
    {"first leg of another", [](auto& i) { i.InsertMultileg(902, Near, 1, 1); }},
    {"trading instrument between", [](auto& i) { i.InsertInstrument(9001, 902, 1, 1, 1, "X"); }},
    {"second leg of a traded one", [](auto& i) { i.InsertMultileg(902, Far, 1, 2); }},
    {"trading instrument", [](auto& i) { i.InsertInstrument(9000, 901, 1, 1, 1, "X"); }},
    {"rate", [](auto& i) { i.InsertInstrumentsRate(9000, 1); }},
};

TEST(ExhaustedMemory, LeavesTheDictionaryAsItWas)
{
    pos::PositionCalculatorInstruments instruments;
    InsertAll(instruments);
    for (const Insert& insert : Inserts) {
        const auto before = Snapshot(instruments);
        const long failures = FailAtEachAllocation([&] { insert.action(instruments); },
                                                   [&] { EXPECT_EQ(Snapshot(instruments), before) << insert.name; });
        EXPECT_GT(failures, 0) << insert.name;
        EXPECT_NE(Snapshot(instruments), before) << insert.name;
    }
}

TEST(ExhaustedMemory, LeavesTheBooksAsTheyWereInADeal)
{
    Book book;
    Book fresh;
    const auto before = StateOf(book.calculator);
    Deal deal;
    const long failures = FailAtEachAllocation(
        [&] {
            book.calculator.ProcessTrade(Trading(Dollars), Price("50"), 5, {}, deal.trades, deal.isin, deal.instrument,
                                         true);
        },
        [&] { EXPECT_EQ(StateOf(book.calculator), before); });
    EXPECT_GE(failures, 2) << "the record of the deal and an entry of a currency";
    fresh.Trade(Trading(Dollars), Price("50"), 5);
    EXPECT_EQ(StateOf(book.calculator), StateOf(fresh.calculator));
}

TEST(ExhaustedMemory, ADealInAKnownInstrumentNeedsNone)
{
    Book book;
    Deal deal = book.Trade(Trading(Calendar), Price("3"), 1);
    const RoomForAllocations none(0);
    book.calculator.ProcessTrade(Trading(Calendar), Price("3"), 1, {}, deal.trades, deal.isin, deal.instrument, true);
    EXPECT_EQ(deal.trades[1].quantity, 2);
}

TEST(ExhaustedMemory, LeavesTheBooksAsTheyWereInARefreshAndAReading)
{
    Book book;
    book.Trade(Trading(Dollars), Price("50"), 5);
    book.Trade(Trading(PremiumStyle), Price("3"), 5);
    const auto dealt = StateOf(book.calculator);
    EXPECT_GT(FailAtEachAllocation([&] { book.calculator.refreshAllPositions(); },
                                   [&] { EXPECT_EQ(StateOf(book.calculator), dealt); }),
              0);
    const auto refreshed = StateOf(book.calculator);
    EXPECT_GT(FailAtEachAllocation([&] { book.calculator.Deserialize(dealt); },
                                   [&] { EXPECT_EQ(StateOf(book.calculator), refreshed); }),
              0);
    EXPECT_EQ(StateOf(book.calculator), dealt);
}

TEST(ExhaustedMemory, LeavesTheBooksAsTheyWereWhenAPositionIsEntered)
{
    Book book;
    InsertFutures(book.instruments, 900, 102, 1, 1, 1);
    SPosition position = Flat(900);
    position.vmClose = t_bsum_int("3");
    const auto before = StateOf(book.calculator);
    EXPECT_GE(FailAtEachAllocation([&] { book.calculator.InsertPosition(position, true, true); },
                                   [&] { EXPECT_EQ(StateOf(book.calculator), before); }),
              2)
        << "the record and the entry of its currency";
    EXPECT_EQ(book.calculator.VM, t_bsum_int("3"));
}

} // namespace
} // namespace test::AccountingFailureTest
