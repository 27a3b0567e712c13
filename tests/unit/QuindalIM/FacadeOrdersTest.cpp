// Orders and changed clients through the exports: checks in their order, the price, the outputs, the trace.
#include <cstdint>
#include <limits>
#include <string>

#include <gmock/gmock.h>

#include "Client.h"
#include "ExportCalls.h"
#include "FacadeFixture.h"
#include "LibraryState.h"
#include "ParticipantRepository.h"
#include "TradingCodes.h"

namespace test::FacadeOrdersTest {
namespace {

using calls::Margins;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// BC with FUT, whose grid is 900, 1000, 1100 and whose settlement price is 1000: a contract bought at a price P near
/// that loses P - 900 at worst and one sold at P loses 1100 - P. Account ACC, firm AA00, clients AA00001 and AA00002.
class FacadeOrdersTest : public CalculatorTest
{
protected:
    FacadeOrdersTest()
    {
        EXPECT_EQ(calls::BaseContract(calc, "BC"), 0);
        EXPECT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
        EXPECT_EQ(calls::Account(calc, "ACC"), 0);
        EXPECT_EQ(calls::Firm(calc, "AA00", "ACC"), 0);
        EXPECT_EQ(calls::Part(calc, "AA00001"), 0);
        EXPECT_EQ(calls::Part(calc, "AA00002"), 0);
        static_cast<void>(log.Take());
        TheLink().steps.clear();
    }

    /// What the client's GO is by now; an order of no contracts changes nothing.
    [[nodiscard]] double Present(const char* client = "AA00001") const
    {
        Margins margins;
        EXPECT_EQ(calls::Order(calc, client, "FUT", 1, 1000.0, 0, margins), 0);
        return margins.part;
    }

    /// Parameters of AA00001 as the library holds them.
    [[nodiscard]] static ClientRiskParameters Parameters()
    {
        const ClientCode code = CodeParser<ClientCode>("AA00001").Parse();
        return QuindalIM::GetParticipantRepositoryForQuindaIM().GetClient(code).GetRiskParameters();
    }

    static constexpr std::int32_t buy = 1;
    static constexpr std::int32_t sell = 0;
};

TEST_F(FacadeOrdersTest, AnOrderGivesTheThreeFiguresOfTheClientAndZeroForTheOtherTwo)
{
    Margins margins;
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.0, 10, margins), 0);
    // Ten contracts, each of which would lose 100 at the lowest price of the grid.
    EXPECT_NEAR(margins.volatility, 1000.0, 1e-9);
    EXPECT_NEAR(margins.delivery, 1000.0, 1e-9);
    EXPECT_EQ(margins.part, 1000.0);
    EXPECT_EQ(margins.firm, 0.0);
    EXPECT_EQ(margins.account, 0.0);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_THAT(TraceOf("ChangeOrder"),
                ElementsAre("00,,ChangeOrder," + Handle() +
                            ",@Code='AA00001',@InstrCode='FUT',@IsBuy=1,@Price= 1000.000000,@DeltaQuantity=10,"
                            "@VolatilityPartGO= 1000.000000,@DeliveryAndVolatilityPartGO= 1000.000000,@PartGO= "
                            "1000.000000,@FirmGO=           0,@SettlementAccountGO=           0"));
}

TEST_F(FacadeOrdersTest, AnyNumberButZeroBuys)
{
    Margins margins;
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1050.0, 1, margins), 0);
    EXPECT_EQ(margins.part, 150.0); // 1050 - 900
    ASSERT_EQ(calls::Order(calc, "AA00002", "FUT", -7, 1050.0, 1, margins), 0);
    EXPECT_EQ(margins.part, 150.0);
    ASSERT_EQ(calls::Part(calc, "AA00003"), 0);
    ASSERT_EQ(calls::Order(calc, "AA00003", "FUT", sell, 1020.0, 1, margins), 0);
    EXPECT_EQ(margins.part, 80.0); // 1100 - 1020
}

TEST_F(FacadeOrdersTest, BuysAndSellsDoNotSetEachOtherOff)
{
    Margins margins;
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.0, 3, margins), 0);
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", sell, 1000.0, 2, margins), 0);
    EXPECT_EQ(margins.part, 300.0); // either side may be executed alone: three buys at 900, or two sells at 1100
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", sell, 1000.0, 2, margins), 0);
    EXPECT_EQ(margins.part, 400.0); // four sells
}

