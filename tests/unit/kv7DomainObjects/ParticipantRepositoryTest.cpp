// The registry read: searches that find, searches that say no, and Clear.
#include <ranges>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AccountTree.h"

namespace test::ParticipantRepositoryTest {
namespace {

using Enums::MarginRule;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(ParticipantRepositoryTest, SearchOfAClientOfAnUnknownFirmFindsNothingAndThrowsNothing)
{
    AccountTree tree;
    const ClientCode code = ClientCode::Parse("AA01001");
    const ClientSearchResult result = tree.repository.SearchClient(code);
    EXPECT_FALSE(result.BrokerFound());
    EXPECT_FALSE(result.ClientFound());
    EXPECT_EQ(result.Broker(), nullptr);
    EXPECT_EQ(result.Client(), nullptr);
    EXPECT_EQ(result.GetClientCode(), code);
    EXPECT_EQ(result.ReportFailure(11, 22), 11U);
}

TEST(ParticipantRepositoryTest, SearchOfAClientGoesAsFarAsItCan)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    BraskClient& client = tree.AddClient(firm, "AA01001");

    const ClientSearchResult missing = tree.repository.SearchClient(ClientCode::Parse("AA01002"));
    EXPECT_EQ(missing.Broker(), &firm);
    EXPECT_EQ(missing.Client(), nullptr);
    EXPECT_EQ(missing.ReportFailure(11, 22), 22U);

