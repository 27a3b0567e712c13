#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "AccountingMarket.h"

namespace test::PositionCalculatorInstrumentsTest {
namespace {

using accounting::Failure;
using accounting::FailureOf;
using accounting::NotANumber;
using Enums::InstrumentStatus;
using Enums::InstrumentType;
using pos::PositionCalculatorInstruments;
using testing::HasSubstr;

constexpr std::int32_t Silver = 7; // id of a base contract
constexpr Isin March = 21;         // futures on it
constexpr Isin Call = 31;          // option of the series SERIES on that

class Instruments : public testing::Test
{
protected:
    void InsertSilver() { instruments.InsertBaseContract(Silver, true, 840); }
    void InsertMarch(const t_bprice& price = t_bprice(25.5), double xlot = 10)
    {
        // One step of 0.01 is 6.5 of money.
        instruments.InsertFutures("SILV-3.27", March, Silver, 0.01, 6.5, price, 0.25, InstrumentStatus::TAS, xlot);
    }

    /// One step of 0.005 is 3.25 of money; the premium is paid up front.
    void InsertSeries()
    {
        instruments.InsertVirtFutures("SERIES", "SILV-3.27", Enums::MarginStyle::Equity, 0.005, 3.25);
    }
    void InsertCall(const t_bprice& price = t_bprice(26.5))
    {
        instruments.InsertOption("CALL", "SERIES", Call, Enums::OptionType::Call, price);
    }
    void InsertFamily()
    {
        InsertSilver();
        InsertMarch();
        InsertSeries();
        InsertCall();
    }