TEST_F(FacadeOrdersTest, AnOrderThatWouldCloseAPositionDoesNotLowerItsMargin)
{
    Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", 10, 1000.0, margins), 0);
    EXPECT_EQ(margins.part, 1000.0);
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", sell, 1000.0, 4, margins), 0);
    EXPECT_EQ(margins.part, 1000.0);
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.0, 4, margins), 0);
    EXPECT_EQ(margins.part, 1400.0);
}

TEST_F(FacadeOrdersTest, WhatIsCancelledLeavesTheFiguresAsTheyWereAndNoContractsChangeNothing)
{
    Margins before;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", -3, 1010.0, before), 0);
    EXPECT_EQ(before.part, 270.0); // 3 x (1100 - 1010)
    Margins with;
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", sell, 1002.5, 8, with), 0);
    EXPECT_EQ(with.part, 1050.0); // 8 x (1100 - 1002.5) beside it
    EXPECT_EQ(Present(), 1050.0);
    Margins after;
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", sell, 1002.5, -8, after), 0);
    EXPECT_EQ(after.part, before.part);
    EXPECT_NEAR(after.volatility, before.volatility, 1e-9 * before.volatility);
    EXPECT_NEAR(after.delivery, before.delivery, 1e-9 * before.delivery);
}

TEST_F(FacadeOrdersTest, APriceOfZeroIsTheCalculatedPriceOfAFutures)
{
    ASSERT_EQ(calls::Futures(calc, "FUT2", "BC", "", 1040.0), 0); // grid from 940 to 1140 around its own price
    for (const double zero : {0.0, -0.0}) {
        Margins margins;
        ASSERT_EQ(calls::Order(calc, "AA00001", "FUT2", buy, zero, 1, margins), 0);
        EXPECT_EQ(margins.part, 100.0); // 1040 - 940
        ASSERT_EQ(calls::Order(calc, "AA00001", "FUT2", buy, 1040.0, -1, margins), 0) << "the same entry";
        EXPECT_EQ(margins.part, 0.0);
    }
}

TEST_F(FacadeOrdersTest, APriceOfZeroIsTheCalculatedPriceOfAnOption)
{
    ASSERT_EQ(calls::OptionSeries(calc, "SER", "FUT"), 0);
    ASSERT_EQ(calls::Option(calc, "CALL", "SER", 1000.0, QUINDAL_OPTION_TYPE_CALL, 37.25), 0);
    Margins implied;
    Margins stated;
    ASSERT_EQ(calls::Order(calc, "AA00001", "CALL", sell, 0.0, 2, implied), 0);
    ASSERT_EQ(calls::Order(calc, "AA00002", "CALL", sell, 37.25, 2, stated), 0);
    EXPECT_EQ(implied, stated);
    EXPECT_GT(implied.part, 0.0);
    ASSERT_EQ(calls::Order(calc, "AA00001", "CALL", sell, 37.25, -2, implied), 0);
    EXPECT_EQ(implied.part, 0.0) << "the same entry";
}

// The price of an order in a trade-at-settlement futures is an offset, and yet 0.0 stands for the calculated price.
TEST_F(FacadeOrdersTest, APriceOfZeroIsTheCalculatedPriceOfATASFuturesTooAndTheSmallestPriceIsNoOffset)
{
    ASSERT_EQ(calls::Futures(calc, "TAS", "BC", "FUT"), 0);
    Margins margins;
    ASSERT_EQ(calls::Order(calc, "AA00001", "TAS", buy, 0.0, 1, margins), 0);
    EXPECT_EQ(margins.part, 1100.0); // bought at 1000 + 1000, worth 900
    ASSERT_EQ(calls::Order(calc, "AA00002", "TAS", buy, 0.000001, 1, margins), 0);
    EXPECT_EQ(margins.part, 100.0); // bought at 1000 + 0
    ASSERT_EQ(calls::Order(calc, "AA00002", "TAS", buy, 5.0, 1, margins), 0);
    EXPECT_EQ(margins.part, 205.0); // and one at 1000 + 5
}

TEST_F(FacadeOrdersTest, APriceHasFiveDecimalsWithHalvesAwayFromZero)
{
    Margins margins;
    // 1000 and a 64th is 1000.015625 exactly: 1000.01563.
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.015625, 1, margins), 0);
    EXPECT_NEAR(margins.volatility, 100.01563, 1e-9);
    EXPECT_EQ(margins.part, 100.02) << "up to the cent";
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.01563, -1, margins), 0) << "the same entry";
    EXPECT_EQ(margins.part, 0.0);
}

