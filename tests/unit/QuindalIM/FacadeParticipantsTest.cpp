// Participants and positions through the exports: checks in their order, the limit of clients, the ping, the outputs.
#include <cstdint>
#include <limits>
#include <string>

#include <gmock/gmock.h>

#include "ExportCalls.h"
#include "FacadeFixture.h"

namespace test::FacadeParticipantsTest {
namespace {

using calls::Margins;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class FacadeParticipantsTest : public CalculatorTest
{
protected:
    /// BC with FUT, account ACC, firm AA00, client AA00001.
    void BuildTree()
    {
        ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
        ASSERT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
        ASSERT_EQ(calls::Account(calc, "ACC", QUINDAL_MARGIN_RULE_GROSS), 0);
        ASSERT_EQ(calls::Firm(calc, "AA00", "ACC"), 0);
        ASSERT_EQ(calls::Part(calc, "AA00001"), 0);
        static_cast<void>(log.Take());
        TheLink().steps.clear();
    }
};

TEST_F(FacadeParticipantsTest, CodesOfAnotherLengthAreRefusedWithTheirMessage)
{
    EXPECT_EQ(calls::Firm(calc, "AA0"), 94811);
    EXPECT_EQ(calls::Firm(calc, "AA001"), 94811);
    EXPECT_EQ(calls::Part(calc, "AA0000"), 94811);
    EXPECT_EQ(calls::Part(calc, ""), 94811);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] RegisterFirm: Length of BrokerCode must be 4 symbols",
                                        "ERROR [QuindalIM] RegisterFirm: Length of BrokerCode must be 4 symbols",
                                        "ERROR [QuindalIM] RegisterPart: Length of ClientCode must be 7 symbols",
                                        "ERROR [QuindalIM] RegisterPart: Length of ClientCode must be 7 symbols"));
}

TEST_F(FacadeParticipantsTest, TheLengthOfACodeIsLookedAtBeforeTheHandle)
{
    EXPECT_EQ(calls::Firm(0, "AA0"), 94811);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] RegisterFirm: Length of BrokerCode must be 4 symbols"));
}

TEST_F(FacadeParticipantsTest, ANullAccountOfAFirmIsTheEmptyText)
{
    EXPECT_EQ(calls::Firm(calc, "AA00", nullptr), 0);
    EXPECT_THAT(TraceOf("RegisterFirm").back(), HasSubstr(",@SettlementAccountId='',@calendarSpreadMarginType=4,"
                                                          "@marginRule=4,@interContractSpreadMarginType=4,"));
}

TEST_F(FacadeParticipantsTest, RegistrationsRefuseRepeatsAndUnknownParents)
{
    EXPECT_EQ(calls::Account(calc, "ACC", 1), 94723);
    EXPECT_EQ(calls::Account(calc, "ACC"), 0);
    EXPECT_EQ(calls::Account(calc, "ACC"), 94740);
    EXPECT_EQ(calls::Part(calc, "AA00001"), 94720);
    EXPECT_EQ(calls::Firm(calc, "AA00", "no such account"), 0);
    EXPECT_EQ(calls::Firm(calc, "AA00", "ACC"), 94719);
    EXPECT_EQ(calls::Part(calc, "AA00001"), 0);
    EXPECT_EQ(calls::Part(calc, "AA00001"), 94717);
    EXPECT_EQ(InsertBrokerBaseContractParam(calc, "BB00", "BC", 1.0), 94720);
    EXPECT_EQ(InsertBrokerBaseContractParam(calc, "AA00", "BC", 1.0), 0);
}

TEST_F(FacadeParticipantsTest, ACodeThatDoesNotParseGivesTheCodeOfItsException)
{
    EXPECT_EQ(InsertBrokerBaseContractParam(calc, "AAA", "BC", 1.0), 2);
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("Invalid code length: 3, from source: '")));
    EXPECT_EQ(InsertBrokerBaseContractParam(calc, "AA000", "BC", 1.0), 2);
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("Invalid code, missed zero at 4 pos in source: '")));
}

