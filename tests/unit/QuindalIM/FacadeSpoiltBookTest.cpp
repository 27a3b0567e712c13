// A position that no market has, as a price that is no number or more contracts than there are: it hurts only as long
// as it stands. Afterwards the figures are those of a fresh book, at each level of the tree.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "ExportCalls.h"
#include "FacadeFixture.h"
#include "LibraryState.h"
#include "ParticipantRepository.h"
#include "TradingCodes.h"
#include "TreeRules.h"

namespace test::FacadeSpoiltBookTest {
namespace {

using calls::Margins;
using testing::Each;

struct Mistake
{
    const char* name;
    std::int64_t quantity;
    double price;
};
const Mistake mistakes[] = {
    {"a price that is no number", 10, std::numeric_limits<double>::quiet_NaN()},
    {"an infinite price", 10, std::numeric_limits<double>::infinity()},
    {"an infinite price below 0", 10, -std::numeric_limits<double>::infinity()},
    {"a price of 300 digits", 10, 1e300},
    {"the largest quantity", std::numeric_limits<std::int64_t>::max(), 0.0},
    {"the largest short quantity", std::numeric_limits<std::int64_t>::min(), 0.0},
};

/// Futures A and B of two base contracts, each with the grid 900, 1000, 1100. AA00001 has bought 10 of A at 990 and
/// sold 2 of B at 1000, and has an order for 3 of A at 1000; AA00002 has bought 5 of A at 1000. The firm and the
/// account take in what their clients lose.
class FacadeSpoiltBookTest : public CalculatorTest
{
protected:
    FacadeSpoiltBookTest()
    {
        for (const char* const code : {"A", "B"}) {
            const std::string baseContract = std::string("BC") + code;
            EXPECT_EQ(calls::BaseContract(calc, baseContract.c_str()), 0);
            EXPECT_EQ(calls::Futures(calc, code, baseContract.c_str()), 0);
        }
        Enter();
    }

    void Enter()
    {
        EXPECT_EQ(calls::Account(calc, "ACC", QUINDAL_MARGIN_RULE_HALF_NETTING), 0);
        EXPECT_EQ(RegisterFirm(calc, "AA00", 0, 1.0, 1.0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, "ACC",
                               QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_HALF_NETTING,
                               QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1.0, 0),
                  0);
        EXPECT_EQ(calls::Part(calc, "AA00001"), 0);
        EXPECT_EQ(calls::Part(calc, "AA00002"), 0);
        Margins margins;
        EXPECT_EQ(calls::Position(calc, "AA00002", "A", 5, 1000.0, margins), 0);
        EXPECT_EQ(calls::Position(calc, "AA00001", "B", -2, 1000.0, margins), 0);
        EXPECT_EQ(calls::Order(calc, "AA00001", "A", 1, 1000.0, 3, margins), 0);
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", 10, 990.0, margins), 0);
    }

    /// The GO of a client by now; an order of no contracts changes nothing.
    [[nodiscard]] double Present(const char* client) const
    {
        Margins margins;
        EXPECT_EQ(calls::Order(calc, client, "A", 1, 1000.0, 0, margins), 0);
        return margins.part;
    }

    /// Of the two clients: 10 x (990 - 900) + 2 x (1100 - 1000) + 3 x (1000 - 900), and 5 x (1000 - 900).
    [[nodiscard]] std::vector<double> OfClients() const { return {Present("AA00001"), Present("AA00002")}; }
    const std::vector<double> right{1400.0, 500.0};

