// Walks of changes of positions and orders over random markets and random rules: the margin that the engine keeps by
// increments stays the one that a plain computation, and a fresh engine, find for what is held and ordered.
#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include <boost/range/adaptor/reversed.hpp>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "EngineBook.h"
#include "PlainMargin.h"
#include "RandomMarket.h"
#include "WalkSupport.h"
#include "kv7errors.h"

namespace test::MarginWalkTest {
namespace {

/// One position in every futures and every option.
plain::Book RandomBook(const plain::Market& market)
{
    plain::Book book;
    for (const FuturesSample& futures : market.futures)
        book[futures.Isin] = random_market::MakeHolding(futures);
    for (const OptionSample& option : market.options)
        book[option.Isin] = random_market::MakeHolding(option);
    return book;
}
plain::Orders RandomOrders(const plain::Market& market, int count)
{
    plain::Orders orders;
    for (int i = 0; i < count; ++i)
        orders.push_back(random_market::MakeOrder(market));
    return orders;
}

void Set(EngineBook& engine, Isin isin, const plain::Holding& holding)
{
    RC_ASSERT(engine.portfolio.SetPosition(isin, holding.quantity, holding.price, holding.afterLastClearing) ==
              Z9ERR_OK);
}

/// As the calculator sends it.
void Change(EngineBook& engine, const plain::Order& order, std::int64_t quantity)
{
    SClearingDeltaOrder record;
    record.CalculatedPrice = {t_bprice_int(order.price),
                              order.buy ? KeyPriceType::Direction::Buy : KeyPriceType::Direction::Sell,
                              KeyPriceType::Type::Ordinal};
    record.isin = order.isin;
    record.isBuying = order.buy;
    record.orderInfo = SOrderInfo(SOrderInfo::InitializationType::FullFill, order.isin, quantity);
    RC_ASSERT(engine.portfolio.ChangeOrder(order.isin, 1, &record) == Z9ERR_OK);
}
void Place(EngineBook& engine, const plain::Order& order) { Change(engine, order, order.quantity); }

/// An engine and, beside it, what it should hold.
class Walk
{
public:
    Walk(const plain::Market& market, const kv7im::InstrumentsRepository& repository, const plain::Rules& rules)
        : m_market(market), m_rules(rules), m_engine(repository, rules)
    {}

    void SetOne()
    {
        const auto [isin, holding] = RandomChange(m_market);
        m_book[isin] = holding;
        Set(m_engine, isin, holding);
    }
    void PlaceOne()
    {
        const plain::Order order = random_market::MakeOrder(m_market);
        ChangeOrder(order, order.quantity);
    }
    /// All of an open order goes, or a part, or more is placed.
    void ChangeOne()
    {
        const plain::Orders open = m_orders.Open();
        if (open.empty()) return;
        const plain::Order order = *rc::gen::elementOf(open);
        ChangeOrder(order, random_market::OnceIn(2) ? -order.quantity : random_market::Quantity());
    }
    /// Nothing came from the accounting, so premium-style options have no value until they are set again.
    void TakeAnew()
    {
        RC_ASSERT(m_engine.portfolio.Refresh() == Z9ERR_OK);
        m_orders.TakeAnew();
        for (auto& [isin, holding] : m_book)
            holding.afterLastClearing = 0;
    }
    void ChangeRules(const plain::Rules& rules)
    {
        m_rules = rules;
        m_engine.ChangeRules(rules);
        TakeAnew();
    }
    void Unset()
    {
        for (auto& [isin, holding] : m_book)
            Set(m_engine, isin, holding = {});
        for (const plain::Order& order : m_orders.Open())
            ChangeOrder(order, -order.quantity);
    }

    [[nodiscard]] plain::Margins Margins() const { return m_engine.Margins(); }
    void ExpectThePlainMargins()
    {
        const plain::Margins expected = plain::Model(m_market, m_rules).Of(m_book, m_orders.All());
        m_largest = std::max({m_largest, expected.volatility, expected.delivery});
        ExpectEqual(Margins(), expected, "against the plain one", m_largest);
    }
    /// Those of an engine that is given all of it at once.
    void ExpectFreshMargins(const kv7im::InstrumentsRepository& repository) const
    {
        EngineBook fresh(repository, m_rules);
        for (const auto& [isin, holding] : m_book)
            Set(fresh, isin, holding);
        for (const plain::Order& order : m_orders.Open())
            Place(fresh, order);
        ExpectEqual(Margins(), fresh.Margins(), "against a fresh engine", m_largest);
    }

private:
    void ChangeOrder(const plain::Order& order, std::int64_t quantity)
    {
        m_orders.Change(order.isin, order.buy, order.price, quantity);
        Change(m_engine, order, quantity);
    }