TEST_F(FacadeParticipantsTest, TheLimitOfClientsIsTestedBeforeARepeatAndCountsClientsOnly)
{
    ASSERT_EQ(DeInitQuindalIM(), 0);
    TheLink().partCount = 2;
    ASSERT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), 0);
    ASSERT_EQ(calls::Firm(calc, "AA00"), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01"), 0);
    ASSERT_EQ(calls::Firm(calc, "AA02"), 0);
    EXPECT_EQ(calls::Part(calc, "AA00001"), 0);
    EXPECT_EQ(calls::Part(calc, "AA01001"), 0);
    EXPECT_EQ(calls::Part(calc, "AA02001"), 94818);
    EXPECT_EQ(calls::Part(calc, "AA00001"), 94818) << "even a client that is there already";
    EXPECT_EQ(calls::Part(0, "AA00001"), 94811) << "the handle comes first";
    ASSERT_EQ(ClearParts(calc), 0);
    ASSERT_EQ(calls::Firm(calc, "AA00"), 0);
    EXPECT_EQ(calls::Part(calc, "AA00001"), 0) << "and there is room again";
}

TEST_F(FacadeParticipantsTest, TheLimitHasItsMessage)
{
    // GetUserInfo leaves -1 only before it ran, and a run with 0 or less does not start; so 1 is the smallest limit.
    ASSERT_EQ(DeInitQuindalIM(), 0);
    TheLink().partCount = 1;
    const std::string ini = folder.Write(
        "own.ini", "[QuindalIM::mq]\nport = 1\ntimeout = 1\n[QuindalIM::log]\nfile = " + folder.File("own.log") + "\n");
    ASSERT_EQ(InitQuindalIM(ini.c_str(), "user", "secret"), 0);
    ASSERT_EQ(calls::Firm(calc, "AA00"), 0);
    ASSERT_EQ(calls::Part(calc, "AA00001"), 0);
    EXPECT_EQ(calls::Part(calc, "AA00002"), 94818);
    EXPECT_THAT(folder.Lines("own.log").back(),
                HasSubstr("ERROR [QuindalIM] RegisterPart: Exceeded limit on number of participants (max 1)"));
}

TEST_F(FacadeParticipantsTest, APositionGivesTheThreeFiguresOfTheClientAndLeavesTheOtherTwoAlone)
{
    BuildTree();
    Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", 10, 1000.0, margins), 0);
    // Ten contracts, each of which loses 100 at the lowest price of the grid.
    EXPECT_NEAR(margins.volatility, 1000.0, 1e-9);
    EXPECT_NEAR(margins.delivery, 1000.0, 1e-9);
    EXPECT_EQ(margins.part, 1000.0);
    EXPECT_EQ(margins.firm, -4.0);
    EXPECT_EQ(margins.account, -5.0);
    EXPECT_EQ(TraceOf("SetPosition").back(),
              "00,,SetPosition," + Handle() +
                  ",@Code='AA00001',@InstrCode='FUT',@Quantity=10,@WAPrice= 1000.000000,@accountHierarchy=2,"
                  "@afterLastClearingQuantity=0,@VolatilityPartGO= 1000.000000,@DeliveryAndVolatilityPartGO= "
                  "1000.000000,@PartGO= 1000.000000,@FirmGO=NULL,@SettlementAccountGO=NULL");
}

TEST_F(FacadeParticipantsTest, APriceOfZeroIsTheCalculatedPriceOfTheInstrument)
{
    BuildTree();
    ASSERT_EQ(calls::Futures(calc, "FUT2", "BC", "", 1040.0), 0);
    ASSERT_EQ(calls::Part(calc, "AA00002"), 0);
    Margins implied;
    Margins stated;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT2", 1, 0.0, implied), 0);
    ASSERT_EQ(calls::Position(calc, "AA00002", "FUT2", 1, 1040.0, stated), 0);
    EXPECT_EQ(implied, stated);
    Margins negativeZero;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT2", 1, -0.0, negativeZero), 0);
    EXPECT_EQ(negativeZero, stated);
}

TEST_F(FacadeParticipantsTest, APositionOfAFirmOrAnAccountLeavesAllFiveOutputsAlone)
{
    BuildTree();
    Margins margins;
    EXPECT_EQ(calls::Position(calc, "AA00", "FUT", 1, 0.0, margins, QUINDAL_ACCOUNT_HIERARCHY_BROKER), 0);
    EXPECT_EQ(calls::Position(calc, "ACC", "FUT", 1, 0.0, margins, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT), 0);
    EXPECT_EQ(margins, Margins());
}