TEST_F(FacadeOrdersTest, APriceThatIsNoNumberOrTooLargeIsRefusedBeforeTheClientIsLookedFor)
{
    Margins margins;
    EXPECT_EQ(calls::Order(calc, "AA00001", "FUT", buy, notANumber, 1, margins), 2);
    EXPECT_EQ(calls::Order(calc, "AA00001", "FUT", buy, std::numeric_limits<double>::infinity(), 1, margins), 14);
    EXPECT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1e11, 1, margins), 14) << "twelve digits before the point";
    EXPECT_EQ(calls::Order(calc, "AA00009", "FUT", buy, notANumber, 1, margins), 2);
    EXPECT_EQ(margins, Margins());
    EXPECT_EQ(Present(), 0.0);
    EXPECT_THAT(log.Take(),
                testing::AllOf(SizeIs(4), testing::Each(StartsWith("ERROR [QuindalIM] Caught exception while executing "
                                                                   "function ChangeOrder: 'ErrorCode: "))));
}

TEST_F(FacadeOrdersTest, AMultilegNeedsItsPriceSinceItHasNoCalculatedOne)
{
    ASSERT_EQ(calls::Futures(calc, "M-1", "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "M-2", "BC"), 0);
    ASSERT_EQ(InsertMultileg(calc, "M-1-2"), 0);
    Margins margins;
    EXPECT_EQ(calls::Order(calc, "AA00001", "M-1-2", buy, 0.0, 1, margins), 2);
    EXPECT_EQ(margins, Margins());
    EXPECT_THAT(TraceOf("ChangeOrder").back(),
                AllOf(StartsWith("02,"), EndsWith(",ChangeOrder," + Handle() +
                                                  ",@Code='AA00001',@InstrCode='M-1-2',@IsBuy=1,"
                                                  "@Price=           0,@DeltaQuantity=1")));
    EXPECT_EQ(Present(), 0.0);
    EXPECT_EQ(calls::Order(calc, "AA00001", "M-1-2", buy, 0.000001, 1, margins), 0) << "a price of nothing";
}

TEST_F(FacadeOrdersTest, AMultilegTakesOrdersIntoItsLegsAndHasNoPosition)
{
    ASSERT_EQ(calls::Futures(calc, "M-1", "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "M-2", "BC"), 0);
    ASSERT_EQ(InsertMultileg(calc, "M-1-2"), 0);
    Margins margins;
    ASSERT_EQ(calls::Order(calc, "AA00001", "M-1-2", buy, 5.0, 2, margins), 0);
    // Legs that do not net: two contracts of the first sold at 1000 lose 100 each at 1100, two of the second bought 5
    // above that lose 105 each at 900.
    EXPECT_EQ(margins.part, 410.0);
    ASSERT_EQ(calls::Order(calc, "AA00001", "M-1-2", sell, 5.0, 1, margins), 0);
    EXPECT_EQ(margins.part, 410.0) << "one contract of either the other way, 100 and 95, is less";
    ASSERT_EQ(calls::Position(calc, "AA00001", "M-1-2", 9, 5.0, margins), 0);
    EXPECT_EQ(margins.part, 410.0);
    ASSERT_EQ(calls::Order(calc, "AA00001", "M-1-2", buy, 5.0, -2, margins), 0);
    EXPECT_EQ(margins.part, 195.0);
}

TEST_F(FacadeOrdersTest, UnknownInstrumentsAndCodesThatCarryNoOrderHaveCodesOfTheirOwn)
{
    ASSERT_EQ(calls::Futures(calc, "TAS", "BC", "NAMED ONLY"), 0);
    Margins margins;
    EXPECT_EQ(calls::Order(calc, "AA00001", "nothing", buy, 1.0, 1, margins), 94813);
    EXPECT_EQ(calls::Order(calc, "AA00009", "nothing", buy, notANumber, 1, margins), 94813) << "the instrument first";
    EXPECT_EQ(calls::Order(calc, "AA00001", "BC", buy, 1.0, 1, margins), 94260);
    EXPECT_EQ(calls::Order(calc, "AA00001", "NAMED ONLY", buy, 1.0, 1, margins), 94260);
    EXPECT_EQ(calls::Order(calc, "AA00009", "FUT", buy, 1.0, 1, margins), 94309);
    EXPECT_EQ(calls::Order(calc, "BB00001", "FUT", buy, 1.0, 1, margins), 94312);
    EXPECT_EQ(margins, Margins());
    EXPECT_EQ(TraceOf("ChangeOrder").front(), "94813,QuindalIM not found,ChangeOrder," + Handle() +
                                                  ",@Code='AA00001',@InstrCode='nothing',@IsBuy=1,"
                                                  "@Price=    1.000000,@DeltaQuantity=1");
}

TEST_F(FacadeOrdersTest, ACodeOfAnotherLengthIsNoMatterOfThisExportButOfTheCode)
{
    Margins margins;
    EXPECT_EQ(calls::Order(calc, "AA0000", "FUT", buy, 1000.0, 1, margins), 2);
    EXPECT_EQ(margins, Margins());
    EXPECT_THAT(log.Take(), ElementsAre(AllOf(HasSubstr("executing function ChangeOrder: '"),
                                              HasSubstr("Invalid code length: 6, from source: '"))));
}

TEST_F(FacadeOrdersTest, ALostConnectionIsToldBeforeTheHandleIsLookedAtAndChangesNothing)
{
    Margins margins;
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.0, 2, margins), 0);
    TheLink().ping = false;
    Margins refused;
    EXPECT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.0, 5, refused), 94820);
    EXPECT_EQ(calls::Order(0, "AA00001", "nothing", buy, notANumber, 5, refused), 94820);
    EXPECT_EQ(refused, Margins());
    EXPECT_THAT(log.Take(),
                AllOf(SizeIs(2), testing::Each(AllOf(HasSubstr("ERROR [QuindalIM] ChangeOrder: Check connection "
                                                               "failed: the test says so ("),
                                                     HasSubstr(" (code 94820)")))));
    EXPECT_EQ(TraceOf("ChangeOrder").at(1), "94820,QuindalIM is not connected,ChangeOrder," + Handle() +
                                                ",@Code='AA00001',@InstrCode='FUT',@IsBuy=1,"
                                                "@Price= 1000.000000,@DeltaQuantity=5");
    TheLink().ping = true;
    EXPECT_EQ(Present(), 200.0);
    EXPECT_EQ(calls::Order(0, "AA00001", "FUT", buy, 1000.0, 5, refused), 94811) << "then the handle";
}