    const ClientSearchResult found = tree.repository.SearchClient(ClientCode::Parse("AA01001"));
    EXPECT_EQ(found.Broker(), &firm);
    EXPECT_EQ(found.Client(), &client);
    EXPECT_EQ(found.ReportFailure(11, 22), Z9ERR_OK);
    EXPECT_EQ(&tree.repository.GetClient(ClientCode::Parse("AA01001")), &client);
}

TEST(ParticipantRepositoryTest, TheSameShortCodeInTwoFirmsIsTwoClients)
{
    AccountTree tree;
    BraskBroker& first = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    BraskBroker& second = tree.AddFirm("AA02", MarginRule::Netting, GetDummySettlementAccount());
    BraskClient& one = tree.AddClient(first, "AA01001");
    BraskClient& two = tree.AddClient(second, "AA02001");
    EXPECT_NE(&one, &two);
    EXPECT_EQ(&tree.repository.GetClient(ClientCode::Parse("AA01001")), &one);
    EXPECT_EQ(&tree.repository.GetClient(ClientCode::Parse("AA02001")), &two);
    EXPECT_EQ(tree.repository.GetClientCount(), 2U);
}

TEST(ParticipantRepositoryTest, AMissingClientIsNamedAndSoIsAMissingFirm)
{
    AccountTree tree;
    const auto get = [&] { static_cast<void>(tree.repository.GetClient(ClientCode::Parse("AA01001"))); };
    const Failure noFirm = FailureOf(get);
    EXPECT_EQ(noFirm.code, Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    EXPECT_THAT(noFirm.text, HasSubstr("The broker of the Client \"AA01001\" not found"));

    tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    const Failure noClient = FailureOf(get);
    EXPECT_EQ(noClient.code, 94309U);
    EXPECT_THAT(noClient.text, HasSubstr("Client \"AA01001\" not found"));
    EXPECT_THAT(noClient.text, Not(HasSubstr("The broker of")));
}

TEST(ParticipantRepositoryTest, AMissingFirmGivesTheCodeOfTheCaller)
{
    AccountTree tree;
    const BrokerCode code = BrokerCode::Parse("AA01");
    for (const Z9ERR error : {Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED, Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND})
        EXPECT_EQ(FailureOf([&] { static_cast<void>(tree.repository.GetBroker(code, error)); }).code, error);
    EXPECT_EQ(tree.repository.SearchBroker(code), nullptr);
    EXPECT_FALSE(tree.repository.ContainsBroker(code));

    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    EXPECT_EQ(&tree.repository.GetBroker(code, 5), &firm);
    EXPECT_EQ(tree.repository.SearchBroker(code), &firm);
    EXPECT_TRUE(tree.repository.ContainsBroker(code));
}

TEST(ParticipantRepositoryTest, SettlementAccountsAreFoundByTheirId)
{
    AccountTree tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("ID7", MarginRule::Netting);
    EXPECT_EQ(tree.repository.SearchSettlementAccountById("ID7"), account);
    EXPECT_EQ(tree.repository.SearchSettlementAccountById("ID8"), nullptr);
    // The length of the view counts, not a zero behind it.
    EXPECT_EQ(tree.repository.GetSettlementAccountById(std::string_view("ID77", 3)), account);
    const Failure failure =
        FailureOf([&] { static_cast<void>(tree.repository.GetSettlementAccountById(std::string_view("ID8x", 3))); });
    EXPECT_EQ(failure.code, Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND);
    EXPECT_THAT(failure.text, HasSubstr("Settlement Account \"ID8\" not found"));
}

TEST(ParticipantRepositoryTest, TheStandInAccountIsInNoRegistry)
{
    AccountTree tree;
    tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    EXPECT_EQ(tree.repository.GetSettlementAccountCount(), 0U);
    EXPECT_EQ(tree.repository.SearchSettlementAccountById("************"), nullptr);
}

TEST(ParticipantRepositoryTest, ClearingFirmsAreFoundByTheirCode)
{
    AccountTree tree;
    const ClearingBrokerCode code = ClearingBrokerCode::Parse("AA");
    EXPECT_EQ(FailureOf([&] { static_cast<void>(tree.repository.GetClearingBroker(code)); }).code,
              Z9ERR_DATALOAD_RF_NOT_FOUND);
    tree.registrar.RegisterClearingBroker(code);
    EXPECT_EQ(tree.repository.GetClearingBroker(code)->GetClearingBrokerCode(), code);
}

TEST(ParticipantRepositoryTest, EnumeratesAllThatItHolds)
{
    AccountTree tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("ID7", MarginRule::Netting);
    BraskBroker& first = tree.AddFirm("AA01", MarginRule::Netting, account);
    BraskBroker& second = tree.AddFirm("AA02", MarginRule::Netting, account);
    std::vector<BraskBroker*> firms;
    for (BraskBroker& firm : tree.repository.EnumerateBrokers())
        firms.push_back(&firm);
    EXPECT_THAT(firms, testing::UnorderedElementsAre(&first, &second));
    std::vector<BraskSettlementAccountPtr> accounts;
    for (const BraskSettlementAccountPtr& entry : tree.repository.EnumerateSettlementAccounts())
        accounts.push_back(entry);
    EXPECT_THAT(accounts, testing::ElementsAre(account));
    BraskClient& client = tree.AddClient(first, "AA01001");
    for (BraskClient& entry : first.EnumerateClients())
        EXPECT_EQ(&entry, &client);
}

TEST(ParticipantRepositoryTest, ReferencesStayWhileTheTablesGrow)
{
    AccountTree tree;
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount());
    BraskClient& client = tree.AddClient(firm, "AA01001");
    for (int i = 10; i < 60; ++i) {
        const std::string code = "AB" + std::to_string(i);
        tree.AddFirm(code, MarginRule::Netting, GetDummySettlementAccount());
        tree.AddClient(firm, "AA01A" + std::to_string(i));
    }
    EXPECT_EQ(tree.repository.SearchBroker(BrokerCode::Parse("AA01")), &firm);
    EXPECT_EQ(&tree.repository.GetClient(ClientCode::Parse("AA01001")), &client);
    EXPECT_EQ(tree.repository.GetClientCount(), 51U);
}

TEST(ParticipantRepositoryTest, ClearOfAnEmptyRepositoryIsHarmless)
{
    ParticipantRepository repository;
    repository.Clear();
    EXPECT_EQ(repository.GetClientCount(), 0U);
}

TEST(ParticipantRepositoryTest, ClearEmptiesAllTablesAndTheCounter)
{
    AccountTree tree;
    tree.registrar.RegisterClearingBroker(ClearingBrokerCode::Parse("AA"));
    const BraskSettlementAccountPtr own = tree.AddAccount("ID1", MarginRule::Netting);
    const BraskSettlementAccountPtr other = tree.AddAccount("ID2", MarginRule::Netting);
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, own);
    tree.AddFirm("AA01", MarginRule::Netting, other); // bound to both
    tree.AddClient(firm, "AA01001");
    tree.AddClient(firm, "AA01002");
    EXPECT_EQ(tree.repository.GetClearingBrokerCount(), 1U);
    EXPECT_EQ(tree.repository.GetSettlementAccountCount(), 2U);
    EXPECT_EQ(tree.repository.GetBrokerCount(), 1U);
    EXPECT_EQ(tree.repository.GetClientCount(), 2U);

    tree.repository.Clear();
    EXPECT_EQ(tree.repository.GetClearingBrokerCount(), 0U);
    EXPECT_EQ(tree.repository.GetSettlementAccountCount(), 0U);
    EXPECT_EQ(tree.repository.GetBrokerCount(), 0U);
    EXPECT_EQ(tree.repository.GetClientCount(), 0U);
    // Whoever still holds an account finds no firm in it that is gone.
    EXPECT_THAT(own->GetBrokers(), IsEmpty());
    EXPECT_THAT(other->GetBrokers(), IsEmpty());
    // And the tree grows anew.
    tree.AddClient(tree.AddFirm("AA01", MarginRule::Netting, GetDummySettlementAccount()), "AA01001");
    EXPECT_EQ(tree.repository.GetClientCount(), 1U);
}

} // namespace
} // namespace test::ParticipantRepositoryTest
