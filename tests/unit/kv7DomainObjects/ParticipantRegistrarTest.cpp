// Registration: what is new is made, what is known is given back as it stands, what fails leaves no trace.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "MarginOrchestrator.h"

namespace test::ParticipantRegistrarTest {
namespace {

using Enums::MarginRule;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(ParticipantRegistrarTest, CarriesItsRepository)
{
    AccountTree tree;
    EXPECT_EQ(&tree.registrar.GetParticipantRepository(), &tree.repository);
}

TEST(ParticipantRegistrarTest, AKnownClearingFirmStays)
{
    AccountTree tree;
    const ClearingBrokerCode code = ClearingBrokerCode::Parse("AA");
    tree.registrar.RegisterClearingBroker(code);
    const BraskClearingBrokerPtr first = tree.repository.GetClearingBroker(code);
    tree.registrar.RegisterClearingBroker(code);
    EXPECT_EQ(tree.repository.GetClearingBroker(code), first);
    EXPECT_EQ(tree.repository.GetClearingBrokerCount(), 1U);
}

TEST(ParticipantRegistrarTest, AKnownSettlementAccountStaysWhateverTheRepeatSays)
{
    AccountTree tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("ID7", MarginRule::Netting);
    EXPECT_NO_THROW(tree.registrar.RegisterSettlementAccount(AccountRecord("ID7"), MarginRule{1}, true,
                                                             nullptr)); // never looked at
    EXPECT_EQ(tree.repository.GetSettlementAccountById("ID7"), account);
    EXPECT_EQ(account->GetMarginRule(), MarginRule::Netting);
    EXPECT_EQ(tree.repository.GetSettlementAccountCount(), 1U);
}

TEST(ParticipantRegistrarTest, ASettlementAccountThatIsNotValidDoesNotEnter)
{
    AccountTree tree;
    const BraskClearingBrokerPtr owner = GetDummySettlementAccount()->GetOwner();
    const auto codeOf = [&](const std::string& id, MarginRule rule, const BraskClearingBrokerPtr& ownedBy) {
        return FailureOf([&] { tree.registrar.RegisterSettlementAccount(AccountRecord(id), rule, false, ownedBy); })
            .code;
    };
    EXPECT_EQ(codeOf("", MarginRule::Netting, owner), Z9ERR_CHECK_INVALID_SETTLEMENT_ACCOUNT_ID);
    EXPECT_EQ(codeOf("ID7", MarginRule::Netting, nullptr), Z9ERR_COMMON_ERROR);
    EXPECT_EQ(codeOf("ID7", MarginRule{5}, owner), Z9ERR_COMMON_ERROR);
    EXPECT_EQ(tree.repository.GetSettlementAccountCount(), 0U);
}

TEST(ParticipantRegistrarTest, AKnownFirmIsBoundToTheOtherAccountAndOtherwiseLeftAsItStands)
{
    AccountTree tree;
    const BraskSettlementAccountPtr own = tree.AddAccount("ID1", MarginRule::Gross);
    const BraskSettlementAccountPtr other = tree.AddAccount("ID2", MarginRule::HalfNetting);
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Gross, own, 0.25, 0.5);
    BraskBroker& again = tree.AddFirm("AA01", MarginRule::Netting, other, 0.75, 1.0);

    EXPECT_EQ(&again, &firm);
    EXPECT_EQ(firm.GetSettlementAccount(), own);
    EXPECT_EQ(firm.GetMarginRule(), MarginRule::Gross);
    EXPECT_EQ(firm.GetExpWeight().AsPlain(), 25);
    EXPECT_EQ(firm.GetExpWeightClientDefault().AsPlain(), 50);
    EXPECT_THAT(own->GetBrokers(), ElementsAre(&firm));
    EXPECT_THAT(other->GetBrokers(), ElementsAre(&firm));
    EXPECT_EQ(tree.repository.GetBrokerCount(), 1U);
}

TEST(ParticipantRegistrarTest, AKnownFirmNeedsNoAccountToBeGivenBack)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Gross, GetDummySettlementAccount());
    EXPECT_EQ(&tree.AddFirm("AA01", MarginRule::Gross, nullptr), &firm);
}