TEST_F(FacadeOrdersTest, PointersAreLookedAtInTheOrderOfTheSignatureBeforeThePing)
{
    double go[5] = {};
    const auto changeOrder = [&](const char* code, const char* instrument, int nullOutput) {
        double* outputs[5];
        for (int i = 0; i < 5; ++i)
            outputs[i] = i == nullOutput ? nullptr : &go[i];
        EXPECT_EQ(ChangeOrder(calc, code, instrument, buy, 0.0, 1, outputs[0], outputs[1], outputs[2], outputs[3],
                              outputs[4]),
                  94811);
        return log.Take().at(0);
    };
    EXPECT_EQ(changeOrder(nullptr, nullptr, 0), "ERROR [QuindalIM] ChangeOrder: Code is null");
    EXPECT_EQ(changeOrder("AA00001", nullptr, 0), "ERROR [QuindalIM] ChangeOrder: InstrCode is null");
    const char* const names[5] = {"VolatilityPartGO", "DeliveryAndVolatilityPartGO", "PartGO", "FirmGO",
                                  "SettlementAccountGO"};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(changeOrder("AA00001", "FUT", i),
                  std::string("ERROR [QuindalIM] ChangeOrder: ") + names[i] + " is null");
    EXPECT_THAT(TheLink().steps, IsEmpty()) << "nobody was pinged";
}

TEST_F(FacadeOrdersTest, EveryOrderPingsOnce)
{
    Margins margins;
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.0, 1, margins), 0);
    ASSERT_EQ(calls::Order(calc, "AA00001", "nothing", buy, 1000.0, 1, margins), 94813);
    EXPECT_THAT(TheLink().steps, ElementsAre("CheckPing", "CheckPing"));
}

// So a host may have the link looked at while nothing else waits.
TEST_F(FacadeOrdersTest, AnOrderOfNoContractsPingsToo)
{
    EXPECT_EQ(Present(), 0.0);
    EXPECT_THAT(TheLink().steps, ElementsAre("CheckPing"));
    EXPECT_THAT(log.Take(), IsEmpty());
    TheLink().ping = false;
    Margins margins;
    EXPECT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 1000.0, 0, margins), 94820);
}