    const plain::Market& m_market;
    plain::Rules m_rules;
    EngineBook m_engine;
    plain::Book m_book;
    plain::OrderBook m_orders;
    double m_largest = 0.0; // margin so far
};

// What cancelled orders leave behind in collateral instruments is in the plain margin, and stays until the book is
// taken anew; all else goes.
RC_GTEST_PROP(MarginWalk, StaysEqualToThePlainMarginAndToAFreshEngine, ())
{
    const plain::Market market = random_market::Make();
    const auto repository = MakeRepository(market);
    Walk walk(market, *repository, random_market::MakeRules());

    const int steps = random_market::Between(1, 40);
    for (int step = 0; step < steps; ++step) {
        const int kind = random_market::Between(0, 20);
        if (kind < 8)
            walk.SetOne();
        else if (kind < 14)
            walk.PlaceOne();
        else if (kind < 19)
            walk.ChangeOne();
        else
            walk.TakeAnew();
        walk.ExpectThePlainMargins();
    }
    walk.TakeAnew();
    walk.ExpectFreshMargins(*repository);
    walk.Unset();
    walk.ExpectThePlainMargins();
    walk.TakeAnew();
    RC_ASSERT(std::abs(walk.Margins().volatility) < Residue);
    RC_ASSERT(std::abs(walk.Margins().delivery) < Residue);
}

// A book that is taken anew under other rules is the one that would have come about under them, however often.
RC_GTEST_PROP(MarginWalk, ABookUnderOtherRulesIsAFreshOneUnderThem, ())
{
    const plain::Market market = random_market::Make();
    const auto repository = MakeRepository(market);
    Walk walk(market, *repository, random_market::MakeRules());
    for (int round = 0; round < 3; ++round) {
        for (int step = random_market::Between(0, 8); step > 0; --step)
            walk.SetOne();
        for (int step = random_market::Between(0, 8); step > 0; --step)
            walk.PlaceOne();
        walk.ChangeRules(random_market::MakeRules());
        walk.ExpectThePlainMargins();
        walk.ExpectFreshMargins(*repository);
    }
}

// Netting never costs more than margining every futures by its losses, as long as no concentration limit binds: above a
// limit two positions of one direction cost more together than apart, and that is meant.
RC_GTEST_PROP(MarginWalk, NettingNeverRaisesTheMarginAboveTheSumOfItsParts, ())
{
    plain::Market market = random_market::Make();
    for (BaseContractSample& contract : market.baseContracts)
        contract.ConcentrationLimit1 = contract.ConcentrationLimit2 = 1'000'000'000'000;
    plain::Rules rules = random_market::MakeRules();
    rules.ratios.clear();
    const auto repository = MakeRepository(market);
    rules.calendar = Enums::SpreadMarginType::Netting;
    rules.interContract = Enums::SpreadMarginType::HalfNetting;
    EngineBook together(*repository, rules);
    double apart = 0.0;
    for (const FuturesSample& futures : market.futures) {
        if (futures.EnforceIMSHalfNetting) continue;
        const plain::Holding holding = random_market::MakeHolding(futures);
        EngineBook alone(*repository, rules);
        Set(together, futures.Isin, holding);
        Set(alone, futures.Isin, holding);
        apart += alone.Margins().volatility;
    }
    RC_ASSERT(together.Margins().volatility <= apart * (1.0 + Relative) + Residue);
}

/// A market in which no stress point is lifted. A stress point may not be worse than the result at the edge of the
/// grid, gain or loss, and a book may gain at the edge and lose beyond it: an option does, and so does a spread between
/// months that were settled off their centres. Where such a gain goes, the stress point is lifted and the margin falls.
/// With one rate for all tiers, and settlement prices at the centres of the grids, the stress points lie on the edges.
/// Two different rates could make a put worth less than nothing, and the premium bounds its loss on the grid only.
plain::Market MarketWithoutLifts()
{
    plain::Market market = random_market::Make();
    for (BaseContractSample& contract : market.baseContracts)
        random_market::MakeOneTier(contract);
    for (FuturesSample& futures : market.futures)
        futures.RealCalcPrice = futures.CalcFutPrice;
    for (kv7im::OptionSeriesParameters& series : market.series)
        series.R2 = series.R;
    return market;
}

RC_GTEST_PROP(MarginWalk, PositionsAndOrdersTogetherNeverCostMoreThanTheSumOfTheirParts, ())
{
    const plain::Market market = MarketWithoutLifts();
    plain::Rules rules = random_market::MakeRules();
    rules.ratios.clear();
    rules.interContract = Enums::SpreadMarginType::HalfNetting;
    const auto repository = MakeRepository(market);
    EngineBook together(*repository, rules);
    plain::Margins apart;
    const auto add = [&](const auto& change) {
        EngineBook alone(*repository, rules);
        change(together);
        change(alone);
        apart.volatility += alone.Margins().volatility;
        apart.delivery += alone.Margins().delivery;
    };
    for (const auto& position : RandomBook(market))
        add([&](EngineBook& engine) { Set(engine, position.first, position.second); });
    for (const plain::Order& order : RandomOrders(market, 8))
        add([&](EngineBook& engine) { Place(engine, order); });
    RC_ASSERT(together.Margins().volatility <= apart.volatility * (1.0 + Relative) + Residue);
    RC_ASSERT(together.Margins().delivery <= apart.delivery * (1.0 + Relative) + Residue);
}

RC_GTEST_PROP(MarginWalk, AnOrderNeverLowersTheMargin, ())
{
    const plain::Market market = MarketWithoutLifts();
    const auto repository = MakeRepository(market);
    EngineBook engine(*repository, random_market::MakeRules());
    for (const auto& [isin, holding] : RandomBook(market))
        Set(engine, isin, holding);
    for (const plain::Order& order : RandomOrders(market, 12)) {
        const plain::Margins before = engine.Margins();
        Place(engine, order);
        RC_ASSERT(engine.Margins().volatility >= before.volatility * (1.0 - Relative) - Residue);
        RC_ASSERT(engine.Margins().delivery >= before.delivery * (1.0 - Relative) - Residue);
    }
}

// A stress of rates is added up by losses on a collateral instrument: an order there leaves something when it goes.
RC_GTEST_PROP(MarginWalk, AnOrderThatIsCancelledLeavesTheMarginAsItWas, ())
{
    const plain::Market market = random_market::Make();
    const auto repository = MakeRepository(market);
    EngineBook engine(*repository, random_market::MakeRules());
    for (const auto& [isin, holding] : RandomBook(market))
        Set(engine, isin, holding);
    const plain::MarketView view(market, {});
    const auto isCollateral = [&](Isin isin) {
        const FuturesSample* const futures = view.FindFutures(isin);
        return futures != nullptr && plain::IsCollateral(*futures);
    };
    for (const plain::Order& order : RandomOrders(market, 12)) {
        const MultilegSample* const multileg = view.FindMultileg(order.isin);
        if (isCollateral(order.isin) ||
            (multileg != nullptr && (isCollateral(multileg->FirstLeg) || isCollateral(multileg->SecondLeg))))
            continue;
        const plain::Margins before = engine.Margins();
        Place(engine, order);
        Change(engine, order, -order.quantity);
        ExpectEqual(engine.Margins(), before, "as it was");
    }
}

// Positions in different instruments may be set, and orders placed, in any order.
RC_GTEST_PROP(MarginWalk, TheOrderOfIndependentChangesDoesNotMatterBeyondRounding, ())
{
    const plain::Market market = random_market::Make();
    const plain::Rules rules = random_market::MakeRules();
    const auto repository = MakeRepository(market);
    EngineBook forward(*repository, rules);
    EngineBook backward(*repository, rules);
    const plain::Book book = RandomBook(market);
    const plain::Orders orders = RandomOrders(market, 12);
    for (const auto& [isin, holding] : book)
        Set(forward, isin, holding);
    for (const plain::Order& order : orders)
        Place(forward, order);
    for (const plain::Order& order : boost::adaptors::reverse(orders))
        Place(backward, order);
    for (const auto& [isin, holding] : boost::adaptors::reverse(book))
        Set(backward, isin, holding);
    ExpectEqual(forward.Margins(), backward.Margins(), "forward and backward");
}

} // namespace
} // namespace test::MarginWalkTest
