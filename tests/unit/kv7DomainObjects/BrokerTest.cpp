// A firm: the corrections at its registration, its GO, and what it agrees with its clients.
#include <limits>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "LogCapture.h"

namespace test::BrokerTest {
namespace {

using Enums::MarginRule;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct FirmParameters
{
    MarginRule rule = MarginRule::Netting;
    std::int32_t nClr2Delivery = 0;
    std::int32_t nClr2DeliveryClientDefault = 0;
    double expWeight = 0.0;
    double expWeightClientDefault = 0.0;
};

struct BrokerTest : testing::Test
{
    BraskBroker& Register(const FirmParameters& p)
    {
        return tree.registrar.RegisterBroker(BrokerCode::Parse("AA01"), Enums::BrokerAccountType::Segregated, p.rule,
                                             GetDummySettlementAccount(), p.nClr2Delivery, p.nClr2DeliveryClientDefault,
                                             t_weight_int(p.expWeight), t_weight_int(p.expWeightClientDefault));
    }

    AccountTree tree;
    LogCapture log;
};

TEST_F(BrokerTest, GoodParametersStandWithoutAWord)
{
    const BraskBroker& firm = Register({MarginRule::Netting, 3, 2, 0.25, 0.75});
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_STREQ(firm.GetParticipantCode(), "AA01");
    EXPECT_EQ(firm.GetBrokerType(), Enums::BrokerAccountType::Segregated);
    EXPECT_EQ(firm.GetMarginRule(), MarginRule::Netting);
    EXPECT_EQ(firm.GetNClr2Delivery(), 3);
    EXPECT_EQ(firm.GetNClr2DeliveryClientDefault(), 2);
    EXPECT_EQ(firm.GetExpWeight().AsPlain(), 25);
    EXPECT_EQ(firm.GetExpWeightClientDefault().AsPlain(), 75);
    EXPECT_EQ(firm.GetGORatio().AsPlain(), 100000);
    EXPECT_EQ(firm.GetCalSpreadMarginType(), Enums::SpreadMarginType::Netting); // not the base's HalfNetting
    EXPECT_EQ(firm.GetInterContractSpreadMarginType(), Enums::SpreadMarginType::HalfNetting);
    EXPECT_EQ(firm.GetShortOptionMinimumChargeRatio(), 1.0);
    EXPECT_EQ(firm.GetCollateralChecker().GetErrorCode(), Z9ERR_BRGO_NOT_ENOUGH);
    EXPECT_FALSE(firm.GetCollateralChecker().Enabled());
    EXPECT_EQ(firm.GetRiskLevel(), Enums::ClientRiskLevel::Default);
    EXPECT_FALSE(firm.GetNoFutDiscount());
    EXPECT_EQ(firm.GetPremiumBlocked().AsPlain(), 0);
    EXPECT_EQ(firm.GetVMCloseTotal().AsPlain(), 0);
    EXPECT_THAT(firm.GetVMCloseByCurrencies(), IsEmpty());
}

TEST_F(BrokerTest, EveryParameterBelowItsRangeIsRaisedToZeroInTheOrderOfTheChecks)
{
    const BraskBroker& firm = Register({MarginRule::Netting, -1, -7, -0.5, -0.01});
    EXPECT_THAT(
        log.Take(),
        ElementsAre(
            "WARNING [BraskBroker] When register broker with Code(AA01): NClr2Delivery(-1)<0 -> NClr2Delivery "
            "forcibly set to 0",
            "WARNING [BraskBroker] When register broker with Code(AA01): NClr2DeliveryClientDefault(-7)<0 -> "
            "NClr2DeliveryClientDefault forcibly set to 0",
            "WARNING [BraskBroker] When register broker with Code(AA01): ExpWeight(-0.500000)<0 -> ExpWeight "
            "forcibly set to 0",
            "WARNING [BraskBroker] When register broker with Code(AA01): ExpWeightClientDefault(-0.010000)<0 -> "
            "ExpWeightClientDefault forcibly set to 0"));
    EXPECT_EQ(firm.GetNClr2Delivery(), 0);
    EXPECT_EQ(firm.GetNClr2DeliveryClientDefault(), 0);
    EXPECT_EQ(firm.GetExpWeight().AsPlain(), 0);
    EXPECT_EQ(firm.GetExpWeightClientDefault().AsPlain(), 0);
}

TEST_F(BrokerTest, WeightsAboveOneAreLoweredToOne)
{
    const BraskBroker& firm = Register({MarginRule::Gross, 0, 0, 1.01, 2.5});
    EXPECT_THAT(
        log.Take(),
        ElementsAre("WARNING [BraskBroker] When register broker with Code(AA01): ExpWeight(1.010000)>1 -> ExpWeight "
                    "forcibly set to 1",
                    "WARNING [BraskBroker] When register broker with Code(AA01): ExpWeightClientDefault(2.500000)>1 -> "
                    "ExpWeightClientDefault forcibly set to 1"));
    EXPECT_EQ(firm.GetExpWeight().AsPlain(), 100);
    EXPECT_EQ(firm.GetExpWeightClientDefault().AsPlain(), 100);
}

TEST_F(BrokerTest, AHalfNettingFirmTakesTheDeliveryMarginWholeOrNotAtAll)
{
    EXPECT_EQ(Register({MarginRule::HalfNetting, 0, 0, 0.5, 0.5}).GetExpWeight().AsPlain(), 100);
    EXPECT_THAT(log.Take(),
                ElementsAre("WARNING [BraskBroker] When register broker with Code(AA01) and MarginRule(HalfNetting): "
                            "ExpWeight(0.500000) is not equal to 0 or 1 -> ExpWeight forcibly set to 1"));
}

TEST_F(BrokerTest, AHalfNettingFirmMayHaveAWeightOfZeroOrOne)
{
    for (const double weight : {0.0, 1.0}) {
        tree.repository.Clear();
        EXPECT_EQ(Register({MarginRule::HalfNetting, 0, 0, weight, 0.0}).GetExpWeight(), t_weight_int(weight));
    }
    // Out of range the first correction comes first, and leaves nothing to the last one.
    tree.repository.Clear();
    EXPECT_EQ(Register({MarginRule::HalfNetting, 0, 0, 1.0, 0.0}).GetExpWeight().AsPlain(), 100);
    EXPECT_THAT(log.Take(), IsEmpty());
    tree.repository.Clear();
    EXPECT_EQ(Register({MarginRule::HalfNetting, 0, 0, -0.5, 0.0}).GetExpWeight().AsPlain(), 0);
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("ExpWeight(-0.500000)<0")));
}

