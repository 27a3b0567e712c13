// Days of random changes over random markets, books and rules: after a pass of recalculation every level shows what a
// tree that is built on the changed instruments shows.
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "RandomChanges.h"
#include "RandomMarket.h"
#include "RecalculationTree.h"

namespace test::RecalculationWalkTest {
namespace {

using namespace recalculation;
using random_market::Between;
using random_market::OnceIn;

Rules RandomRules()
{
    using enum Enums::MarginRule;
    using Enums::SpreadMarginType;
    Rules rules;
    rules.firm = *rc::gen::element(Gross, HalfNetting, Netting);
    rules.account = *rc::gen::element(Gross, HalfNetting, Netting);
    rules.calendar = *rc::gen::element(SpreadMarginType::Netting, SpreadMarginType::HalfNetting);
    rules.interContract = *rc::gen::element(SpreadMarginType::Netting, SpreadMarginType::HalfNetting);
    rules.noFutDiscount = OnceIn(3);
    rules.level = static_cast<Enums::ClientRiskLevel>(Between(0, 5));
    return rules;
}

Books::Positions RandomPositions(const plain::Market& market)
{
    Books::Positions positions;
    for (const FuturesSample& futures : market.futures)
        if (!OnceIn(3)) positions[futures.Isin] = random_market::MakeHolding(futures);
    for (const OptionSample& option : market.options)
        if (!OnceIn(3)) positions[option.Isin] = random_market::MakeHolding(option);
    return positions;
}

Books RandomBooks(const plain::Market& market)
{
    Books books;
    for (Books::Positions& positions : books.clients)
        positions = RandomPositions(market);
    for (Books::Positions& positions : books.firms)
        positions = RandomPositions(market);
    books.account = RandomPositions(market);
    for (int i = 0; i < 12; ++i)
        books.orders.emplace_back(Between<std::size_t>(0, Clients), random_market::MakeOrder(market));
    return books;
}

void ExpectSame(const Tree& tree, const Tree& fresh, const std::string& when)
{
    const std::string differences = DifferencesOf(tree, fresh);
    if (!differences.empty()) RC_FAIL(when + ":\n" + differences);
}

// Futures in and out of spread, series too, orders in everything, groups, collateral, a contract that trades at
// settlement, two days of changes in a row; after each the tree goes on as the fresh one does.
RC_GTEST_PROP(RecalculationWalk, LeavesEveryLevelAsATreeBuiltOnTheChangedInstruments, ())
{
    plain::Market market = random_market::Make();
    const auto repository = MakeRepository(market);
    const Rules rules = RandomRules();
    Tree tree(*repository, rules);
    Books books = RandomBooks(market);
    tree.Enter(books);

    for (const std::string day : {"the first day", "the second day"}) {
        random_changes::Day(*repository, market).ChangeSome();
        RC_ASSERT(repository->UpdateComplete() == 0);
        const bool useRealCalcPrice = *rc::gen::arbitrary<bool>();
        if (useRealCalcPrice) books.SettleOn(*repository, FuturesOfOpenFamilies(*repository));
        RC_ASSERT(margin_orchestrator::RecalcChangedInstruments(tree.participants, *repository, useRealCalcPrice) == 0);

        const auto changed = MakeRepository(market);
        Tree fresh(*changed, rules);
        fresh.Enter(books);
        ExpectSame(tree, fresh, "after " + day);

        for (int i = 0; i < 6; ++i) {
            const auto client = Between<std::size_t>(0, Clients);
            const FuturesSample& futures = *rc::gen::elementOf(market.futures);
            const plain::Holding holding = random_market::MakeHolding(futures);
            const plain::Order order = random_market::MakeOrder(market);
            for (Tree* const each : {&tree, &fresh}) {
                each->ChangeOrder(client, order, order.quantity);
                each->SetPosition(client, futures.Isin, holding);
            }
            books.clients[client][futures.Isin] = holding;
            books.orders.emplace_back(client, order);
        }
        ExpectSame(tree, fresh, "going on after " + day);
    }
}

} // namespace
} // namespace test::RecalculationWalkTest