    /// Of the levels above, which no exported function hands out: both clients' losses, 1900.
    [[nodiscard]] static std::vector<double> OfLevels()
    {
        ParticipantRepository& repository = QuindalIM::GetParticipantRepositoryForQuindaIM();
        return {repository.GetBroker(CodeParser<BrokerCode>("AA00").Parse(), Z9ERR_COMMON_ERROR).GetInitialMargin(),
                repository.GetSettlementAccountById("ACC")->GetInitialMargin()};
    }
};

TEST_F(FacadeSpoiltBookTest, ClearPartsAndTheBookAgainBringAllFiguresBack)
{
    EXPECT_EQ(OfClients(), right);
    EXPECT_THAT(OfLevels(), Each(1900.0));
    for (const Mistake& mistake : mistakes) {
        Margins margins;
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", mistake.quantity, mistake.price, margins), 0) << mistake.name;
        ASSERT_EQ(ClearParts(calc), 0) << mistake.name;
        Enter();
        EXPECT_EQ(OfClients(), right) << mistake.name;
        EXPECT_THAT(OfLevels(), Each(1900.0)) << mistake.name;
    }
}

// The book of this client alone is taken anew, as ChangePart does where a parameter differs; then back again.
TEST_F(FacadeSpoiltBookTest, ThePositionAndChangePartThereAndBackBringTheClientsFiguresBack)
{
    for (const Mistake& mistake : mistakes) {
        Margins margins;
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", mistake.quantity, mistake.price, margins), 0) << mistake.name;
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", 10, 990.0, margins), 0) << mistake.name;
        EXPECT_EQ(ChangePart(calc, "AA00001", 1, 0, 0.5), 0) << mistake.name;
        EXPECT_EQ(Present("AA00001"), 1500.0) << mistake.name << ": 10 x (1000 - 900) without the discount";
        EXPECT_EQ(ChangePart(calc, "AA00001", 0, 0, 0.5), 0) << mistake.name;
        EXPECT_EQ(OfClients(), right) << mistake.name;
        // It goes on from there.
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", 1, 990.0, margins), 0);
        EXPECT_EQ(margins.part, 590.0) << mistake.name; // 90 + 200 + 300
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", 10, 990.0, margins), 0);
        EXPECT_EQ(OfClients(), right) << mistake.name;
    }
}

TEST_F(FacadeSpoiltBookTest, OtherClientsAreNotTouched)
{
    for (const Mistake& mistake : mistakes) {
        Margins margins;
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", mistake.quantity, mistake.price, margins), 0) << mistake.name;
        EXPECT_EQ(Present("AA00002"), 500.0) << mistake.name;
        EXPECT_EQ(calls::Position(calc, "AA00002", "A", 6, 1000.0, margins), 0);
        EXPECT_EQ(margins.part, 600.0) << mistake.name;
        EXPECT_EQ(calls::Position(calc, "AA00002", "A", 5, 1000.0, margins), 0);
    }
}

// What is right again at once ----------------------------------------------------------------------------------------

/// A firm with two clients and a second firm with one, all of one account, under each pair of rules. Each level that
/// keeps records of its own has some, at prices with cents.
class FacadeSpoiltTreeTest : public CalculatorTest, public testing::WithParamInterface<TreeRules>
{
protected:
    FacadeSpoiltTreeTest()
    {
        EXPECT_EQ(calls::BaseContract(calc, "BCA"), 0);
        EXPECT_EQ(calls::BaseContract(calc, "BCB"), 0);
        EXPECT_EQ(calls::Futures(calc, "A", "BCA"), 0);
        EXPECT_EQ(calls::Futures(calc, "B", "BCB"), 0);
        EXPECT_EQ(calls::OptionSeries(calc, "S", "A"), 0);
        EXPECT_EQ(calls::Option(calc, "C1000", "S", 1000.0), 0);
        EXPECT_EQ(calls::Account(calc, "ACC", GetParam().account), 0);
        for (const char* const firm : {"AA00", "BB00"})
            EXPECT_EQ(RegisterFirm(calc, firm, 0, 1.0, 1.0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, "ACC",
                                   QUINDAL_SPREAD_MARGIN_TYPE_NETTING, GetParam().firm,
                                   QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1.0, 0),
                      0);
        for (const char* const client : clients) {
            EXPECT_EQ(calls::Part(calc, client), 0);
            Set(client, "A", 3, 989.42);
            Set(client, "B", -2, 1000.17);
            Set(client, "C1000", -4, 12.34);
            Place(client, "A", 3);
        }
        for (const char* const firm : {"AA00", "BB00"}) {
            Set(firm, "A", 6, 989.42, QUINDAL_ACCOUNT_HIERARCHY_BROKER);
            Set(firm, "B", -4, 1000.17, QUINDAL_ACCOUNT_HIERARCHY_BROKER);
        }
        Set("ACC", "A", 9, 989.42, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT);
        before = Tree();
    }

