// The calculator's participants: what registration refuses, the five margins of a position and of an order, and clients
// that are changed.
#include "CalcGOEx.h"
#include "CalculatorSamples.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "../kv7base/AllocationProbe.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "except.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecOrderList.h"

namespace test::CalcGOExParticipantsTest {
namespace {

using Enums::AccountHierarchyRecordType;
using Enums::MarginRule;
using Enums::SpreadMarginType;
using QuindalIM::CCalcGOEx;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// The five results of a position, each with a value of its own until it is written.
struct Margins
{
    double volatility = -1.0, delivery = -2.0, part = -3.0, firm = -4.0, account = -5.0;
    friend bool operator==(const Margins&, const Margins&) = default;
};

/// One base contract with rates of 0.1 and one futures at price and spot 1000, one step of 1 worth 1, alone. Its grid
/// is 900, 1000, 1100 and its stress points stand at 900 and 1100, or are covered down to less: a contract held at P
/// loses at most P - 900.
class CalcGOExParticipantsTest : public testing::Test
{
protected:
    CalcGOExParticipantsTest()
    {
        BaseContractSample contract = RoundContract("BC");
        contract.ShortOptionMinimumCharge = 0.0;
        contract.MarketRisk1 = contract.MarketRisk2 = contract.MarketRisk;
        contract.ConcentrationLimit1 = contract.ConcentrationLimit2 = 1000000;
        contract.RiskPointsN = 1;
        EXPECT_EQ(calculator.InsertBaseContractEx(contract), Z9ERR_OK);
        FuturesSample futures = RoundFutures("FUT");
        futures.SpreadAspect = Enums::SpreadAspect::NotInSpread;
        EXPECT_EQ(calculator.InsertFutures(futures, ""), Z9ERR_OK);
    }

    Z9ERR Account(const char* id, MarginRule rule = MarginRule::Netting,
                  SpreadMarginType calendar = SpreadMarginType::Netting)
    {
        return calculator.RegisterSettlementAccount(id, rule, calendar, SpreadMarginType::Netting, 1.5);
    }
    Z9ERR Firm(const char* code, const char* account = "", MarginRule rule = MarginRule::Netting,
               double expWeight = 1.0)
    {
        return calculator.RegisterBroker(code, 0, expWeight, 1.0, Enums::BrokerAccountType::Ordinary, account,
                                         SpreadMarginType::HalfNetting, rule, SpreadMarginType::Unused, 2.5);
    }
    Z9ERR Part(const char* code, double goRatio = 1.0, double expWeight = 0.5,
               Enums::ClientRiskLevel level = Enums::ClientRiskLevel::Default)
    {
        return calculator.RegisterClient(code, true, 3, expWeight, SpreadMarginType::Netting,
                                         SpreadMarginType::HalfNetting, goRatio, 3.5, level);
    }
    Z9ERR Position(const char* code, std::int64_t quantity, double price, Margins& margins,
                   AccountHierarchyRecordType type = AccountHierarchyRecordType::Client)
    {
        return calculator.SetPositionEx(code, isin, quantity, price, margins.volatility, margins.delivery, margins.part,
                                        margins.firm, margins.account, type, 0);
    }
    Z9ERR Order(const char* code, bool isBuying, std::int64_t quantity, double price, Margins& margins)
    {
        return calculator.ChangeOrderEx(code, isin, isBuying, t_bprice_int(price), quantity, margins.volatility,
                                        margins.delivery, margins.part, margins.firm, margins.account);
    }
    template <class Call>
    static Z9ERR CodeThrownBy(Call call)
    {
        try {
            static_cast<void>(call());
        } catch (const kv7base::CZ9Error& error) {
            return error.GetCode();
        }
        return Z9ERR_OK;
    }
    [[nodiscard]] BraskClient& Client(const char* code)
    {
        return participants.GetClient(CodeParser<ClientCode>(code).Parse());
    }