TEST(ParticipantRegistrarTest, AKnownClientIsGivenBackAsItStands)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    const ClientCode code = ClientCode::Parse("AA01001");
    BraskClient& client = tree.registrar.RegisterClient(firm, code, t_bprice_int(1.5), true, 2, t_weight_int(0.5),
                                                        Enums::ClientRiskLevel::High, Enums::InvestorStatus::None);
    EXPECT_EQ(client.GetClgoRatio().AsPlain(), 150000);
    EXPECT_EQ(tree.repository.GetClientCount(), 1U);

    EXPECT_EQ(&tree.registrar.RegisterClient(firm, code), &client);
    EXPECT_EQ(&tree.registrar.RegisterClient(firm, code, false, 9, t_weight_int(1), Enums::ClientRiskLevel::Low,
                                             Enums::InvestorStatus::Accredited),
              &client);
    EXPECT_EQ(&tree.registrar.RegisterClient(client, firm), &client);
    EXPECT_EQ(tree.repository.GetClientCount(), 1U);
    EXPECT_EQ(client.GetClgoRatio().AsPlain(), 150000);
    EXPECT_EQ(client.GetNClr2Delivery(), 2);
    EXPECT_EQ(client.GetRiskLevel(), Enums::ClientRiskLevel::High);
    EXPECT_TRUE(client.GetNoFutDiscount());
}

TEST(ParticipantRegistrarTest, ACopyOfAClientCarriesParametersMoneyAndPositions)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    BraskClient& client =
        tree.registrar.RegisterClient(firm, ClientCode::Parse("AA01001"), t_bprice_int(1.5), true, 2, t_weight_int(0.5),
                                      Enums::ClientRiskLevel::High, Enums::InvestorStatus::None);
    client.SetNotUseNOV(1);
    client.SetCalSpreadMarginType(Enums::SpreadMarginType::Netting);
    client.GetMeansForUpdate().m_fee = t_bround_int::FromPlain(70);
    ASSERT_EQ(margin_orchestrator::SetPositionClient(client, FUT, 2, 800.0, 0), 0U);
    SPosition record;
    record.isin = FUT;
    record.quantity = 2;
    record.vmClose = t_bsum_int(12.5);
    client.GetPositionCalculator().InsertPosition(record, true, false);

    AccountTree snapshot; // another calculator
    BraskBroker& target = snapshot.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    BraskClient& copy = snapshot.registrar.RegisterClient(client, target);
    EXPECT_EQ(snapshot.repository.GetClientCount(), 1U);
    EXPECT_EQ(&snapshot.repository.GetClient(ClientCode::Parse("AA01001")), &copy);
    EXPECT_EQ(&copy.GetBroker(), &target);
    EXPECT_EQ(copy.GetClgoRatio().AsPlain(), 150000);
    EXPECT_EQ(copy.GetNClr2Delivery(), 2);
    EXPECT_EQ(copy.GetRiskLevel(), Enums::ClientRiskLevel::High);
    EXPECT_EQ(copy.GetCalSpreadMarginType(), Enums::SpreadMarginType::Netting);
    EXPECT_TRUE(copy.IsNotUseNOV());
    EXPECT_EQ(copy.GetMeans().m_fee.AsPlain(), 70);
    EXPECT_EQ(copy.GetVMCloseTotal(), t_bsum_int(12.5));
    EXPECT_EQ(copy.GetPositionCalculator().getPosition(FUT)->instr,
              &snapshot.positionInstruments.getInstrumentCLR(FUT)); // the instrument of its own dictionary
    EXPECT_EQ(copy.GetPortfolio().GetVolatilityInitialMargin(), 200.0);
    EXPECT_EQ(copy.GetInitialMargin(), 300.0); // two contracts from the side book, times 1.5
    EXPECT_THAT(target.EnumerateClientsToRecalc(FUT), ElementsAre(&copy));
}