TEST_F(FacadeParticipantsTest, UnknownInstrumentsAndCodesThatCarryNoPositionHaveCodesOfTheirOwn)
{
    BuildTree();
    ASSERT_EQ(calls::Futures(calc, "TAS", "BC", "NAMED ONLY"), 0);
    Margins margins;
    EXPECT_EQ(calls::Position(calc, "AA00001", "nothing", 1, 0.0, margins), 94813);
    EXPECT_EQ(calls::Position(calc, "AA00001", "BC", 1, 0.0, margins), 94260);
    EXPECT_EQ(calls::Position(calc, "AA00001", "NAMED ONLY", 1, 0.0, margins), 94260);
    EXPECT_EQ(calls::Position(calc, "AA00002", "FUT", 1, 0.0, margins), 94309);
    EXPECT_EQ(calls::Position(calc, "BB00001", "FUT", 1, 0.0, margins), 94312);
    EXPECT_EQ(margins, Margins());
    EXPECT_EQ(TraceOf("SetPosition").front(),
              "94813,QuindalIM not found,SetPosition," + Handle() +
                  ",@Code='AA00001',@InstrCode='nothing',@Quantity=1,@WAPrice=           0,@accountHierarchy=2,"
                  "@afterLastClearingQuantity=0");
}

TEST_F(FacadeParticipantsTest, ALostConnectionIsToldBeforeTheHandleIsLookedAtAndChangesNothing)
{
    BuildTree();
    Margins before;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", 1, 1000.0, before), 0);
    TheLink().ping = false;
    Margins margins;
    EXPECT_EQ(calls::Position(calc, "AA00001", "FUT", 5, 1000.0, margins), 94820);
    EXPECT_EQ(calls::Position(0, "AA00001", "FUT", 5, 1000.0, margins), 94820);
    EXPECT_EQ(margins, Margins());
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], AllOf(HasSubstr("ERROR [QuindalIM] SetPosition: Check connection failed: the test says so ("),
                                HasSubstr(" (code 94820)")));

    TheLink().ping = true;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", 1, 1000.0, margins), 0);
    EXPECT_EQ(margins, before);
}

TEST_F(FacadeParticipantsTest, PointersAreLookedAtBeforeThePingAndTheInstrumentBeforeTheParticipant)
{
    BuildTree();
    double go[5] = {};
    const auto setPosition = [&](const char* code, const char* instrument, int nullOutput) {
        double* outputs[5];
        for (int i = 0; i < 5; ++i)
            outputs[i] = i == nullOutput ? nullptr : &go[i];
        EXPECT_EQ(SetPosition(calc, code, instrument, 1, 0.0, outputs[0], outputs[1], outputs[2], outputs[3],
                              outputs[4], QUINDAL_ACCOUNT_HIERARCHY_CLIENT, 0),
                  94811);
        return log.Take().at(0);
    };
    EXPECT_EQ(setPosition(nullptr, nullptr, 0), "ERROR [QuindalIM] SetPosition: InstrCode is null");
    EXPECT_EQ(setPosition(nullptr, "FUT", 0), "ERROR [QuindalIM] SetPosition: Code is null");
    const char* const names[5] = {"VolatilityPartGO", "DeliveryAndVolatilityPartGO", "PartGO", "FirmGO",
                                  "SettlementAccountGO"};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(setPosition("AA00001", "FUT", i),
                  std::string("ERROR [QuindalIM] SetPosition: ") + names[i] + " is null");
    EXPECT_THAT(TheLink().steps, IsEmpty()) << "nobody was pinged";
}

TEST_F(FacadeParticipantsTest, EveryPositionPingsOnce)
{
    BuildTree();
    Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", 1, 1000.0, margins), 0);
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", 2, 1000.0, margins), 0);
    EXPECT_THAT(TheLink().steps, ElementsAre("CheckPing", "CheckPing"));
}

TEST_F(FacadeParticipantsTest, BrokerBaseContractRatiosScaleTheMarginOfTheFirmsClients)
{
    BuildTree();
    ASSERT_EQ(InsertBrokerBaseContractParam(calc, "AA00", "BC", 2.0), 0);
    Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA00001", "FUT", 1, 1000.0, margins), 0);
    EXPECT_EQ(margins.part, 200.0); // 100 twice
}

} // namespace
} // namespace test::FacadeParticipantsTest
