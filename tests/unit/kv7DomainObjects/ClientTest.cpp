// A client: the corrections at its registration, what it inherits from its firm, its two books and its GO.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "LogCapture.h"
#include "Primitives.h"

namespace test::ClientTest {
namespace {

using Enums::MarginRule;
using testing::ElementsAre;
using testing::IsEmpty;

struct ClientTest : testing::Test
{
    BraskClient& Register(std::int32_t nClr2Delivery, double expWeight)
    {
        return tree.registrar.RegisterClient(firm, ClientCode::Parse("AA01001"), true, nClr2Delivery,
                                             t_weight_int(expWeight), Enums::ClientRiskLevel::High,
                                             Enums::InvestorStatus::Accredited);
    }

    /// Both margin figures of a book, put there directly.
    static void SetMargins(BraskClient& client, double volatility, double delivery)
    {
        client.GetPortfolio().IncreaseVolatilityInitialMarginBy(volatility);
        client.GetPortfolio().IncreaseDeliveryVolatilityInitialMarginBy(delivery);
    }

    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount(), 0.0, 0.25);
    LogCapture log;
};

TEST_F(ClientTest, StandsAsRegistered)
{
    BraskClient& client = Register(3, 0.5);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_STREQ(client.GetParticipantCode(), "AA01001");
    EXPECT_EQ(&client.GetBroker(), &firm);
    EXPECT_EQ(client.GetMarginRule(), MarginRule::Netting);
    EXPECT_EQ(client.GetNClr2Delivery(), 3);
    EXPECT_EQ(client.GetExpWeight().AsPlain(), 50);
    EXPECT_TRUE(client.GetNoFutDiscount());
    EXPECT_EQ(client.GetRiskLevel(), Enums::ClientRiskLevel::High);
    EXPECT_EQ(client.GetInvestorStatus(), Enums::InvestorStatus::Accredited);
    EXPECT_EQ(client.GetClgoRatio().AsPlain(), 100000);
    EXPECT_EQ(client.GetCalSpreadMarginType(), Enums::SpreadMarginType::HalfNetting);
    EXPECT_EQ(client.GetInterContractSpreadMarginType(), Enums::SpreadMarginType::HalfNetting);
    EXPECT_EQ(client.GetShortOptionMinimumChargeRatio(), 1.0);
    EXPECT_EQ(client.GetCollateralChecker().GetErrorCode(), Z9ERR_CLGO_NOT_ENOUGH);
    EXPECT_EQ(client.GetPremiumBlocked().AsPlain(), 0);
}

TEST_F(ClientTest, ByItsCodeAloneHasTheDefaults)
{
    const BraskClient& client = tree.registrar.RegisterClient(firm, ClientCode::Parse("AA01001"));
    EXPECT_EQ(client.GetNClr2Delivery(), 0);
    EXPECT_EQ(client.GetExpWeight().AsPlain(), 0);
    EXPECT_EQ(client.GetClgoRatio().AsPlain(), 100000);
    EXPECT_FALSE(client.GetNoFutDiscount());
    EXPECT_EQ(client.GetRiskLevel(), Enums::ClientRiskLevel::Default);
    EXPECT_EQ(client.GetInvestorStatus(), Enums::InvestorStatus::None);
}

TEST_F(ClientTest, MinusOneMeansAsTheFirmHasItAndStands)
{
    const BraskClient& client = Register(-1, -1.0);
    EXPECT_EQ(client.GetNClr2Delivery(), -1);
    EXPECT_EQ(client.GetExpWeight().AsPlain(), -100);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(ClientTest, OtherNegativeParametersAreRaisedToZero)
{
    const BraskClient& client = Register(-2, -0.99);
    EXPECT_THAT(log.Take(),
                ElementsAre("WARNING [BraskClient] When register client with Code(AA01001): NClr2Delivery(-2)<0 -> "
                            "NClr2Delivery forcibly set to 0",
                            "WARNING [BraskClient] When register client with Code(AA01001): ExpWeight(-0.990000)<0 -> "
                            "ExpWeight forcibly set to 0"));
    EXPECT_EQ(client.GetNClr2Delivery(), 0);
    EXPECT_EQ(client.GetExpWeight().AsPlain(), 0);
}

TEST_F(ClientTest, AWeightAboveOneIsLoweredToOne)
{
    const BraskClient& client = Register(0, 1.01);
    EXPECT_THAT(log.Take(),
                ElementsAre("WARNING [BraskClient] When register client with Code(AA01001): ExpWeight(1.010000)>1 -> "
                            "ExpWeight forcibly set to 1"));
    EXPECT_EQ(client.GetExpWeight().AsPlain(), 100);
}

TEST_F(ClientTest, AWeightAtAnEndOfItsRangeStandsWithoutAWord)
{
    for (const double weight : {0.0, 1.0}) {
        tree.registrar.ClearBroker(firm);
        EXPECT_EQ(Register(0, weight).GetExpWeight(), t_weight_int(weight));
    }
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(ClientTest, AWeightBelowMinusOneIsRaisedToZeroToo)
{
    EXPECT_EQ(Register(0, -1.01).GetExpWeight().AsPlain(), 0);
    EXPECT_EQ(log.Take().size(), 1U);
}

TEST_F(ClientTest, GoWeighsBothMarginsAndTakesTheRatio)
{
    BraskClient& client = Register(0, 0.5);
    SetMargins(client, 80.0, 120.0);
    EXPECT_EQ(client.GetInitialMargin(), 100.0); // 0.5 x 80 + 0.5 x 120
    client.SetClgoRatio(t_bprice_int(0.33333));
    EXPECT_EQ(client.GetInitialMargin(), 33.34); // 33.333 up to cents
}

TEST_F(ClientTest, TheRatioIsDividedByAHundredThousandBeforeItMultiplies)
{
    // 0.53335 x 0.3 is 0.160005, exactly half of the fifth decimal. 30000 / 100000 is the double just below 0.3 (less
    // 1.1e-17), so that the product lands below the half and the half is dropped. Multiplied by 30000 first, the half
    // would be met and charged as a cent more.
    const double v = 0.53335;
    BraskClient& client = Register(0, 0.0);
    client.SetClgoRatio(t_bprice_int::FromPlain(30000));
    SetMargins(client, v, 0.0);
    EXPECT_EQ(client.GetInitialMargin(), 0.16);
    EXPECT_EQ(Domain::RoundInitialMargin(v * 30000.0 / 100000.0), 0.17);

    firm.SetGORatio(t_bprice_int::FromPlain(30000));
    firm.GetPortfolio().IncreaseVolatilityInitialMarginBy(v);
    EXPECT_EQ(firm.GetInitialMargin(), 0.16);
}

TEST_F(ClientTest, WithoutAWeightOfItsOwnTakesTheFirmsDefault)
{
    BraskClient& client = Register(0, -1.0);
    SetMargins(client, 80.0, 120.0);
    EXPECT_EQ(client.GetInitialMargin(), 90.0); // w 0.25: 0.75 x 80 + 0.25 x 120
}

TEST_F(ClientTest, WhetherPremiumOptionsCountIsItsOwnMatterOrItsFirms)
{
    BraskClient& client = Register(0, 0.0);
    EXPECT_FALSE(client.IsNotUseNOV());
    firm.SetNotUseNOVClientDefault(true);
    EXPECT_TRUE(client.IsNotUseNOV());
    client.SetNotUseNOV(0);
    EXPECT_FALSE(client.IsNotUseNOV());
    firm.SetNotUseNOVClientDefault(false);
    for (const std::int32_t yes : {1, 2, -2}) {
        client.SetNotUseNOV(yes);
        EXPECT_TRUE(client.IsNotUseNOV()) << yes;
    }
    client.SetNotUseNOV(-1);
    EXPECT_FALSE(client.IsNotUseNOV());
}

TEST_F(ClientTest, TheNextSessionIsKeptApart)
{
    BraskClient& client = Register(0, 0.0);
    EXPECT_FALSE(client.IsNotUseNOVNextSession());
    firm.SetNotUseNOVClientDefaultNextSession(true);
    EXPECT_TRUE(client.IsNotUseNOVNextSession());
    client.SetNotUseNOVNextSession(false, false);
    EXPECT_FALSE(client.IsNotUseNOVNextSession());
    client.SetNotUseNOVNextSession(true, false);
    EXPECT_TRUE(client.IsNotUseNOVNextSession());
    EXPECT_FALSE(client.IsNotUseNOV());
}

TEST_F(ClientTest, UnderAFirmThatLeavesPremiumOptionsOutTakesItsGoFromTheSideBook)
{
    firm.SetNotUseNOVClientDefault(true);
    BraskClient& client = Register(0, 0.0);
    client.SetNotUseNOV(-1);
    ASSERT_EQ(client.GetPortfolio().SetPosition(FUT, 3, 800.0, 0), 0U);
    EXPECT_EQ(client.GetInitialMargin(), 0.0); // the main book does not count
    ASSERT_EQ(client.SetPositionInPortfolioWithoutEquityOptions(FUT, 1, 800.0, 0), 0U);
    EXPECT_EQ(client.GetInitialMargin(), 100.0);
    EXPECT_EQ(client.GetPortfolioWithoutEquityOptions().GetPositionCount(), 1U);
    EXPECT_EQ(client.SetPositionInPortfolioWithoutEquityOptions(UnknownIsin, 1, 800.0, 0), Z9ERR_INSTRUMENT_ABSENT);
}

TEST_F(ClientTest, WithoutThatRuleNothingEntersTheSideBook)
{
    BraskClient& client = Register(0, 0.0);
    EXPECT_EQ(client.SetPositionInPortfolioWithoutEquityOptions(FUT, 1, 800.0, 0), 0U);
    EXPECT_EQ(client.SetPositionInPortfolioWithoutEquityOptions(UnknownIsin, 1, 800.0, 0), 0U);
    EXPECT_TRUE(client.GetPortfolioWithoutEquityOptions().Empty());
}

TEST_F(ClientTest, TakesTheLargestRatioOfAnInterContractGroup)
{
    AccountTree::Check(HandBaseContract("BC1", "MCS").InsertInto(tree.instruments));
    AccountTree::Check(HandBaseContract("BC2", "MCS").InsertInto(tree.instruments));
    const BraskClient& client = Register(0, 0.0);
    EXPECT_EQ(client.GetBrokerBaseContractGORatioForMCS("MCS"), 1.0); // nothing agreed
    firm.SetBaseContractGORatio("BC1", 0.5);
    EXPECT_EQ(client.GetBrokerBaseContractGORatioForMCS("MCS"), 1.0); // BC2 still counts 1.0
    firm.SetBaseContractGORatio("BC2", 0.25);
    EXPECT_EQ(client.GetBrokerBaseContractGORatioForMCS("MCS"), 0.5);
    firm.SetBaseContractGORatio("BC2", 4.0);
    EXPECT_EQ(client.GetBrokerBaseContractGORatioForMCS("MCS"), 4.0);
    EXPECT_EQ(client.GetBrokerBaseContractGORatio("BC1"), 0.5);
    EXPECT_EQ(client.GetBrokerBaseContractGORatio("BC"), 1.0);
    EXPECT_EQ(client.GetBrokerBaseContractGORatioForMCS("NONE"), 0.0); // a group of no base contracts
}

TEST_F(ClientTest, ItsCountsAndItsBlanknessGoWithACopy)
{
    BraskClient& client = Register(0, 0.0);
    EXPECT_FALSE(client.IsBlank());
    client.SetBlank(true);
    client.GetOrdersAndPositionsQuantitiesCounter().GetForUpdate(FUT) = {3, 2, 1};
    client.GetQuantitiesCounter().ChangePosition(1, Enums::InstrumentType::Futures, 3);

    BraskBroker& other = tree.AddFirm("AA02", MarginRule::Netting, GetDummySettlementAccount());
    const BraskClient copy(client, other, tree.positionInstruments);
    client.GetOrdersAndPositionsQuantitiesCounter().Clear();
    EXPECT_TRUE(copy.IsBlank());
    EXPECT_EQ(copy.GetOrdersAndPositionsQuantitiesCounter().Get(FUT), (OrdersAndPositionsQuantities{3, 2, 1}));
    EXPECT_EQ(copy.GetQuantitiesCounter().Get(1).futuresValue, (QuantitiesValue{3, 0, 0}));
}

} // namespace
} // namespace test::ClientTest