// Each value is one that no client has by itself, so that none of them can be left behind unseen.
TEST(ParticipantRegistrarTest, ACopyOfAClientCarriesEveryParameterAndSum)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    BraskClient& client =
        tree.registrar.RegisterClient(firm, ClientCode::Parse("AA01001"), t_bprice_int(1.5), true, 2, t_weight_int(0.5),
                                      Enums::ClientRiskLevel::High, Enums::InvestorStatus::Accredited);
    client.GetCollateralChecker().Enable(!client.GetCollateralChecker().Enabled());
    client.SetCalSpreadMarginType(Enums::SpreadMarginType::Netting);
    client.SetInterContractSpreadMarginType(Enums::SpreadMarginType::Unused);
    client.SetShortOptionMinimumChargeRatio(2.5);
    client.SetAmountMoneyOld(t_bround_int::FromPlain(11));
    client.SetNotUseNOVNextSession(true, false);
    client.GetMeansForUpdate().VMReserve = t_bround_int::FromPlain(12);
    client.GetMeansForUpdate().BlockedMoney = t_bround_int::FromPlain(13);
    ClientRiskParameters parameters = client.GetRiskParameters();
    parameters.autoUpdateLimit = true;
    client.SetRiskParameters(parameters);
    CPositionCalculator& accounting = client.GetPositionCalculator();
    accounting.VM = t_bsum_int(1.0);
    accounting.VMFull = t_bsum_int(2.0);
    accounting.VMCurr = {{7, t_bsum_int(3.0)}};
    accounting.VMCurrFull = {{8, t_bsum_int(4.0)}};
    accounting.NetOptionValue = t_bsum_int(5.0);

    BraskBroker& target = tree.AddFirm("AA02", MarginRule::Netting, GetDummySettlementAccount());
    const BraskClient copy(client, target, tree.positionInstruments);
    EXPECT_EQ(copy.GetClientCode(), client.GetClientCode());
    EXPECT_EQ(copy.GetCollateralChecker().GetErrorCode(), Z9ERR_CLGO_NOT_ENOUGH);
    EXPECT_EQ(copy.GetCollateralChecker().Enabled(), client.GetCollateralChecker().Enabled());
    EXPECT_EQ(copy.GetNClr2Delivery(), 2);
    EXPECT_EQ(copy.GetExpWeight().AsPlain(), 50);
    EXPECT_TRUE(copy.GetNoFutDiscount());
    EXPECT_EQ(copy.GetMarginRule(), MarginRule::Netting);
    EXPECT_EQ(copy.GetRiskLevel(), Enums::ClientRiskLevel::High);
    EXPECT_EQ(copy.GetInvestorStatus(), Enums::InvestorStatus::Accredited);
    EXPECT_EQ(copy.GetCalSpreadMarginType(), Enums::SpreadMarginType::Netting);
    EXPECT_EQ(copy.GetInterContractSpreadMarginType(), Enums::SpreadMarginType::Unused);
    EXPECT_EQ(copy.GetShortOptionMinimumChargeRatio(), 2.5);
    EXPECT_EQ(copy.GetAmountMoneyOld().AsPlain(), 11);
    EXPECT_EQ(copy.GetMeans().VMReserve.AsPlain(), 12);
    EXPECT_EQ(copy.GetMeans().BlockedMoney.AsPlain(), 13);
    EXPECT_TRUE(copy.GetRiskParameters().autoUpdateLimit);
    EXPECT_TRUE(copy.IsNotUseNOVNextSession()) << "as set, and not as the new firm has it";
    EXPECT_EQ(copy.GetPositionCalculator().GetVM(), t_bsum_int(1.0));
    EXPECT_EQ(copy.GetPositionCalculator().GetVMFull(), t_bsum_int(2.0));
    EXPECT_THAT(copy.GetPositionCalculator().GetVMCurr(), ElementsAre(testing::Pair(7, t_bsum_int(3.0))));
    EXPECT_THAT(copy.GetPositionCalculator().GetVMCurrFull(), ElementsAre(testing::Pair(8, t_bsum_int(4.0))));
    EXPECT_EQ(copy.GetPositionCalculator().GetNetOptionValue(), t_bsum_int(5.0));
}

TEST(ParticipantRegistrarTest, ACopyThatCannotBeMadeLeavesTheTablesAsTheyWere)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    BraskClient& client = tree.AddClient(firm, "AA01001");
    SPosition record;
    record.isin = FUT;
    client.GetPositionCalculator().InsertPosition(record, false, false);

    AccountTree other;
    other.positionInstruments.Clear(); // the accounting knows no instrument here
    BraskBroker& target = other.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    EXPECT_EQ(FailureOf([&] { other.registrar.RegisterClient(client, target); }).code,
              Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    EXPECT_EQ(other.repository.GetClientCount(), 0U);
    EXPECT_EQ(target.GetClientCount(), 0U);
}

TEST(ParticipantRegistrarTest, ClearingAFirmWithoutClientsSucceeds)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    EXPECT_NO_THROW(tree.registrar.ClearBroker(firm));
    EXPECT_EQ(tree.repository.GetClientCount(), 0U);
}

TEST(ParticipantRegistrarTest, ClearingAFirmTakesItsClientsOutOfTheCount)
{
    AccountTree tree;
    BraskBroker& first = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    BraskBroker& second = tree.AddFirm("AA02", MarginRule::Netting, GetDummySettlementAccount());
    tree.AddClient(first, "AA01001");
    tree.AddClient(first, "AA01002");
    tree.AddClient(second, "AA02001");
    tree.registrar.ClearBroker(first, true);
    EXPECT_EQ(tree.repository.GetClientCount(), 1U);
    EXPECT_EQ(first.GetClientCount(), 0U);
    EXPECT_EQ(tree.repository.GetBrokerCount(), 2U); // the firm stays
}

} // namespace
} // namespace test::ParticipantRegistrarTest