TEST_F(FacadeOrdersTest, AChangedClientIsMarginedByItsNewParameters)
{
    Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", 10, 990.0, margins), 0);
    ASSERT_EQ(calls::Order(calc, "AA00001", "FUT", buy, 980.0, 10, margins), 0);
    EXPECT_EQ(margins.part, 1700.0); // 10 x (990 - 900) and 10 x (980 - 900)
    ASSERT_EQ(ChangePart(calc, "AA00001", 1, 0, 0.5), 0);
    EXPECT_EQ(Present(), 2000.0); // neither is valued better than at 1000
    ASSERT_EQ(ChangePart(calc, "AA00001", -3, 0, 0.5), 0) << "any number but zero is a yes";
    EXPECT_EQ(Present(), 2000.0);
    ASSERT_EQ(ChangePart(calc, "AA00001", 0, 0, 0.5), 0);
    EXPECT_EQ(Present(), 1700.0);
    EXPECT_EQ(Present("AA00002"), 0.0) << "nobody else";
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(TraceOf("ChangePart").front(),
              "00,,ChangePart," + Handle() +
                  ",@Code='AA00001',@NoFutDiscount=1,@NClr2Delivery=0,@ExpWeight=    0.500000");
}

TEST_F(FacadeOrdersTest, AChangeOfAClientIsNotChecked)
{
    ASSERT_EQ(ChangePart(calc, "AA00001", 1, -5, 9.99), 0);
    EXPECT_EQ(Parameters().nClr2Delivery, -5);
    EXPECT_EQ(Parameters().expWeight.AsPlain(), 999);
    EXPECT_TRUE(Parameters().noFutDiscount);
    // Hundredths with halves away from zero: 0.125 and -0.125 are halves exactly.
    ASSERT_EQ(ChangePart(calc, "AA00001", 0, 3, 0.125), 0);
    EXPECT_EQ(Parameters().nClr2Delivery, 3);
    EXPECT_EQ(Parameters().expWeight.AsPlain(), 13);
    EXPECT_FALSE(Parameters().noFutDiscount);
    ASSERT_EQ(ChangePart(calc, "AA00001", 0, 3, -0.125), 0);
    EXPECT_EQ(Parameters().expWeight.AsPlain(), -13);
    EXPECT_THAT(log.Take(), IsEmpty()) << "nothing is repaired";
}

TEST_F(FacadeOrdersTest, AWeightThatDoesNotFitGivesItsCodeWithoutAWordAndChangesNothing)
{
    EXPECT_EQ(ChangePart(calc, "AA00001", 1, 7, 10.0), 14);
    EXPECT_EQ(ChangePart(calc, "AA00001", 1, 7, -10.0), 14);
    EXPECT_EQ(ChangePart(calc, "AA00001", 1, 7, notANumber), 2);
    EXPECT_EQ(Parameters().nClr2Delivery, 0);
    EXPECT_EQ(Parameters().expWeight.AsPlain(), 50);
    EXPECT_FALSE(Parameters().noFutDiscount);
    EXPECT_THAT(log.Take(), IsEmpty()) << "the failure is caught where the client is changed, not by the frame";
    EXPECT_THAT(TraceOf("ChangePart").front(), AllOf(StartsWith("14,"), HasSubstr(",ChangePart," + Handle())));
}

TEST_F(FacadeOrdersTest, AClientThatIsNotThereIsNotChanged)
{
    EXPECT_EQ(ChangePart(calc, "AA00009", 0, 0, 0.5), 94718);
    EXPECT_EQ(ChangePart(calc, "BB00001", 0, 0, 0.5), 94718) << "an unknown firm, too";
    EXPECT_EQ(ChangePart(calc, "BB00001", 0, 0, notANumber), 94718) << "before the weight is looked at";
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(FacadeOrdersTest, TheLengthOfAClientsCodeIsLookedAtBeforeTheHandle)
{
    EXPECT_EQ(ChangePart(calc, nullptr, 0, 0, 0.5), 94811);
    EXPECT_EQ(ChangePart(0, "AA0000", 0, 0, 0.5), 94811);
    EXPECT_EQ(ChangePart(calc, "AA000011", 0, 0, 0.5), 94811);
    EXPECT_EQ(ChangePart(calc, "", 0, 0, 0.5), 94811);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] ChangePart: Code is null",
                                        "ERROR [QuindalIM] ChangePart: Length of Code must be 7 symbols",
                                        "ERROR [QuindalIM] ChangePart: Length of Code must be 7 symbols",
                                        "ERROR [QuindalIM] ChangePart: Length of Code must be 7 symbols"));
    EXPECT_EQ(ChangePart(0, "AA00001", 0, 0, 0.5), 94811) << "then the handle";
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("QuindalIMCalculator can't be a null")));
    EXPECT_THAT(TheLink().steps, IsEmpty()) << "and nobody is pinged";
}

} // namespace
} // namespace test::FacadeOrdersTest
