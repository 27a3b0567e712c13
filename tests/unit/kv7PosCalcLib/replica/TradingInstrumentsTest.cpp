#include <functional>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountingMarket.h"
#include "DictionarySnapshot.h"
#include "LogCapture.h"
#include "replica/PartPrices.h"
#include "replica/PositioningExternalStorage.h"

namespace test::TradingInstrumentsTest {
namespace {

using namespace accounting;
using Enums::AuctionType;
using Enums::InstrumentStatus;
using Enums::InstrumentType;
using Enums::PriceType;
using Enums::TradeModeStatus;
using Enums::TradingInstrType;
using pos::PositionCalculatorInstruments;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class TradingInstruments : public testing::Test
{
protected:
    TradingInstruments() { InsertAll(instruments); }

    PositionCalculatorInstruments instruments;
};

// Every refusal with its code and its text; the dictionary is the same before and after.
TEST_F(TradingInstruments, EveryRefusalNamesWhatItIsAboutAndChangesNothing)
{
    const auto price = t_bprice(1);
    const auto modeAgain = [&] {
        instruments.InsertTradeMode(OrdinaryMode, TradeModeStatus::Closed, PriceType::Offset, AuctionType::Closing,
                                    true, true, true);
    };
    instruments.InsertMultileg(60, Near, 1, 5); // one leg, order number 5
    instruments.InsertInstrumentsRate(Trading(Near), 1);
    InsertFutures(instruments, 8, 101, 1, 2, 1); // twice the money of Near
    instruments.InsertMultileg(61, Near, 1, 1);
    instruments.InsertMultileg(61, 8, 1, 2);
    instruments.InsertFutures("NOLOT", 9, 101, 1, 1, price, 1, InstrumentStatus::None, 0);
    instruments.InsertMultileg(62, Near, 1, 1);
    instruments.InsertMultileg(62, 9, 1, 2);

    struct Case
    {
        std::function<void()> action;
        Z9ERR code;
        const char* text;
    };
    const Case cases[] = {
        {[&] { instruments.InsertBaseContract(101, true, 1); }, Z9ERR_POSITION_CALCULATOR_BASECONTRACT_ALREADY_EXISTS,
         "Base Contract ID: 101"},
        {modeAgain, Z9ERR_POSITION_CALCULATOR_TRADEMODE_ALREADY_EXISTS, "TradeModeID: 1"},
        {[&] { instruments.InsertFutures("F1", Near, 101, 1, 1, price, 1, InstrumentStatus::None, 1); },
         Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS, "Futures (F1) already exists with isin (1)"},
        {[&] { instruments.InsertFutures("FX", 90, 999, 1, 1, price, 1, InstrumentStatus::None, 1); },
         Z9ERR_POSITION_CALCULATOR_BASECONTRACT_NOT_FOUND,
         "Base Contract (id 999) not found while inserting futures (FX)"},
        {[&] { instruments.InsertVirtFutures("MARGIN", "F3", Enums::MarginStyle::Futures, 1, 1); },
         Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS, "VFCode: MARGIN"},
        {[&] { instruments.InsertVirtFutures("NEW", "FX", Enums::MarginStyle::Futures, 1, 1); },
         Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, "Futures (FX) not found while inserting virtual futures (NEW)"},
        {[&] { instruments.InsertOption("O", "MARGIN", MarginStyle, Enums::OptionType::Put, price); },
         Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS, "Option Isin: 31"},
        {[&] { instruments.InsertOption("O", "NEW", 90, Enums::OptionType::Put, price); },
         Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND, "Virtual Futures Code: NEW"},
        // The tests of a leg come in this order: each case breaks all the later ones too.
        {[&] { instruments.InsertMultileg(Calendar, 999, 1, 2); },
         Z9ERR_POSITION_CALCULATOR_NUMBEROFLEGS_MORE_THAN_TWO_IN_MULTILEG, "Multileg (Isin 50)"},
        {[&] { instruments.InsertMultileg(60, Near, 1, 5); },
         Z9ERR_POSITION_CALCULATOR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG, "Multileg (Isin 60), LegOrderNum: 5"},
        {[&] { instruments.InsertMultileg(60, Near, 1, 6); }, Z9ERR_POSITION_CALCULATOR_ISIN_ALREADY_EXISTS_IN_MULTILEG,
         "LegIsinId: 1"},
        {[&] { instruments.InsertMultileg(60, 999, 1, 6); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "Inserting Multileg(Isin 60) failed. Leg(Isin 999) not found"},
        {[&] { instruments.InsertMultileg(63, 999, 1, 1); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "Inserting Multileg(Isin 63) failed. Leg(Isin 999) not found"},
        {[&] { instruments.InsertMultileg(63, Calendar, 1, 1); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "Inserting Multileg(Isin 63) failed. Leg(Isin 50) not found"},
        // One isin is one instrument. These break the later tests too.
        {[&] { instruments.InsertMultileg(Near, 999, 1, 1); }, Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS,
         "Multileg (Isin 1)"},
        {[&] { instruments.InsertMultileg(MarginStyle, 999, 1, 1); }, Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS,
         "Multileg (Isin 31)"},
        {[&] { instruments.InsertFutures("FX", Calendar, 999, 1, 1, price, 1, InstrumentStatus::None, 1); },
         Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS, "Futures (FX) already exists with isin (50)"},
        {[&] { instruments.InsertOption("O", "NEW", Calendar, Enums::OptionType::Put, price); },
         Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS, "Option Isin: 50"},
        {[&] { instruments.InsertInstrument(Trading(Near), Far, 1, 1, 1, "AGAIN"); },
         Z9ERR_POSITION_CALCULATOR_INSTRUMENT_ALREADY_EXISTS, "InstrumentID: 1001"},
        {[&] { instruments.InsertInstrument(4000, 61, 1, 1, 1, "X"); },
         Z9ERR_POSITION_CALCULATOR_DIFFERENT_FUTURES_MONEYCOEFF_IN_MULTILEG,
         "Multileg isin: 61 FirstLeg: 1 SecondLeg: 8"},
        {[&] { instruments.InsertInstrument(4000, 62, 1, 1, 1, "X"); }, Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO, ""},
        {[&] { instruments.InsertInstrument(4000, Near, 1, 1, 1, std::string(256, 'x')); },
         Z9ERR_COMMON_WRONG_ARGUMENTS, "InstrumentID: 4000, code of 256 characters (xxxx"},
        {[&] { instruments.InsertInstrumentsRate(4000, 1); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "InstrumentID: 4000"},
        {[&] { instruments.InsertInstrumentsRate(Trading(Near), 2); },
         Z9ERR_POSITION_CALCULATOR_INSTRUMENT_ALREADY_EXISTS, "InstrumentID: 1001"},
        {[&] { instruments.UpdateInstrumentsRate(Trading(Far), 2); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "InstrumentID: 1002"},
        {[&] { instruments.UpdateFutures(90, 1, price); }, Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, "Isin: 90"},
        {[&] { instruments.UpdateOption(90, price); }, Z9ERR_POSITION_CALCULATOR_OPTION_NOT_FOUND, "Isin: 90"},
        {[&] { instruments.UpdateVirtFutures("NEW", 1); }, Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND,
         "Virtual Futures Code: NEW"},
        // Lookups.
        {[&] { (void)instruments.getInstrumentTRD(4000); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "InstrumentID: 4000"},
        {[&] { (void)instruments.getClearingIsinByTrading(4000); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "InstrumentID: 4000"},
        {[&] { (void)instruments.getInstrShouldTakeIntoAccountPrice1(4000); },
         Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "InstrumentID: 4000"},
        {[&] { (void)instruments.getInstrShouldTakeIntoAccountPrice1(CalendarWithoutMode); },
         Z9ERR_POSITION_CALCULATOR_TRADEMODEID_NOT_FOUND, "TradeModeID: 77"},
        {[&] { (void)instruments.getFirstPartPrice(CalendarWithoutMode, Price("1")); },
         Z9ERR_POSITION_CALCULATOR_TRADEMODEID_NOT_FOUND, "TradeModeID: 77"},
        {[&] { (void)instruments.getSwapPrice(CalendarWithoutMode, Price("1"), Price("1")); },
         Z9ERR_POSITION_CALCULATOR_TRADEMODEID_NOT_FOUND, "TradeModeID: 77"},
        {[&] { (void)instruments.getFirstPartPrice(Trading(Near), Price("1")); },
         Z9ERR_POSITION_CALCULATOR_PAIR_INSTRUMENTID_EXPECTED, "InstrumentID: 1001"},
        {[&] { (void)instruments.getSwapPrice(Trading(PremiumStyle), Price("1"), Price("1")); },
         Z9ERR_POSITION_CALCULATOR_PAIR_INSTRUMENTID_EXPECTED, "InstrumentID: 1032"},
        {[&] { (void)instruments.getSwapPrice(NoLegs, Price("1"), Price("1")); },
         Z9ERR_POSITION_CALCULATOR_PAIR_INSTRUMENTID_EXPECTED, "InstrumentID: 1099"},
        {[&] { (void)instruments.getFirstPartPrice(4000, Price("1")); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "InstrumentID: 4000"},
        {[&] { (void)instruments.getInstrumentCLR(90); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "Isin: 90"},
        {[&] { (void)instruments.getInstrumentCLR(Calendar); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "Isin: 50"},
        {[&] { (void)instruments.getClearingInstrumentBaseContract(90); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND,
         "Isin: 90"},
        {[&] { (void)instruments.GetFuturesAttribute(90); }, Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, "Isin: 90"},
        {[&] { (void)instruments.GetLotMoneyCoeff(90, "c"); }, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, "Isin: 90"},
    };
    const auto before = Snapshot(instruments);
    for (const Case& c : cases) {
        const Failure failure = FailureOf(c.action);
        EXPECT_EQ(failure.code, c.code) << c.text;
        EXPECT_THAT(failure.text, HasSubstr(c.text)) << failure.code;
        EXPECT_EQ(Snapshot(instruments), before) << c.text;
    }
}

TEST_F(TradingInstruments, ATradeModeStandsUnderItsId)
{
    const auto& modes = instruments.GetConstInstruments().m_tradeModes;
    const pos::STradeMode& mode = modes.at(Price1Mode);
    EXPECT_EQ(mode.status, TradeModeStatus::Open);
    EXPECT_EQ(mode.price_type, PriceType::Offset);
    EXPECT_EQ(mode.auct_type, AuctionType::Opening);
    EXPECT_TRUE(mode.shouldCollectFeeForInternalTrades && mode.shouldTakeIntoAccountPrice1 &&
                mode.shouldReplicatePrice1);
    instruments.InsertTradeMode(9, TradeModeStatus::Closed, PriceType::Price, AuctionType::Closing, true, false, false);
    EXPECT_TRUE(modes.at(9).shouldCollectFeeForInternalTrades) << "the flags in their order";
    EXPECT_FALSE(modes.at(9).shouldTakeIntoAccountPrice1);
    instruments.InsertTradeMode(10, TradeModeStatus::Closed, PriceType::Price, AuctionType::Closing, false, false,
                                true);
    EXPECT_TRUE(modes.at(10).shouldReplicatePrice1);
}

TEST_F(TradingInstruments, AMultilegHasItsLegsByOrderNumberHoweverTheyCame)
{
    instruments.InsertMultileg(60, Far, 3, 200);
    instruments.InsertMultileg(60, Near, -2, 100);
    const pos::SMultileg& multileg = *instruments.GetConstInstruments().getMultileg(60);
    EXPECT_EQ(multileg.isin, 60);
    EXPECT_EQ(multileg.lastInsertedLegNum, 100);
    EXPECT_EQ(Legs(multileg.instruments), "[1 x -2][2 x 3]");
    EXPECT_EQ(multileg.instruments[0].instrCLR, instruments.GetInstrFutures(Near));
    EXPECT_EQ(instruments.getClearingInstrumentType(60), InstrumentType::MultiLeg);
    EXPECT_EQ(instruments.GetConstInstruments().getMultileg(Near), nullptr);
}

TEST_F(TradingInstruments, AnOptionMayBeALeg)
{
    instruments.InsertMultileg(60, MarginStyle, 1, 1);
    instruments.InsertMultileg(60, PremiumStyle, -1, 2);
    instruments.InsertInstrument(4000, 60, OrdinaryMode, 1, 1, "OPTIONS");
    EXPECT_EQ(Legs(instruments.getInstrumentTRD(4000).instruments), "[31 x 1][32 x -1]");
}

TEST_F(TradingInstruments, ATradingInstrumentKnowsWhatADealInItMoves)
{
    struct Case
    {
        Isin isin;
        TradingInstrType type;
        const char* legs;
    };
    for (const Case& c :
         {Case{Near, TradingInstrType::Futures, "[1 x 1]"}, Case{PremiumStyle, TradingInstrType::Option, "[32 x 1]"},
          Case{Calendar, TradingInstrType::Multileg, "[1 x -1][2 x 1]"},
          Case{Ratio, TradingInstrType::Multileg, "[1 x 2][2 x -3]"}}) {
        const pos::SInstrTRD& instrument = instruments.getInstrumentTRD(Trading(c.isin));
        EXPECT_EQ(instrument.isin_clr, c.isin);
        EXPECT_EQ(instruments.getClearingIsinByTrading(Trading(c.isin)), c.isin);
        EXPECT_EQ(instrument.code_clr, "T" + std::to_string(c.isin));
        EXPECT_EQ(instrument.type, c.type);
        EXPECT_EQ(Legs(instrument.instruments), c.legs);
        EXPECT_EQ(instrument.tradeModeID, OrdinaryMode);
        EXPECT_EQ(instrument.tradeMode, &instruments.GetConstInstruments().m_tradeModes.at(OrdinaryMode));
    }
    EXPECT_FALSE(instruments.getInstrShouldTakeIntoAccountPrice1(Trading(Calendar)));
    EXPECT_TRUE(instruments.getInstrShouldTakeIntoAccountPrice1(CalendarNamingPrice1));
    EXPECT_EQ(instruments.getInstrumentTRD(NoLegs).isin_clr, 99);
    EXPECT_THAT(instruments.getInstrumentTRD(NoLegs).instruments, IsEmpty());
    EXPECT_EQ(instruments.getInstrumentTRD(CalendarWithoutMode).tradeMode, nullptr);
}

TEST_F(TradingInstruments, ACodeMayFillAllButTheTerminatingZero)
{
    const std::string code(255, 'x');
    instruments.InsertInstrument(4000, Near, OrdinaryMode, 0.5, 0.25, code);
    const pos::SInstrTRD& instrument = instruments.getInstrumentTRD(4000);
    EXPECT_EQ(instrument.code_clr, code);
    EXPECT_EQ(sizeof(instrument.code_clr), 256U);
    EXPECT_EQ(instrument.minStepTraded, 0.5);
    EXPECT_EQ(instrument.minStepPriceTraded, 0.25);
    EXPECT_EQ(
        FailureOf([&] { instruments.InsertInstrument(4001, Near, OrdinaryMode, 1, 1, std::string("a\0b", 3)); }).code,
        Z9ERR_COMMON_WRONG_ARGUMENTS)
        << "it would end in the middle";
}

TEST_F(TradingInstruments, TheLegsOfAPairAreComparedByTheMoneyOfALot)
{
    // A price unit of 7 is 2 of money in a contract of 2 lots, as one of Near in a contract of 1.
    instruments.InsertFutures("F7", 7, 101, 1, 2, t_bprice(1), 1, InstrumentStatus::None, 2);
    instruments.InsertMultileg(60, Near, 1, 1);
    instruments.InsertMultileg(60, 7, 1, 2);
    instruments.InsertInstrument(4000, 60, OrdinaryMode, 1, 1, "LOTS");
    // Under the code "c" it is the money of the contract that counts, and that differs.
    EXPECT_EQ(FailureOf([&] { instruments.InsertInstrument(4001, 60, OrdinaryMode, 1, 1, "c"); }).code,
              Z9ERR_POSITION_CALCULATOR_DIFFERENT_FUTURES_MONEYCOEFF_IN_MULTILEG);
}

// Otherwise a deal in the spread would move its first leg alone.
TEST_F(TradingInstruments, OneThatCameBetweenTheLegsOfASpreadHasBoth)
{
    struct Case
    {
        unsigned char first;
        unsigned char second;
        const char* legs;
    };
    Isin spread = 60;
    for (const Case& c : {Case{1, 2, "[1 x -1][2 x 1]"}, Case{2, 1, "[2 x 1][1 x -1]"}}) {
        instruments.InsertInstrument(Trading(spread), spread, OrdinaryMode, 1, 1, "BEFORE BOTH");
        instruments.InsertMultileg(spread, Near, -1, c.first);
        instruments.InsertInstrument(2 * spread, spread, OrdinaryMode, 1, 1, "BETWEEN");
        EXPECT_EQ(Legs(instruments.getInstrumentTRD(2 * spread).instruments), "[1 x -1]");
        instruments.InsertMultileg(spread, Far, 1, c.second);
        EXPECT_EQ(Legs(instruments.GetConstInstruments().getMultileg(spread)->instruments), c.legs);
        EXPECT_EQ(Legs(instruments.getInstrumentTRD(2 * spread).instruments), c.legs);
        EXPECT_EQ(instruments.getInstrumentTRD(2 * spread).type, TradingInstrType::Multileg);
        EXPECT_THAT(instruments.getInstrumentTRD(Trading(spread)).instruments, IsEmpty()) << "its isin was nothing";
        EXPECT_EQ(Legs(instruments.getInstrumentTRD(Trading(Near)).instruments), "[1 x 1]");
        ++spread;
    }
}

TEST_F(TradingInstruments, ALegOfOtherMoneyIsRefusedWhereTheSpreadIsTradedAlready)
{
    InsertFutures(instruments, 8, 101, 1, 2, 1); // twice the money of Near
    instruments.InsertMultileg(60, Near, -1, 1);
    instruments.InsertInstrument(4000, 60, OrdinaryMode, 1, 1, "BETWEEN");
    const auto before = Snapshot(instruments);
    const Failure failure = FailureOf([&] { instruments.InsertMultileg(60, 8, 1, 2); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_DIFFERENT_FUTURES_MONEYCOEFF_IN_MULTILEG);
    EXPECT_THAT(failure.text, HasSubstr("Multileg isin: 60 FirstLeg: 1 SecondLeg: 8"));
    EXPECT_EQ(Snapshot(instruments), before);
    instruments.InsertMultileg(60, Far, 1, 2);
    EXPECT_EQ(Legs(instruments.getInstrumentTRD(4000).instruments), "[1 x -1][2 x 1]");
}

TEST_F(TradingInstruments, TheLastDigitsOfADivisionDoNotTellLegsApart)
{
    // 0.3 / 0.1 is not 3.0 / 1.0 in doubles.
    ASSERT_NE(0.3 / 0.1, 3.0 / 1.0);
    InsertFutures(instruments, 7, 101, 0.1, 0.3, 1);
    InsertFutures(instruments, 8, 101, 1.0, 3.0, 1);
    InsertFutures(instruments, 9, 101, 1.0, 3.000001, 1);
    instruments.InsertMultileg(60, 7, 1, 1);
    instruments.InsertMultileg(60, 8, 1, 2);
    instruments.InsertInstrument(4000, 60, OrdinaryMode, 1, 1, "SAME");
    instruments.InsertMultileg(61, 8, 1, 1);
    instruments.InsertMultileg(61, 9, 1, 2);
    EXPECT_EQ(FailureOf([&] { instruments.InsertInstrument(4001, 61, OrdinaryMode, 1, 1, "OTHER"); }).code,
              Z9ERR_POSITION_CALCULATOR_DIFFERENT_FUTURES_MONEYCOEFF_IN_MULTILEG);
}

TEST_F(TradingInstruments, LegsWithoutAStepHaveNoMoneyInCommon)
{
    InsertFutures(instruments, 7, 101, 0, 0, 1); // 0 / 0
    InsertFutures(instruments, 8, 101, 0, 0, 1);
    instruments.InsertMultileg(60, 7, 1, 1);
    instruments.InsertMultileg(60, 8, 1, 2);
    EXPECT_EQ(FailureOf([&] { instruments.InsertInstrument(4000, 60, OrdinaryMode, 1, 1, "NONE"); }).code,
              Z9ERR_POSITION_CALCULATOR_DIFFERENT_FUTURES_MONEYCOEFF_IN_MULTILEG);
}

TEST_F(TradingInstruments, ARateStandsUnderItsInstrument)
{
    instruments.InsertInstrumentsRate(Trading(Far), 2.5);
    const pos::SInstrTRD2& rate = instruments.GetCurrentInstrument().m_tradeinstruments.at(Trading(Far));
    EXPECT_EQ(rate.isin_clr, Far);
    EXPECT_EQ(rate.fixedFeeRate, 2.5);
    EXPECT_EQ(instruments.GetInstrumentsRate(Trading(Far)), &rate);
    EXPECT_EQ(instruments.GetInstrumentsRate(Trading(Near)), nullptr);
    instruments.UpdateInstrumentsRate(Trading(Far), 0.5);
    EXPECT_EQ(rate.fixedFeeRate, 0.5);
}

TEST_F(TradingInstruments, ARateThatIsNoneIsNothingWithAWarning)
{
    LogCapture log;
    instruments.InsertInstrumentsRate(Trading(Near), 0);
    EXPECT_THAT(log.Take(), IsEmpty()) << "free of charge is a rate";
    instruments.InsertInstrumentsRate(Trading(Far), -0.25);
    EXPECT_EQ(instruments.GetInstrumentsRate(Trading(Far))->fixedFeeRate, 0.0);
    EXPECT_THAT(log.Take(), ElementsAre("WARNING [QuindalIM] InsertInstrumentRate: fixedFeeRate has invalid value "
                                        "(-0.250000). Default value is used (0.000000)."));
    instruments.UpdateInstrumentsRate(Trading(Near), std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(instruments.GetInstrumentsRate(Trading(Near))->fixedFeeRate, 0.0);
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("InsertInstrumentRate: fixedFeeRate has invalid value (")));
}

TEST_F(TradingInstruments, TheFirstPartOfAnOrderIsNamedOnlyWhereTheModeLetsIt)
{
    EXPECT_EQ(instruments.getFirstPartPrice(Trading(Calendar), Price("7")), Price("100")) << "settlement of Near";
    EXPECT_EQ(instruments.getFirstPartPrice(CalendarNamingPrice1, Price("7")), Price("7"));
    instruments.UpdateFutures(Near, 0.25, t_bprice(98));
    EXPECT_EQ(instruments.getFirstPartPrice(Trading(Calendar), Price("7")), Price("98"));
}

TEST_F(TradingInstruments, ThePriceOfAPairIsTheDifferenceOfItsParts)
{
    EXPECT_EQ(instruments.getSwapPrice(Trading(Calendar), Price("100"), Price("103.5")), Price("3.5"));
    EXPECT_EQ(instruments.getSwapPrice(Trading(Calendar), Price("-100"), Price("-103.5")), Price("-3.5"));
    // Three at 67 against two at 100.
    EXPECT_EQ(instruments.getSwapPrice(Trading(Ratio), Price("100"), Price("67")), Price("1"));
    // The other way round than the second part.
    const t_bprice_int second =
        pos::CalcSecondPartPrice(TradingInstrType::Multileg, Price("-4.1"), Price("100"), 2, -3);
    EXPECT_EQ(instruments.getSwapPrice(Trading(Ratio), Price("100"), second), Price("-4.1"));
    EXPECT_EQ(FailureOf([&] {
                  (void)instruments.getSwapPrice(Trading(Ratio), Price("0"), t_bprice_int::FromPlain(Largest));
              }).code,
              Z9ERR_COMMON_OVERFLOW);
}

TEST_F(TradingInstruments, AfterClearAllTablesAreEmptyAndTheSameInsertsSucceed)
{
    instruments.InsertInstrumentsRate(Trading(Far), 2.5);
    const auto before = Snapshot(instruments);
    instruments.Clear();
    EXPECT_THAT(Snapshot(instruments), IsEmpty());
    InsertAll(instruments);
    instruments.InsertInstrumentsRate(Trading(Far), 2.5);
    EXPECT_EQ(Snapshot(instruments), before);
}

/// The tables of InsertAll as a host would keep them.
class Storage : public pos::IPositioningExternalStorage
{
public:
    [[nodiscard]] std::vector<pos::BaseContractRow> GetBaseContracts() const override
    {
        return {{101, false, 643}, {102, true, DollarCurrency}};
    }
    [[nodiscard]] std::vector<pos::TradeModeRow> GetTradeModes() const override
    {
        return {{OrdinaryMode, TradeModeStatus::Open, PriceType::Price, AuctionType::None, false, false, false},
                {Price1Mode, TradeModeStatus::Open, PriceType::Offset, AuctionType::Opening, true, true, true}};
    }
    [[nodiscard]] std::vector<pos::FuturesRow> GetFutures() const override
    {
        return {{"F4", Halves, 101, 2, 1, t_bprice(10), 0.25, InstrumentStatus::None, 1},
                {"F1", Near, 101, 1, 1, t_bprice(100), 0.25, InstrumentStatus::None, 1},
                {"F2", Far, 101, 0.5, 0.5, t_bprice(104), 0.25, InstrumentStatus::None, 1},
                {"F3", Dollars, 102, 0.01, 0.065, t_bprice(50), 0.25, InstrumentStatus::None, 1}};
    }
    [[nodiscard]] std::vector<pos::VirtFuturesRow> GetVirtFutures() const override
    {
        return {{"MARGIN", "F3", Enums::MarginStyle::Futures, 0.01, 0.065},
                {"PREMIUM", "F3", Enums::MarginStyle::Equity, 0.01, 0.065}};
    }
    [[nodiscard]] std::vector<pos::OptionRow> GetOptions() const override
    {
        return {{"O31", "MARGIN", MarginStyle, Enums::OptionType::Call, t_bprice(2.5)},
                {"O32", "PREMIUM", PremiumStyle, Enums::OptionType::Call, t_bprice(2.5)}};
    }
    [[nodiscard]] std::vector<pos::MultilegRow> GetMultilegs() const override
    {
        return {{Calendar, Near, -1, 1}, {Ratio, Near, 2, 1}, {Calendar, Far, 1, 2}, {Ratio, Far, -3, 2}};
    }
    [[nodiscard]] std::vector<pos::InstrumentRow> GetInstruments() const override
    {
        std::vector<pos::InstrumentRow> rows{{CalendarNamingPrice1, Calendar, Price1Mode, 0.01, 0.01, "T50"},
                                             {CalendarWithoutMode, Calendar, MissingMode, 0.01, 0.01, "T50"},
                                             {NoLegs, 99, OrdinaryMode, 0.01, 0.01, "T99"}};
        for (const Isin isin : {Near, Far, Dollars, Halves, MarginStyle, PremiumStyle, Calendar, Ratio})
            rows.push_back({Trading(isin), isin, OrdinaryMode, 0.01, 0.01, "T" + std::to_string(isin)});
        return rows;
    }
    [[nodiscard]] std::vector<pos::InstrumentsRateRow> GetInstrumentsRates() const override { return rates; }

    std::vector<pos::InstrumentsRateRow> rates;
};

TEST_F(TradingInstruments, AStorageLoadsTheSameAsTheInsertsOneByOne)
{
    PositionCalculatorInstruments loaded;
    loaded.Init(Storage());
    EXPECT_EQ(Snapshot(loaded), Snapshot(instruments));
    EXPECT_EQ(loaded.GetInstrFutures(Near)->cur_instr_params, &loaded.GetCurrentInstrument());

    Storage storage;
    storage.rates = {{Trading(Far), 2.5}};
    instruments.InsertInstrumentsRate(Trading(Far), 2.5);
    loaded.Init(storage);
    EXPECT_EQ(Snapshot(loaded), Snapshot(instruments)) << "in place of what stood there";
}

TEST_F(TradingInstruments, AStorageThatCannotBeLoadedLeavesAllAsItWas)
{
    instruments.InsertInstrumentsRate(Trading(Far), 2.5);
    const auto before = Snapshot(instruments);
    const pos::SInstrCLR* const near = &instruments.getInstrumentCLR(Near);
    Storage storage;
    storage.rates = {{Trading(Near), 1}, {4711, 2.5}}; // its very last row
    const Failure failure = FailureOf([&] { instruments.Init(storage); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_THAT(failure.text, HasSubstr("InstrumentID: 4711"));
    EXPECT_EQ(Snapshot(instruments), before);
    EXPECT_EQ(&instruments.getInstrumentCLR(Near), near) << "at its address";
    // The names that series look for are back too.
    instruments.InsertVirtFutures("NEW", "F1", Enums::MarginStyle::Futures, 1, 1);
}

} // namespace
} // namespace test::TradingInstrumentsTest