TEST_F(BrokerTest, AFirmWithoutASettlementAccountIsRefused)
{
    const Failure failure = FailureOf([&] { tree.AddFirm("AA01", MarginRule::Netting, nullptr); });
    EXPECT_EQ(failure.code, Z9ERR_CHECK_BROKER_IS_NOT_LINKED_TO_SETTLEMENT_ACCOUNT);
    EXPECT_THAT(failure.text, HasSubstr("Broker: 'AA01'"));
    EXPECT_EQ(tree.repository.GetBrokerCount(), 0U);
}

TEST_F(BrokerTest, OrderTablesAreMadeWithRoomForASession)
{
    const BraskBroker& firm = Register({});
    EXPECT_GE(firm.GetOrderManager().GetOrders().orders_ls.bucket_count(), 1024U);
    EXPECT_GE(firm.GetOrderManager().GetOrders().orders_nm.bucket_count(), 8192U);
}

TEST_F(BrokerTest, GoWeighsBothMarginsAndTakesTheRatio)
{
    BraskBroker& firm = Register({MarginRule::Netting, 0, 0, 0.25, 0.0});
    firm.GetPortfolio().IncreaseVolatilityInitialMarginBy(80.0);
    firm.GetPortfolio().IncreaseDeliveryVolatilityInitialMarginBy(120.0);
    EXPECT_EQ(firm.GetInitialMargin(), 90.0); // 0.75 x 80 + 0.25 x 120
    firm.SetGORatio(t_bprice_int(1.5));
    EXPECT_EQ(firm.GetInitialMargin(), 135.0);
    firm.SetGORatio(t_bprice_int(0.33333));
    EXPECT_EQ(firm.GetInitialMargin(), 30.0); // 29.9997 up to cents
}

TEST_F(BrokerTest, RatioOfABaseContractMayBeTenAndNotMore)
{
    BraskBroker& firm = Register({});
    EXPECT_EQ(firm.GetBaseContractGORatio("BC"), 1.0); // nothing agreed
    firm.SetBaseContractGORatio("BC", 10.0);
    EXPECT_EQ(firm.GetBaseContractGORatio("BC"), 10.0);
    firm.SetBaseContractGORatio("BC", 0.0);
    EXPECT_EQ(firm.GetBaseContractGORatio("BC"), 0.0);
    EXPECT_THAT(log.Take(), IsEmpty());

    firm.SetBaseContractGORatio("BC", 10.000001);
    EXPECT_EQ(firm.GetBaseContractGORatio("BC"), 1.0);
    EXPECT_THAT(log.Take(),
                ElementsAre("WARNING [QuindalIM] Wrong GORatio 10.000001 for BF AA01 and BC BC (allowed range "
                            "[0.000000, 10.000000]). Reset to default value 1.000000."));
}

TEST_F(BrokerTest, RatioOfABaseContractThatIsNegativeOrNoNumberBecomesOne)
{
    BraskBroker& firm = Register({});
    for (const double ratio : {-0.5, std::numeric_limits<double>::quiet_NaN()}) {
        firm.SetBaseContractGORatio("BC", 3.0);
        firm.SetBaseContractGORatio("BC", ratio);
        EXPECT_EQ(firm.GetBaseContractGORatio("BC"), 1.0);
    }
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("Wrong GORatio -0.500000 for"), HasSubstr("Wrong GORatio nan for")));
}