    PositionCalculatorInstruments instruments;
};

TEST_F(Instruments, ABaseContractStandsUnderItsId)
{
    InsertSilver();
    const auto& stored = instruments.GetConstInstruments().m_baseContracts.at(Silver);
    EXPECT_EQ(stored.isin, Silver);
    EXPECT_TRUE(stored.is_curr);
    EXPECT_EQ(stored.indicatorIndex, 840);
}

TEST_F(Instruments, ABaseContractIsNotInsertedTwice)
{
    InsertSilver();
    const Failure failure = FailureOf([&] { instruments.InsertBaseContract(Silver, false, 978); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_BASECONTRACT_ALREADY_EXISTS);
    EXPECT_THAT(failure.text, HasSubstr("Base Contract ID: 7"));
    EXPECT_TRUE(instruments.GetConstInstruments().m_baseContracts.at(Silver).is_curr) << "the first one stays";
}

TEST_F(Instruments, AFuturesKeepsWhatAccountingNeeds)
{
    InsertSilver();
    InsertMarch();
    const pos::SFutures* futures = instruments.GetInstrFutures(March);
    ASSERT_NE(futures, nullptr);
    EXPECT_EQ(futures->isin, March);
    EXPECT_EQ(futures->code, "SILV-3.27");
    EXPECT_EQ(futures->instrType, InstrumentType::Futures);
    EXPECT_EQ(futures->settlPriceReal, t_bprice_int(25.5));
    EXPECT_EQ(futures->getRealPrice(), t_bprice_int(25.5));
    EXPECT_EQ(futures->GetMarginStyle(), Enums::MarginStyle::Futures);
    EXPECT_EQ(futures->GetMinStep(), 0.01);
    EXPECT_EQ(futures->GetMinStepPrice(), 6.5);
    EXPECT_EQ(futures->timeToExpiration, 0.25);
    EXPECT_EQ(futures->xlot, 10);
    EXPECT_EQ(futures->baseContractID, Silver);
    EXPECT_EQ(futures->bc, &instruments.GetConstInstruments().m_baseContracts.at(Silver));
    EXPECT_EQ(futures->cur_instr_params, &instruments.GetCurrentInstrument());

    EXPECT_EQ(&instruments.getInstrumentCLR(March), futures);
    EXPECT_EQ(&instruments.getClearingInstrumentBaseContract(March), futures->bc);
    EXPECT_EQ(instruments.getClearingInstrumentType(March), InstrumentType::Futures);
    EXPECT_EQ(instruments.GetInstrTypes().at(March), InstrumentType::Futures);
    EXPECT_EQ(instruments.GetFuturesAttribute(March), InstrumentStatus::TAS);
}

TEST_F(Instruments, ASeriesStandsUnderItsCodeWithItsFutures)
{
    InsertFamily();
    const auto& series = instruments.GetCurrentInstrument().m_virtFutures;
    const auto found = series.find("SERIES");
    ASSERT_NE(found, series.end());
    EXPECT_EQ(found->second.codeFutures, "SILV-3.27");
    EXPECT_EQ(found->second.isinFutures, March);
    EXPECT_EQ(found->second.marginStyle, Enums::MarginStyle::Equity);
    EXPECT_EQ(found->second.minStep, 0.005);
    EXPECT_EQ(found->second.minStepPrice, 3.25);
    EXPECT_EQ(found->second.fut, instruments.GetInstrFutures(March));
}

TEST_F(Instruments, AnOptionTakesStyleAndStepsFromItsSeries)
{
    InsertFamily();
    const pos::SOption* option = instruments.GetInstrOption(Call);
    ASSERT_NE(option, nullptr);
    EXPECT_EQ(option->isin, Call);
    EXPECT_EQ(option->code, "CALL");
    EXPECT_EQ(option->codeVF, "SERIES");
    EXPECT_EQ(option->instrType, InstrumentType::Option);
    EXPECT_EQ(option->optType, Enums::OptionType::Call);
    EXPECT_EQ(option->calcOptPrice, t_bprice_int(26.5));
    EXPECT_EQ(option->cur_instr_params, &instruments.GetCurrentInstrument());
    EXPECT_EQ(option->virtFutures, &instruments.GetCurrentInstrument().m_virtFutures.find("SERIES")->second);

    const pos::SInstrCLR& instrument = instruments.getInstrumentCLR(Call);
    EXPECT_EQ(&instrument, option);
    EXPECT_EQ(instrument.getRealPrice(), t_bprice_int(26.5));
    EXPECT_EQ(instrument.GetMarginStyle(), Enums::MarginStyle::Equity);
    EXPECT_EQ(instrument.GetMinStep(), 0.005);
    EXPECT_EQ(instrument.GetMinStepPrice(), 3.25);

    EXPECT_EQ(instruments.getClearingInstrumentType(Call), InstrumentType::Option);
    EXPECT_EQ(instruments.getOptType(Call), Enums::OptionType::Call);
    EXPECT_EQ(instruments.getOptType(March), Enums::OptionType::Undefined);
    EXPECT_EQ(instruments.GetInstrOption(March), nullptr);
    EXPECT_EQ(instruments.getClearingInstrumentBaseContract(Call).isin, Silver);
    // The money of a price unit is that of the futures: 6.5 / 0.01 = 650, and 65 for one of its 10 units.
    EXPECT_DOUBLE_EQ(instruments.GetLotMoneyCoeff(Call, "c"), 650.0);
    EXPECT_DOUBLE_EQ(instruments.GetLotMoneyCoeff(Call, ""), 65.0);
}

TEST_F(Instruments, ASeriesNeedsItsFutures)
{
    InsertSilver();
    const Failure failure = FailureOf([&] { InsertSeries(); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND);
    EXPECT_THAT(failure.text, HasSubstr("Futures (SILV-3.27) not found while inserting virtual futures (SERIES)"));
    EXPECT_TRUE(instruments.GetCurrentInstrument().m_virtFutures.empty());
}

TEST_F(Instruments, ASeriesIsNotInsertedTwice)
{
    InsertFamily();
    // The repeat is told even when the futures is unknown too.
    const Failure failure =
        FailureOf([&] { instruments.InsertVirtFutures("SERIES", "NONE", Enums::MarginStyle::Futures, 1.0, 1.0); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS);
    EXPECT_THAT(failure.text, HasSubstr("VFCode: SERIES"));
    EXPECT_EQ(instruments.getInstrumentCLR(Call).GetMinStep(), 0.005) << "the first one stays";
}

TEST_F(Instruments, AnOptionNeedsItsSeries)
{
    InsertSilver();
    InsertMarch();
    const Failure failure = FailureOf([&] { InsertCall(); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND);
    EXPECT_THAT(failure.text, HasSubstr("Virtual Futures Code: SERIES"));
    EXPECT_EQ(instruments.GetInstrOption(Call), nullptr);
    EXPECT_EQ(instruments.GetInstrTypes().size(), 1u) << "the futures alone";
    EXPECT_TRUE(instruments.GetCurrentInstrument().m_virtFutures.empty());
}

TEST_F(Instruments, AnOptionIsNotInsertedTwice)
{
    InsertFamily();
    // The repeat is told even when the series is unknown too.
    const Failure failure =
        FailureOf([&] { instruments.InsertOption("OTHER", "NONE", Call, Enums::OptionType::Put, t_bprice(1)); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS);
    EXPECT_THAT(failure.text, HasSubstr("Option Isin: 31"));
    EXPECT_EQ(instruments.GetInstrOption(Call)->code, "CALL");
    EXPECT_EQ(instruments.getOptType(Call), Enums::OptionType::Call);
}

TEST_F(Instruments, AnOptionWithoutAPriceLeavesNothingBehind)
{
    InsertSilver();
    InsertMarch();
    InsertSeries();
    EXPECT_EQ(FailureOf([&] { InsertCall(NotANumber()); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(instruments.GetInstrOption(Call), nullptr);
    EXPECT_EQ(instruments.getClearingInstrumentType(Call), InstrumentType::Undefined);
    InsertCall();
    EXPECT_NE(instruments.GetInstrOption(Call), nullptr);
}

TEST_F(Instruments, WhatIsTakenBackMayComeAgain)
{
    InsertFamily();
    instruments.RemoveOption(Call);
    EXPECT_EQ(instruments.GetInstrOption(Call), nullptr);
    EXPECT_EQ(instruments.getClearingInstrumentType(Call), InstrumentType::Undefined);
    instruments.RemoveVirtFutures("SERIES");
    EXPECT_TRUE(instruments.GetCurrentInstrument().m_virtFutures.empty());
    instruments.RemoveFutures(March);
    EXPECT_EQ(FailureOf([&] { InsertSeries(); }).code, Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND);
    // What is not there is not missed.
    instruments.RemoveOption(Call);
    instruments.RemoveVirtFutures("SERIES");
    instruments.RemoveFutures(March);

    InsertMarch();
    InsertSeries();
    InsertCall();
    EXPECT_EQ(instruments.GetInstrOption(Call)->virtFutures->fut, instruments.GetInstrFutures(March));
}

TEST_F(Instruments, AFuturesIsAFuturesAgainWhenAnOptionOfItsIsinIsTakenBack)
{
    InsertFamily();
    instruments.InsertOption("SILV-3.27", "SERIES", March, Enums::OptionType::Put, t_bprice(1));
    EXPECT_EQ(instruments.getClearingInstrumentType(March), InstrumentType::Option);
    instruments.RemoveOption(March);
    EXPECT_EQ(instruments.getClearingInstrumentType(March), InstrumentType::Futures);
    EXPECT_EQ(&instruments.getInstrumentCLR(March), instruments.GetInstrFutures(March));
}

TEST_F(Instruments, AFuturesNeedsItsBaseContract)
{
    const Failure failure = FailureOf([&] { InsertMarch(); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_BASECONTRACT_NOT_FOUND);
    EXPECT_THAT(failure.text, HasSubstr("Base Contract (id 7) not found while inserting futures (SILV-3.27)"));
    EXPECT_EQ(instruments.GetInstrFutures(March), nullptr);
    EXPECT_TRUE(instruments.GetInstrTypes().empty());
    EXPECT_TRUE(instruments.GetCurrentInstrument().m_futures.empty());
}

TEST_F(Instruments, AFuturesIsNotInsertedTwice)
{
    InsertSilver();
    InsertMarch();
    // The repeat is told even when the base contract is unknown too.
    const Failure failure = FailureOf(
        [&] { instruments.InsertFutures("OTHER", March, 999, 1, 1, t_bprice(1), 1, InstrumentStatus::None, 1); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS);
    EXPECT_THAT(failure.text, HasSubstr("Futures (OTHER) already exists with isin (21)"));
    EXPECT_EQ(instruments.GetInstrFutures(March)->code, "SILV-3.27");
    EXPECT_EQ(instruments.GetInstrFutures(March)->settlPriceReal, t_bprice_int(25.5));
}

TEST_F(Instruments, AFuturesWithoutAPriceLeavesNothingBehind)
{
    InsertSilver();
    EXPECT_EQ(FailureOf([&] { InsertMarch(NotANumber()); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(instruments.GetInstrFutures(March), nullptr);
    EXPECT_TRUE(instruments.GetInstrTypes().empty());
    InsertMarch();
    EXPECT_NE(instruments.GetInstrFutures(March), nullptr);
}

TEST_F(Instruments, AnUpdateStoresTimeAndPriceOnly)
{
    InsertSilver();
    InsertMarch();
    instruments.UpdateFutures(March, 0.125, t_bprice(-1.00001));
    const pos::SFutures* futures = instruments.GetInstrFutures(March);
    EXPECT_EQ(futures->settlPriceReal.AsPlain(), -100001);
    EXPECT_EQ(futures->timeToExpiration, 0.125);
    EXPECT_EQ(futures->minStep, 0.01);

    EXPECT_EQ(FailureOf([&] { instruments.UpdateFutures(March, 9, NotANumber()); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(futures->settlPriceReal.AsPlain(), -100001);
    EXPECT_EQ(futures->timeToExpiration, 0.125);
}

TEST_F(Instruments, AnUpdateOfAnOptionStoresItsPriceOnly)
{
    InsertFamily();
    instruments.UpdateOption(Call, t_bprice(0.00001));
    EXPECT_EQ(instruments.GetInstrOption(Call)->calcOptPrice.AsPlain(), 1);
    EXPECT_EQ(instruments.getInstrumentCLR(Call).getRealPrice().AsPlain(), 1);

    EXPECT_EQ(FailureOf([&] { instruments.UpdateOption(Call, NotANumber()); }).code, Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(instruments.GetInstrOption(Call)->calcOptPrice.AsPlain(), 1);
    const Failure unknown = FailureOf([&] { instruments.UpdateOption(March, t_bprice(1)); });
    EXPECT_EQ(unknown.code, Z9ERR_POSITION_CALCULATOR_OPTION_NOT_FOUND);
    EXPECT_THAT(unknown.text, HasSubstr("Isin: 21"));
}

TEST_F(Instruments, AnUpdateOfASeriesStoresTheMoneyOfItsStep)
{
    InsertFamily();
    instruments.UpdateVirtFutures("SERIES", 4.5);
    EXPECT_EQ(instruments.getInstrumentCLR(Call).GetMinStepPrice(), 4.5) << "its options see it at once";
    EXPECT_EQ(instruments.getInstrumentCLR(Call).GetMinStep(), 0.005);
    const Failure unknown = FailureOf([&] { instruments.UpdateVirtFutures("NONE", 1.0); });
    EXPECT_EQ(unknown.code, Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND);
    EXPECT_THAT(unknown.text, HasSubstr("Virtual Futures Code: NONE"));
}

TEST_F(Instruments, UnknownIsinsAreToldByEachLookup)
{
    const Failure update = FailureOf([&] { instruments.UpdateFutures(5, 1, t_bprice(1)); });
    EXPECT_EQ(update.code, Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND);
    EXPECT_THAT(update.text, HasSubstr("Isin: 5"));
    const Failure instrument = FailureOf([&] { (void)instruments.getInstrumentCLR(6); });
    EXPECT_EQ(instrument.code, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_THAT(instrument.text, HasSubstr("Isin: 6"));
    EXPECT_EQ(FailureOf([&] { (void)instruments.getClearingInstrumentBaseContract(6); }).code,
              Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_EQ(FailureOf([&] { (void)instruments.GetFuturesAttribute(6); }).code,
              Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND);
    EXPECT_EQ(instruments.getClearingInstrumentType(6), InstrumentType::Undefined);
    EXPECT_EQ(instruments.GetInstrFutures(6), nullptr);
}

TEST_F(Instruments, TheMoneyOfAPriceUnitIsPerContractOrPerLot)
{
    InsertSilver();
    InsertMarch();
    // 6.5 / 0.01 = 650 of money for one unit of price; a contract of 10 units of silver: 65 each.
    EXPECT_DOUBLE_EQ(instruments.GetLotMoneyCoeff(March, "c"), 650.0);
    EXPECT_DOUBLE_EQ(instruments.GetLotMoneyCoeff(March, ""), 65.0);
    EXPECT_DOUBLE_EQ(instruments.GetLotMoneyCoeff(March, "cc"), 65.0);
    const Failure failure = FailureOf([&] { (void)instruments.GetLotMoneyCoeff(1, "c"); });
    EXPECT_EQ(failure.code, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_THAT(failure.text, HasSubstr("Isin: 1"));
}

TEST_F(Instruments, ALotOfNothingCannotDivideTheMoney)
{
    InsertSilver();
    InsertMarch(t_bprice(25.5), 0.99e-10);
    EXPECT_EQ(FailureOf([&] { (void)instruments.GetLotMoneyCoeff(March, ""); }).code,
              Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO);
    EXPECT_DOUBLE_EQ(instruments.GetLotMoneyCoeff(March, "c"), 650.0) << "the contract's own money needs no lot";
}

TEST_F(Instruments, AfterClearTheSameInsertsSucceed)
{
    InsertFamily();
    instruments.Clear();
    EXPECT_TRUE(instruments.GetConstInstruments().m_baseContracts.empty());
    EXPECT_TRUE(instruments.GetCurrentInstrument().m_futures.empty());
    EXPECT_TRUE(instruments.GetCurrentInstrument().m_virtFutures.empty());
    EXPECT_TRUE(instruments.GetCurrentInstrument().m_options.empty());
    EXPECT_TRUE(instruments.GetInstrTypes().empty());
    InsertSilver();
    EXPECT_EQ(FailureOf([&] { InsertSeries(); }).code, Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND);
    InsertMarch();
    InsertSeries();
    InsertCall();
    EXPECT_NE(instruments.GetInstrFutures(March), nullptr);
    EXPECT_NE(instruments.GetInstrOption(Call), nullptr);
}

TEST_F(Instruments, StayAtTheirAddressesWhileOthersAreInserted)
{
    InsertFamily();
    const pos::SOption* const option = instruments.GetInstrOption(Call);
    const pos::SVirtFutures* const series = option->virtFutures;
    const pos::SFutures* const futures = instruments.GetInstrFutures(March);
    const pos::SBaseContract* const baseContract = futures->bc;
    for (int i = 0; i < 5000; ++i) {
        instruments.InsertBaseContract(1000 + i, false, 0);
        const std::string code = std::to_string(i);
        instruments.InsertFutures(code, 10000 + i, 1000 + i, 1, 1, t_bprice(1), 1, InstrumentStatus::None, 1);
        instruments.InsertVirtFutures(code, code, Enums::MarginStyle::Futures, 1, 1);
        instruments.InsertOption(code, code, 20000 + i, Enums::OptionType::Put, t_bprice(1));
    }
    EXPECT_EQ(instruments.GetInstrOption(Call), option);
    EXPECT_EQ(&instruments.GetCurrentInstrument().m_virtFutures.find("SERIES")->second, series);
    EXPECT_EQ(instruments.getClearingInstrumentBaseContract(20123).isin, 1123);
    EXPECT_EQ(instruments.GetInstrFutures(March), futures);
    EXPECT_EQ(&instruments.GetConstInstruments().m_baseContracts.at(Silver), baseContract);
    EXPECT_EQ(instruments.GetInstrFutures(10123)->bc->isin, 1123);
}

} // namespace
} // namespace test::PositionCalculatorInstrumentsTest
