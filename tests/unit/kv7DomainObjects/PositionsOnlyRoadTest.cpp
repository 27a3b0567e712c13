// Positions in the mode of cost basis and market price, level by level.
//
// One FUT bought at 800 with the market at 780 has lost 20 on paper. What the lowest price, 700, may still take is 80:
// that is its margin, the paper loss stands apart.
#include <cstdint>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "MarginOrchestrator.h"
#include "OneClientTree.h"
#include "kv7errors.h"

namespace test::PositionsOnlyRoadTest {
namespace {

using Enums::AccountHierarchyRecordType;
using Enums::MarginRule;
using margin_orchestrator::SetPositionBroker_PositionsOnly;
using margin_orchestrator::SetPositionByRecordType_PositionsOnly;
using margin_orchestrator::SetPositionClient_PositionsOnly;
using margin_orchestrator::SetPositionSettlementAccount_PositionsOnly;

constexpr MarginRule AllRules[] = {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting};

template <class Story>
void AtEveryPairOfRules(const Story& story)
{
    for (const MarginRule firm : AllRules) {
        for (const MarginRule account : AllRules) {
            SCOPED_TRACE("firm " + std::to_string(static_cast<int>(firm)) + ", account " +
                         std::to_string(static_cast<int>(account)));
            OneClientTree tree(firm, account);
            story(tree, firm, account);
        }
    }
}

TEST(PositionsOnlyRoad, AClientsPositionStaysWithTheClient)
{
    AtEveryPairOfRules([](OneClientTree& tree, MarginRule, MarginRule) {
        EXPECT_EQ(SetPositionClient_PositionsOnly(tree.client, FUT, 1, 800.0, 780.0, 0), Z9ERR_OK);
        tree.ExpectGO(80.0, 0.0, 0.0);
        EXPECT_EQ(SetPositionClient_PositionsOnly(tree.client, FUT, 0, 0.0, 0.0, 0), Z9ERR_OK);
        tree.ExpectGO(0.0, 0.0, 0.0);
    });
}

// Only under Netting a firm has positions of its own; an account under Gross sums what they change.
TEST(PositionsOnlyRoad, AFirmsRecordCountsUnderNettingAndMovesAnAccountThatSums)
{
    AtEveryPairOfRules([](OneClientTree& tree, MarginRule firm, MarginRule account) {
        EXPECT_EQ(SetPositionBroker_PositionsOnly(tree.firm, FUT, 1, 800.0, 780.0, 0), Z9ERR_OK);
        const double own = firm == MarginRule::Netting ? 80.0 : 0.0;
        tree.ExpectGO(0.0, own, account == MarginRule::Gross ? own : 0.0);
    });
}

TEST(PositionsOnlyRoad, AnAccountsRecordCountsUnderNetting)
{
    AtEveryPairOfRules([](OneClientTree& tree, MarginRule, MarginRule account) {
        EXPECT_EQ(SetPositionSettlementAccount_PositionsOnly(*tree.account, FUT, 1, 800.0, 780.0, 0), Z9ERR_OK);
        tree.ExpectGO(0.0, 0.0, account == MarginRule::Netting ? 80.0 : 0.0);
    });
}

TEST(PositionsOnlyRoad, TheRecordTypeNamesTheLevel)
{
    OneClientTree tree(MarginRule::Netting, MarginRule::Netting);
    const auto set = [&](const char* code, int type) {
        return SetPositionByRecordType_PositionsOnly(code, static_cast<AccountHierarchyRecordType>(type), FUT, 1, 800.0,
                                                     780.0, 0, tree.repository);
    };
    EXPECT_EQ(set("AA01001", 2), Z9ERR_OK);
    tree.ExpectGO(80.0, 0.0, 0.0);
    EXPECT_EQ(set("AA01", 1), Z9ERR_OK);
    tree.ExpectGO(80.0, 80.0, 0.0);
    EXPECT_EQ(set("ID1", 3), Z9ERR_OK) << "anything but a firm's and a client's type is an account's";
    tree.ExpectGO(80.0, 80.0, 80.0);
    EXPECT_EQ(FailureOf([&] { return set("AA02", 1); }).code, Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED);
    EXPECT_EQ(FailureOf([&] { return set("AA01009", 2); }).code, Z9ERR_CHECK_CLIENT_NOT_FOUND);
    EXPECT_EQ(FailureOf([&] { return set("ID2", 0); }).code, Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND);
}

// One FUT bought at 780 with the market at 820 has won. Without discount it counts at the settlement price: 100 of
// margin. Bought at 820 with the market at 780 it has lost 40 on paper and may lose the 80 that are left.
TEST(PositionsOnlyRoad, CostAndMarketPriceKeepTheirPlacesAtEveryLevelWithoutDiscount)
{
    const struct
    {
        double cost, market, go;
    } cases[] = {{780.0, 820.0, 100.0}, {820.0, 780.0, 80.0}};
    for (const auto& c : cases) {
        OneClientTree tree(MarginRule::Netting, MarginRule::Netting);
        for (ParticipantBase* const level :
             {static_cast<ParticipantBase*>(&tree.client), static_cast<ParticipantBase*>(&tree.firm),
              static_cast<ParticipantBase*>(tree.account.get())})
            level->SetNoFutDiscount(true);
        tree.client.SetNotUseNOV(1); // the second book of the client, which its GO is taken from, gets the same
        for (const auto& [code, type] : {std::pair("AA01001", AccountHierarchyRecordType::Client),
                                         std::pair("AA01", AccountHierarchyRecordType::Broker),
                                         std::pair("ID1", AccountHierarchyRecordType::SettlementAccount)})
            EXPECT_EQ(SetPositionByRecordType_PositionsOnly(code, type, FUT, 1, c.cost, c.market, 0, tree.repository),
                      Z9ERR_OK);
        tree.ExpectGO(c.go, c.go, c.go);
        EXPECT_NEAR(tree.client.GetPortfolio().GetVolatilityInitialMargin(), c.go, 1e-9);
    }
}

TEST(PositionsOnlyRoad, AnUnknownInstrumentGivesItsCodeAtEveryLevel)
{
    OneClientTree tree(MarginRule::Netting, MarginRule::Netting);
    EXPECT_EQ(SetPositionClient_PositionsOnly(tree.client, UnknownIsin, 1, 800.0, 780.0, 0), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(SetPositionBroker_PositionsOnly(tree.firm, UnknownIsin, 1, 800.0, 780.0, 0), Z9ERR_INSTRUMENT_ABSENT);
    EXPECT_EQ(SetPositionSettlementAccount_PositionsOnly(*tree.account, UnknownIsin, 1, 800.0, 780.0, 0),
              Z9ERR_INSTRUMENT_ABSENT);
    tree.ExpectGO(0.0, 0.0, 0.0);
}

// The book without premium-style options takes the futures and leaves the option out: its figure is the client's.
TEST(PositionsOnlyRoad, TheBookWithoutPremiumStyleOptionsFollows)
{
    OneClientTree tree(MarginRule::HalfNetting, MarginRule::HalfNetting);
    const kv7im::Portfolio& sideBook = tree.client.GetPortfolioWithoutEquityOptions();
    EXPECT_EQ(SetPositionClient_PositionsOnly(tree.client, SpreadFutures, 1, 800.0, 780.0, 0), Z9ERR_OK);
    EXPECT_TRUE(sideBook.Empty()) << "not kept while nothing is left out";

    tree.client.SetNotUseNOV(1);
    EXPECT_EQ(SetPositionClient_PositionsOnly(tree.client, FUT, 1, 800.0, 780.0, 0), Z9ERR_OK);
    EXPECT_EQ(SetPositionClient_PositionsOnly(tree.client, PremiumPut850, 1, 60.0, 60.0, 1), Z9ERR_OK);
    EXPECT_NE(sideBook.GetSpecPosition(FUT), nullptr);
    EXPECT_EQ(sideBook.GetSpecPosition(PremiumPut850), nullptr);
    EXPECT_EQ(sideBook.GetSpecPosition(FUT)->GetMarketPrice(), 780.0);
    tree.ExpectGO(80.0, 0.0, 0.0);
}

} // namespace
} // namespace test::PositionsOnlyRoadTest