TEST_F(BrokerTest, RatiosGivenAtRegistrationAreTakenAsTheyAre)
{
    const BraskBroker& firm = tree.registrar.RegisterBroker(
        BrokerCode::Parse("AA01"), Enums::BrokerAccountType::Ordinary, MarginRule::Netting, GetDummySettlementAccount(),
        0, 0, t_weight_int(), t_weight_int(), {{"BC", 25.0}});
    EXPECT_EQ(firm.GetBaseContractGORatio("BC"), 25.0);
    EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(BrokerTest, TheRatioOfABaseContractActsOnTheClientsAndNotOnTheFirmsOwnMargin)
{
    BraskBroker& firm = Register({});
    BraskClient& client = tree.AddClient(firm, "AA01001");
    firm.SetBaseContractGORatio("BC", 2.0);
    ASSERT_EQ(firm.GetPortfolio().SetPosition(FUT, 1, 800.0, 0), 0U);
    ASSERT_EQ(client.GetPortfolio().SetPosition(FUT, 1, 800.0, 0), 0U);
    EXPECT_EQ(firm.GetInitialMargin(), 100.0);
    EXPECT_EQ(client.GetInitialMargin(), 200.0);
    EXPECT_EQ(firm.GetBrokerBaseContractGORatio("BC"), 1.0);
    EXPECT_EQ(firm.GetBrokerBaseContractGORatioForMCS("MCS"), 1.0);
}

TEST_F(BrokerTest, KnowsWhichClientsHoldAFutures)
{
    BraskBroker& firm = Register({});
    BraskClient& first = tree.AddClient(firm, "AA01001");
    BraskClient& second = tree.AddClient(firm, "AA01002");
    EXPECT_THAT(firm.EnumerateClientsToRecalc(FUT), IsEmpty());

    ASSERT_EQ(first.GetPortfolio().SetPosition(FUT, 1, 800.0, 0), 0U);
    ASSERT_EQ(first.GetPortfolio().SetPosition(FUT, 2, 800.0, 0), 0U);
    EXPECT_THAT(firm.EnumerateClientsToRecalc(FUT), ElementsAre(&first));
    firm.MarkClientToRecalc(FUT, first); // once, however often
    EXPECT_THAT(firm.EnumerateClientsToRecalc(FUT), ElementsAre(&first));

    ASSERT_EQ(second.GetPortfolio().SetPosition(FUT, -1, 800.0, 0), 0U);
    EXPECT_EQ(firm.EnumerateClientsToRecalc(FUT).size(), 2U);
    EXPECT_THAT(firm.EnumerateClientsToRecalc(UnknownIsin), IsEmpty());

    // The firm's own book marks nobody.
    ASSERT_EQ(firm.GetPortfolio().SetPosition(FUT, 1, 800.0, 0), 0U);
    EXPECT_EQ(firm.EnumerateClientsToRecalc(FUT).size(), 2U);

    firm.Clear();
    EXPECT_EQ(firm.GetClientCount(), 0U);
    EXPECT_THAT(firm.EnumerateClientsToRecalc(FUT), IsEmpty());
}

TEST_F(BrokerTest, ClearingItTakesItsOrdersToo)
{
    BraskBroker& firm = Register({});
    COrderManager::SOrdersData& orders = firm.GetOrderManager().GetOrdersForUpdate();
    orders.orders_ls.emplace(COrderManager::SOrderKey{1}, std::make_unique<COrderManager::SOrder>());
    orders.orders_nm.emplace(COrderManager::SOrderKey{2}, std::make_unique<COrderManager::SOrder>());
    orders.lsorderID = 17;
    firm.Clear();
    EXPECT_TRUE(firm.GetOrderManager().GetOrders().orders_ls.empty());
    EXPECT_TRUE(firm.GetOrderManager().GetOrders().orders_nm.empty());
    EXPECT_EQ(firm.GetOrderManager().GetOrders().lsorderID, 0) << "the next local number is 1 again";
}

TEST_F(BrokerTest, ADealMayMoveTheLimitAndIsCheckedUntilTheFlagsSayOtherwise)
{
    BraskBroker& firm = Register({});
    EXPECT_TRUE(firm.GetChangeLimit());
    EXPECT_TRUE(firm.GetCheckLimit());
    firm.InitFlags(false, true);
    EXPECT_FALSE(firm.GetChangeLimit());
    EXPECT_TRUE(firm.GetCheckLimit());
    firm.InitFlags(true, false);
    EXPECT_TRUE(firm.GetChangeLimit());
    EXPECT_FALSE(firm.GetCheckLimit());
}

} // namespace
} // namespace test::BrokerTest