    void Set(const char* code, const char* instrument, std::int64_t quantity, double price,
             QuindalAccountHierarchyRecordType level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT)
    {
        Margins margins;
        EXPECT_EQ(calls::Position(calc, code, instrument, quantity, price, margins, level), 0) << code;
    }
    void Place(const char* client, const char* instrument, std::int64_t quantity)
    {
        Margins margins;
        EXPECT_EQ(calls::Order(calc, client, instrument, 1, 1000.0, quantity, margins), 0) << client;
    }
    /// GO of the clients, the firms and the account, each to the cent.
    [[nodiscard]] static std::vector<double> Tree()
    {
        ParticipantRepository& repository = QuindalIM::GetParticipantRepositoryForQuindaIM();
        std::vector<double> tree;
        for (const char* const client : clients)
            tree.push_back(repository.GetClient(CodeParser<ClientCode>(client).Parse()).GetInitialMargin());
        for (const char* const firm : {"AA00", "BB00"})
            tree.push_back(
                repository.GetBroker(CodeParser<BrokerCode>(firm).Parse(), Z9ERR_COMMON_ERROR).GetInitialMargin());
        tree.push_back(repository.GetSettlementAccountById("ACC")->GetInitialMargin());
        return tree;
    }

    static constexpr const char* clients[] = {"AA00001", "AA00002", "BB00001"};
    std::vector<double> before;
};

TEST_P(FacadeSpoiltTreeTest, TheRightPositionAfterAMistakeMakesAllFiguresRightAgain)
{
    EXPECT_THAT(before, testing::Contains(testing::Gt(0.0)));
    for (const Mistake& mistake : mistakes) {
        Set("AA00001", "A", mistake.quantity, mistake.price);
        Set("AA00001", "A", 3, 989.42);
        EXPECT_EQ(Tree(), before) << mistake.name << ", in a futures";
        Set("AA00001", "C1000", mistake.quantity, mistake.price);
        Set("AA00001", "C1000", -4, 12.34);
        EXPECT_EQ(Tree(), before) << mistake.name << ", in an option";
        Set("AA00", "A", mistake.quantity, mistake.price, QUINDAL_ACCOUNT_HIERARCHY_BROKER);
        Set("AA00", "A", 6, 989.42, QUINDAL_ACCOUNT_HIERARCHY_BROKER);
        EXPECT_EQ(Tree(), before) << mistake.name << ", of a firm";
        Set("ACC", "A", mistake.quantity, mistake.price, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT);
        Set("ACC", "A", 9, 989.42, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT);
        EXPECT_EQ(Tree(), before) << mistake.name << ", of the account";
    }
}

// 10^12 contracts leave nothing behind when they go, in the instrument itself, in a new one, as an order.
TEST_P(FacadeSpoiltTreeTest, MoreContractsThanThereAreLeaveTheCentsOfTheRest)
{
    for (const std::int64_t quantity : {1'000'000'000'000, -1'000'000'000'000}) {
        Set("AA00002", "A", quantity, 1000.0);
        Set("AA00002", "A", 3, 989.42);
        EXPECT_EQ(Tree(), before) << quantity;
        Place("AA00002", "A", quantity);
        Place("AA00002", "A", -quantity);
        EXPECT_EQ(Tree(), before) << quantity;
        Place("AA00002", "C1000", quantity);
        Place("AA00002", "C1000", -quantity);
        EXPECT_EQ(Tree(), before) << quantity;
    }
}

// As long as the mistake stands, other changes are made beside it; the book is right when it has gone.
TEST_P(FacadeSpoiltTreeTest, WhatChangesBesideAMistakeIsThereWhenItHasGone)
{
    for (const Mistake& mistake : mistakes) {
        Set("AA00001", "A", mistake.quantity, mistake.price);
        Set("AA00001", "B", -5, 1000.17);
        Set("AA00002", "B", 7, 1000.17);
        Place("AA00001", "A", 2);
        Set("AA00001", "A", 3, 989.42);
        Place("AA00001", "A", -2);
        Set("AA00001", "B", -2, 1000.17);
        Set("AA00002", "B", -2, 1000.17);
        EXPECT_EQ(Tree(), before) << mistake.name;
    }
}

TEST_P(FacadeSpoiltTreeTest, ChangePartRightensTheLevelsAboveToo)
{
    for (const Mistake& mistake : mistakes) {
        Set("AA00001", "A", mistake.quantity, mistake.price);
        EXPECT_EQ(ChangePart(calc, "AA00001", 1, 0, 0.5), 0) << mistake.name;
        Set("AA00001", "A", 3, 989.42);
        EXPECT_EQ(ChangePart(calc, "AA00001", 0, 0, 0.5), 0) << mistake.name;
        EXPECT_EQ(Tree(), before) << mistake.name;
    }
}

INSTANTIATE_TEST_SUITE_P(UnderEachRule, FacadeSpoiltTreeTest, testing::ValuesIn(AllTreeRules()),
                         [](const auto& rules) { return NameOf(rules.param); });

} // namespace
} // namespace test::FacadeSpoiltBookTest