    pos::PositionCalculatorInstruments accounting;
    kv7im::InstrumentsRepository instruments;
    ParticipantRepository participants;
    CCalcGOEx calculator{participants, instruments, accounting};
    static constexpr Isin isin = 2; // of FUT
};

TEST_F(CalcGOExParticipantsTest, AnAccountTakesItsRulesAndARepeatIsRefused)
{
    ASSERT_EQ(Account("ACC1", MarginRule::HalfNetting), Z9ERR_OK);
    const auto account = participants.SearchSettlementAccountById("ACC1");
    ASSERT_NE(account, nullptr);
    EXPECT_EQ(account->GetMarginRule(), MarginRule::HalfNetting);
    EXPECT_EQ(account->GetCalSpreadMarginType(), SpreadMarginType::Netting);
    EXPECT_EQ(account->GetShortOptionMinimumChargeRatio(), 1.5);
    EXPECT_EQ(Account("ACC1"), Z9ERR_CALCGO_API_ERROR_SETTLEMENT_ACCOUNT_ALREADY_EXIST);
    EXPECT_EQ(Account("ACC1", static_cast<MarginRule>(1)), Z9ERR_CALCGO_API_ERROR_SETTLEMENT_ACCOUNT_ALREADY_EXIST)
        << "the repeat is tested before the rules";
}

TEST_F(CalcGOExParticipantsTest, AnAccountWithARuleOutsideItsEnumerationIsRefused)
{
    for (const int rule : {0, 1, 5, -1})
        EXPECT_EQ(Account("ACC1", static_cast<MarginRule>(rule)), Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS);
    for (const int type : {1, 2, 5, -1})
        EXPECT_EQ(Account("ACC1", MarginRule::Gross, static_cast<SpreadMarginType>(type)),
                  Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS);
    EXPECT_EQ(participants.GetSettlementAccountCount(), 0u);
}

TEST_F(CalcGOExParticipantsTest, TheFirstTwelveCharactersOfAnAccountsIdCountEverywhere)
{
    ASSERT_EQ(Account("ABCDEFGHIJKLMNOP"), Z9ERR_OK);
    EXPECT_NE(participants.SearchSettlementAccountById("ABCDEFGHIJKL"), nullptr);
    EXPECT_EQ(Account("ABCDEFGHIJKLxyz"), Z9ERR_CALCGO_API_ERROR_SETTLEMENT_ACCOUNT_ALREADY_EXIST);
    ASSERT_EQ(Firm("AA00", "ABCDEFGHIJKL and more"), Z9ERR_OK);
    EXPECT_EQ(participants.SearchBroker(BrokerCode::Parse("AA00"))->GetSettlementAccount()->GetId(), "ABCDEFGHIJKL");
    Margins margins;
    EXPECT_EQ(Position("ABCDEFGHIJKL!", 1, 1000.0, margins, AccountHierarchyRecordType::SettlementAccount), Z9ERR_OK);
}

TEST_F(CalcGOExParticipantsTest, AnAccountWithoutAnIdIsRefused)
{
    EXPECT_EQ(CodeThrownBy([&] { return Account(""); }), Z9ERR_CHECK_INVALID_SETTLEMENT_ACCOUNT_ID);
}

TEST_F(CalcGOExParticipantsTest, AFirmMayStandWithoutAnAccountAndARepeatIsRefused)
{
    EXPECT_EQ(Firm("AA00", "nobody"), Z9ERR_OK);
    EXPECT_EQ(Firm("AA00"), Z9ERR_CALCGO_API_ERROR_FIRM_ALREADY_EXIST);
    const BraskBroker* firm = participants.SearchBroker(BrokerCode::Parse("AA00"));
    ASSERT_NE(firm, nullptr);
    EXPECT_NE(firm->GetSettlementAccount(), nullptr);
    EXPECT_EQ(firm->GetNClr2DeliveryClientDefault(), 0);
    EXPECT_EQ(firm->GetCalSpreadMarginType(), SpreadMarginType::HalfNetting);
    EXPECT_EQ(firm->GetInterContractSpreadMarginType(), SpreadMarginType::Unused);
    EXPECT_EQ(firm->GetShortOptionMinimumChargeRatio(), 2.5);
}

TEST_F(CalcGOExParticipantsTest, WeightsBecomeHundredthsWithHalvesAwayFromZero)
{
    ASSERT_EQ(Firm("AA00", "", MarginRule::Netting, 0.125), Z9ERR_OK);
    EXPECT_EQ(participants.SearchBroker(BrokerCode::Parse("AA00"))->GetExpWeight().AsPlain(), 13); // 12.5 goes up
}

TEST_F(CalcGOExParticipantsTest, AWeightThatIsNoNumberOrTooLargeThrowsAndNothingIsRegistered)
{
    EXPECT_EQ(CodeThrownBy([&] { return Firm("AA00", "", MarginRule::Netting, notANumber); }),
              Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(CodeThrownBy([&] { return Firm("AA00", "", MarginRule::Netting, 10.0); }), Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(participants.GetBrokerCount(), 0u);
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    EXPECT_EQ(CodeThrownBy([&] { return Part("AA00001", 1.0, 10.0); }), Z9ERR_COMMON_OVERFLOW);
    EXPECT_EQ(calculator.GetClientCount(), 0u);
}

TEST_F(CalcGOExParticipantsTest, AClientNeedsItsFirmAndIsRegisteredOnce)
{
    EXPECT_EQ(Part("AA00001"), Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND);
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    EXPECT_EQ(Part("AA00001", 1.25, 0.25, Enums::ClientRiskLevel::High), Z9ERR_OK);
    EXPECT_EQ(Part("AA00001"), Z9ERR_CALCGO_API_ERROR_PART_ALREADY_EXIST);
    EXPECT_EQ(calculator.GetClientCount(), 1u);

    const BraskClient& client = Client("AA00001");
    EXPECT_TRUE(client.GetNoFutDiscount());
    EXPECT_EQ(client.GetNClr2Delivery(), 3);
    EXPECT_EQ(client.GetExpWeight().AsPlain(), 25);
    EXPECT_EQ(client.GetClgoRatio().AsPlain(), 125000);
    EXPECT_EQ(client.GetRiskLevel(), Enums::ClientRiskLevel::High);
    EXPECT_EQ(client.GetCalSpreadMarginType(), SpreadMarginType::Netting);
    EXPECT_EQ(client.GetInterContractSpreadMarginType(), SpreadMarginType::HalfNetting);
    EXPECT_EQ(client.GetShortOptionMinimumChargeRatio(), 3.5);
}

TEST_F(CalcGOExParticipantsTest, TheGORatioIsCutToFiveDecimalsAfterHalfAUnit)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001", 1.0000149), Z9ERR_OK); // 100001.49 + 0.5 is cut to 100001
    EXPECT_EQ(Client("AA00001").GetClgoRatio().AsPlain(), 100001);
    ASSERT_EQ(Part("AA00002", -1.0000151), Z9ERR_OK); // -100001.51 - 0.5 is cut to -100002
    EXPECT_EQ(Client("AA00002").GetClgoRatio().AsPlain(), -100002);
}

TEST_F(CalcGOExParticipantsTest, AGORatioThatDoesNotFitAndAnUnknownRiskLevelAreRefused)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    for (const double ratio : {notANumber, 1e15, -1e15, std::numeric_limits<double>::infinity()})
        EXPECT_EQ(Part("AA00001", ratio), Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS) << ratio;
    for (const int level : {-1, 5, 1000000})
        EXPECT_EQ(Part("AA00001", 1.0, 0.5, static_cast<Enums::ClientRiskLevel>(level)),
                  Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS)
            << level;
    EXPECT_EQ(calculator.GetClientCount(), 0u);
}

TEST_F(CalcGOExParticipantsTest, ACodeThatIsNoneThrows)
{
    EXPECT_EQ(CodeThrownBy([&] { return Firm("AAA"); }), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(CodeThrownBy([&] { return Part("AA0"); }), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(CodeThrownBy([&] { return calculator.InsertBrokerBaseContractParam("A", "BC", 1.0); }),
              Z9ERR_COMMON_WRONG_ARGUMENTS);
}

TEST_F(CalcGOExParticipantsTest, ABaseContractRatioNeedsItsFirm)
{
    EXPECT_EQ(CodeThrownBy([&] { return calculator.InsertBrokerBaseContractParam("AA00", "BC", 2.0); }),
              Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND);
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    EXPECT_EQ(calculator.InsertBrokerBaseContractParam("AA00", "BC", 2.0), Z9ERR_OK);
    EXPECT_EQ(participants.SearchBroker(BrokerCode::Parse("AA00"))->GetBaseContractGORatio("BC"), 2.0);
}

TEST_F(CalcGOExParticipantsTest, EachKindOfParticipantEndsTheEmptiness)
{
    calculator.ClearAll();
    EXPECT_TRUE(calculator.IsEmpty());
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    EXPECT_FALSE(calculator.IsEmpty());
    calculator.ClearAll();
    ASSERT_EQ(Account("ACC"), Z9ERR_OK);
    EXPECT_FALSE(calculator.IsEmpty());
}

TEST_F(CalcGOExParticipantsTest, RemovingAllParticipantsLeavesInstrumentsAndDoesNotMakeItEmpty)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    calculator.RemoveAllParticipants();
    EXPECT_EQ(calculator.GetClientCount(), 0u);
    EXPECT_EQ(instruments.CountFutures(), 1u);
    EXPECT_FALSE(calculator.IsEmpty());
}

TEST_F(CalcGOExParticipantsTest, AClientsPositionGivesItsTwoPortfolioMarginsAndTheGOOfEachLevel)
{
    ASSERT_EQ(Account("ACC", MarginRule::Gross), Z9ERR_OK);
    ASSERT_EQ(Firm("AA00", "ACC", MarginRule::HalfNetting), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001", 1.5), Z9ERR_OK);

    // Ten contracts held at 1000 lose 10 x (1000 - 900) at the lowest price. Both figures are that, so the weight of
    // 0.5 changes nothing; the client's GO is 1.5 times it. Client ratios do not reach the firm, whose own GO is 1000;
    // an account under Gross has the sum of its firms.
    Margins margins;
    ASSERT_EQ(Position("AA00001", 10, 1000.0, margins), Z9ERR_OK);
    EXPECT_NEAR(margins.volatility, 1000.0, 1e-9);
    EXPECT_NEAR(margins.delivery, 1000.0, 1e-9);
    EXPECT_EQ(margins.part, 1500.0);
    EXPECT_EQ(margins.firm, 1000.0);
    EXPECT_EQ(margins.account, 1000.0);
}

TEST_F(CalcGOExParticipantsTest, TheClientsGOIsInWholeCentsAndItsPortfolioMarginNeedNotBe)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    // No futures discount: a long position is valued at the higher of its price and 1000. 3 x (1000.00407 - 900).
    Margins margins;
    ASSERT_EQ(Position("AA00001", 3, 1000.00407, margins), Z9ERR_OK);
    EXPECT_NEAR(margins.volatility, 300.01221, 1e-9);
    EXPECT_EQ(margins.part, 300.02) << "up to the next cent";
}

TEST_F(CalcGOExParticipantsTest, FindingTheInstrumentAndSettingItsPositionAgainTouchesNoHeap)
{
    ASSERT_EQ(Account("ACC", MarginRule::Gross), Z9ERR_OK);
    ASSERT_EQ(Firm("AA00", "ACC", MarginRule::HalfNetting), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    Margins margins;
    int found = 0;
    double price = 0.0;
    for (const std::int64_t quantity : {5, -5})
        ASSERT_EQ(Position("AA00001", quantity, 1000.0, margins), Z9ERR_OK);

    const testing_support::AllocationProbe probe;
    ASSERT_EQ(calculator.GetIsinAndCalcPriceByCode("FUT", found, price), Z9ERR_OK);
    for (const std::int64_t quantity : {5, -5, 7, 0})
        ASSERT_EQ(Position("AA00001", quantity, price, margins), Z9ERR_OK);
    EXPECT_EQ(probe.Count(), 0u);
}

TEST_F(CalcGOExParticipantsTest, AFirmsPositionWritesTheTwoUpperResultsOnly)
{
    ASSERT_EQ(Account("ACC", MarginRule::Gross), Z9ERR_OK);
    ASSERT_EQ(Firm("AA00", "ACC"), Z9ERR_OK);
    Margins margins;
    ASSERT_EQ(Position("AA00", -2, 1000.0, margins, AccountHierarchyRecordType::Broker), Z9ERR_OK);
    EXPECT_EQ(margins, (Margins{.firm = 200.0, .account = 200.0})); // 2 x (1100 - 1000)
}

TEST_F(CalcGOExParticipantsTest, AnAccountsPositionWritesTheLastResultOnly)
{
    ASSERT_EQ(Account("ACC"), Z9ERR_OK);
    Margins margins;
    ASSERT_EQ(Position("ACC", 1, 1000.0, margins, AccountHierarchyRecordType::SettlementAccount), Z9ERR_OK);
    EXPECT_EQ(margins, (Margins{.account = 100.0}));
}

TEST_F(CalcGOExParticipantsTest, ARecordTypeOutsideItsEnumerationNamesAnAccountAndWritesNothing)
{
    ASSERT_EQ(Account("ACC"), Z9ERR_OK);
    Margins margins;
    ASSERT_EQ(Position("ACC", 1, 1000.0, margins, static_cast<AccountHierarchyRecordType>(3)), Z9ERR_OK);
    EXPECT_EQ(margins, Margins());
    EXPECT_EQ(participants.GetSettlementAccountById("ACC")->GetInitialMargin(), 100.0) << "the position is set";
}

TEST_F(CalcGOExParticipantsTest, AFailureLeavesAllFiveResultsAlone)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    Margins margins;
    double& v = margins.volatility;
    EXPECT_EQ(calculator.SetPositionEx("AA00001", 1, 5, 1000.0, v, margins.delivery, margins.part, margins.firm,
                                       margins.account, AccountHierarchyRecordType::Client, 0),
              Z9ERR_INSTRUMENT_ABSENT)
        << "isin 1 is the base contract";
    EXPECT_EQ(CodeThrownBy([&] { return Position("AA00002", 1, 1.0, margins); }), Z9ERR_CHECK_CLIENT_NOT_FOUND);
    EXPECT_EQ(CodeThrownBy([&] { return Position("BB00001", 1, 1.0, margins); }),
              Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    EXPECT_EQ(CodeThrownBy([&] { return Position("BB00", 1, 1.0, margins, AccountHierarchyRecordType::Broker); }),
              Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    EXPECT_EQ(
        CodeThrownBy([&] { return Position("ACC", 1, 1.0, margins, AccountHierarchyRecordType::SettlementAccount); }),
        Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND);
    EXPECT_EQ(margins, Margins());
}

// Unlike a position, which each level under Netting is told of by a record of its own.
TEST_F(CalcGOExParticipantsTest, AnOrderEntersEveryLevelUnderNettingAtOnce)
{
    ASSERT_EQ(Account("ACC"), Z9ERR_OK);
    ASSERT_EQ(Firm("AA00", "ACC"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001", 1.5), Z9ERR_OK);
    Margins margins;
    ASSERT_EQ(Position("AA00001", 1, 1000.0, margins), Z9ERR_OK);
    EXPECT_EQ(margins.firm, 0.0);
    // Bought at 1010 each loses 110 at 900; the client's position loses 100 beside it, and its GO is 1.5 times the sum.
    ASSERT_EQ(Order("AA00001", true, 2, 1010.0, margins), Z9ERR_OK);
    EXPECT_NEAR(margins.volatility, 320.0, 1e-9);
    EXPECT_NEAR(margins.delivery, 320.0, 1e-9);
    EXPECT_EQ(margins.part, 480.0);
    EXPECT_EQ(margins.firm, 220.0);
    EXPECT_EQ(margins.account, 220.0);
    ASSERT_EQ(Order("AA00001", true, -2, 1010.0, margins), Z9ERR_OK);
    EXPECT_EQ(margins.part, 150.0);
    EXPECT_EQ(margins.firm, 0.0);
    EXPECT_EQ(margins.account, 0.0);
}

TEST_F(CalcGOExParticipantsTest, AnOrderReachesAFirmUnderHalfNettingAndAnAccountUnderGrossByWhatItChanged)
{
    ASSERT_EQ(Account("ACC", MarginRule::Gross), Z9ERR_OK);
    ASSERT_EQ(Firm("AA00", "ACC", MarginRule::HalfNetting), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    Margins margins;
    ASSERT_EQ(Position("AA00001", 1, 1000.0, margins), Z9ERR_OK);
    EXPECT_EQ(margins.account, 100.0);
    ASSERT_EQ(Order("AA00001", true, 2, 1010.0, margins), Z9ERR_OK);
    EXPECT_EQ(margins.part, 320.0);
    EXPECT_EQ(margins.firm, 320.0);
    EXPECT_EQ(margins.account, 320.0);
}

TEST_F(CalcGOExParticipantsTest, AnOrderIsOneEntryOfItsPriceAndSide)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    Margins margins;
    ASSERT_EQ(Order("AA00001", true, 3, 1010.0, margins), Z9ERR_OK);
    ASSERT_EQ(Order("AA00001", true, 4, 1010.0, margins), Z9ERR_OK);
    const auto& positions = Client("AA00001").GetPortfolio().RangePositions();
    ASSERT_EQ(positions.size(), 1u);
    const OrdersMap& orders = positions.begin()->second.GetFuturesPositionSpec().GetOrders();
    ASSERT_EQ(orders.size(), 1u);
    const auto& [key, info] = *orders.begin();
    EXPECT_EQ(key.calculatedPrice.AsPlain(), 101000000);
    EXPECT_EQ(key.direction, KeyPriceType::Direction::Buy);
    EXPECT_EQ(key.type, KeyPriceType::Type::Ordinal);
    EXPECT_EQ(info.deltaQuantity, 7);
    EXPECT_EQ(info.initializationType, SOrderInfo::InitializationType::FullFill);
    EXPECT_EQ(info.multilegIsin, isin);
}

TEST_F(CalcGOExParticipantsTest, TakingOrdersInAndOutAgainTouchesNoHeap)
{
    ASSERT_EQ(Account("ACC"), Z9ERR_OK);
    ASSERT_EQ(Firm("AA00", "ACC"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    Margins margins;
    const auto inAndOut = [&] {
        for (const std::int64_t quantity : {5, -5})
            for (const bool isBuying : {true, false})
                ASSERT_EQ(Order("AA00001", isBuying, quantity, 1000.0, margins), Z9ERR_OK);
    };
    inAndOut();
    inAndOut();
    const testing_support::AllocationProbe probe;
    inAndOut();
    EXPECT_EQ(probe.Count(), 0u);
    EXPECT_EQ(margins.part, 0.0);
}

TEST_F(CalcGOExParticipantsTest, AnOrderThatFailsLeavesAllFiveResultsAlone)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    Margins margins;
    EXPECT_EQ(calculator.ChangeOrderEx("AA00001", 1, true, t_bprice_int(1.0), 1, margins.volatility, margins.delivery,
                                       margins.part, margins.firm, margins.account),
              Z9ERR_INSTRUMENT_ABSENT)
        << "isin 1 is the base contract";
    EXPECT_EQ(CodeThrownBy([&] { return Order("AA00002", true, 1, 1.0, margins); }), Z9ERR_CHECK_CLIENT_NOT_FOUND);
    EXPECT_EQ(CodeThrownBy([&] { return Order("AA0000", true, 1, 1.0, margins); }), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_EQ(margins, Margins());
}

TEST_F(CalcGOExParticipantsTest, AClientThatIsChangedIsMarginedAsOneRegisteredSo)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK); // no futures discount
    Margins margins;
    ASSERT_EQ(Position("AA00001", 2, 990.0, margins), Z9ERR_OK);
    ASSERT_EQ(Order("AA00001", true, 1, 980.0, margins), Z9ERR_OK);
    EXPECT_EQ(margins.part, 300.0); // valued at 1000 all three
    ASSERT_EQ(calculator.ChangeClient("AA00001", false, -1, -1.0), Z9ERR_OK);
    EXPECT_EQ(Client("AA00001").GetRiskParameters().nClr2Delivery, -1);
    EXPECT_EQ(Client("AA00001").GetRiskParameters().expWeight.AsPlain(), -100);
    EXPECT_EQ(Client("AA00001").GetInitialMargin(), 260.0); // 2 x (990 - 900) + 980 - 900
}

TEST_F(CalcGOExParticipantsTest, AClientThatIsNotThereOrACodeThatIsNoneIsNotChanged)
{
    EXPECT_EQ(calculator.ChangeClient("AA00001", true, 0, 0.5), Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND);
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    EXPECT_EQ(calculator.ChangeClient("AA00001", true, 0, 0.5), Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND);
    EXPECT_EQ(CodeThrownBy([&] { return calculator.ChangeClient("AA0000", true, 0, 0.5); }),
              Z9ERR_COMMON_WRONG_ARGUMENTS);
}

// Whether the engine's pool or a container notices it, it is the code of what nobody foresaw, and nothing is thrown on.
TEST_F(CalcGOExParticipantsTest, AChangeForWhichThereIsNoMemoryIsUnforeseenAndLeavesTheClientAsItWas)
{
    ASSERT_EQ(Firm("AA00"), Z9ERR_OK);
    ASSERT_EQ(Part("AA00001"), Z9ERR_OK);
    Margins margins;
    ASSERT_EQ(Position("AA00001", 2, 990.0, margins), Z9ERR_OK);
    Z9ERR result = Z9ERR_OK;
    {
        const testing_support::LargeAllocationsFail noMemory(1);
        result = calculator.ChangeClient("AA00001", false, 0, 0.25);
    }
    EXPECT_EQ(result, Z9ERR_CALCGO_API_COMMON_ERROR);
    EXPECT_EQ(Client("AA00001").GetRiskParameters().expWeight.AsPlain(), 50);
    EXPECT_EQ(Client("AA00001").GetInitialMargin(), 200.0);
    EXPECT_EQ(calculator.ChangeClient("AA00001", false, 0, 0.25), Z9ERR_OK);
    EXPECT_EQ(Client("AA00001").GetInitialMargin(), 180.0);
}

} // namespace
} // namespace test::CalcGOExParticipantsTest
