// What holds of the explanation of any book: its shares add up to the margin, its cells have the value that a plain
// computation finds in them, its levels begin with the margins of the single positions and end with the margin itself.
#include "MarginExplanation.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "../kv7DomainObjects/AccountTree.h"
#include "AwkwardMarket.h"
#include "EngineBook.h"
#include "PlainMargin.h"
#include "RandomMarket.h"
#include "kv7errors.h"

namespace test::MarginExplanationPropertyTest {
namespace {

using namespace QuindalIM;

constexpr double Relative = 1e-9;

bool IsNear(double figure, double expected, double largest = 0.0)
{
    return std::abs(figure - expected) <= Relative * (1.0 + std::max(std::abs(expected), largest));
}
void Expect(bool holds, const std::string& what)
{
    if (!holds) RC_FAIL(what);
}
void ExpectNear(double figure, double expected, const std::string& what, double largest = 0.0)
{
    Expect(IsNear(figure, expected, largest),
           what + ": " + std::to_string(figure) + " instead of " + std::to_string(expected));
}

struct Case
{
    plain::Market market;
    plain::Rules rules;
    plain::Book book;
    plain::Orders orders;
    double weight = 0.0;
    double ratio = 1.0;
};

Case RandomCase(plain::Market market, int orders)
{
    Case drawn;
    drawn.market = std::move(market);
    drawn.rules = random_market::MakeRules();
    for (const FuturesSample& futures : drawn.market.futures)
        if (!random_market::OnceIn(3)) drawn.book[futures.Isin] = random_market::MakeHolding(futures);
    for (const OptionSample& option : drawn.market.options)
        if (!random_market::OnceIn(3)) drawn.book[option.Isin] = random_market::MakeHolding(option);
    for (int i = 0; i < orders; ++i)
        drawn.orders.push_back(random_market::MakeOrder(drawn.market));
    drawn.weight = *rc::gen::element(0.0, 0.25, 1.0);
    drawn.ratio = *rc::gen::element(1.0, 1.5);
    return drawn;
}

void Change(EngineBook& engine, const plain::Order& order, std::int64_t quantity)
{
    const SClearingDeltaOrder record = MakeOrder(order.isin, order.buy, order.price, quantity);
    RC_ASSERT(engine.portfolio.ChangeOrder(order.isin, 1, &record) == Z9ERR_OK);
}
void Set(EngineBook& engine, Isin isin, const plain::Holding& holding)
{
    RC_ASSERT(engine.portfolio.SetPosition(isin, holding.quantity, holding.price, holding.afterLastClearing) ==
              Z9ERR_OK);
}
void Fill(EngineBook& engine, const Case& drawn)
{
    for (const auto& [isin, holding] : drawn.book)
        Set(engine, isin, holding);
    for (const plain::Order& order : drawn.orders)
        Change(engine, order, order.quantity);
}

double Weighted(const Case& drawn, const plain::Margins& margins)
{
    return ((1 - drawn.weight) * margins.volatility + drawn.weight * margins.delivery) * drawn.ratio;
}

/// Whatever is explained is explained to the last share.
void ExpectWhole(const MarginExplanation& explained)
{
    double sum = 0.0;
    double volatility = 0.0;
    double delivery = 0.0;
    double largest = explained.levels.front().margin;
    for (const MarginShare& share : explained.shares) {
        sum += share.margin;
        volatility += share.volatility;
        delivery += share.delivery;
        largest = std::max({largest, std::abs(share.volatility), std::abs(share.delivery)});
    }
    ExpectNear(sum, explained.unrounded, "shares of the margin", largest);
    if (explained.weight != 1.0) ExpectNear(volatility, explained.volatility, "shares of volatility", largest);
    if (explained.weight != 0.0) ExpectNear(delivery, explained.delivery, "shares of delivery", largest);

    double entities = 0.0;
    for (std::size_t i = 0; i < explained.entities.size(); ++i) {
        entities += explained.entities[i].margin;
        double ofEntity = 0.0;
        for (const MarginShare& share : explained.shares)
            if (share.entity == i) ofEntity += share.margin;
        ExpectNear(ofEntity, explained.entities[i].margin, "shares of " + explained.entities[i].code, largest);
        double contracts = 0.0;
        for (const ContractGrid& grid : explained.grids)
            if (grid.entity == i) contracts += grid.margin;
        ExpectNear(contracts, explained.entities[i].margin, "contracts of " + explained.entities[i].code, largest);
    }
    ExpectNear(entities, explained.unrounded, "entities", largest);
    RC_ASSERT(explained.levels.back().margin == explained.unrounded);
}

/// The result of a contract as a plain computation has it: only losses are known of it.
double PlainResult(const plain::Outlines& plainly, const ContractOutcome& contract, MarginSide side)
{
    const plain::Outline& outline = plainly.at(contract.code);
    const bool onVolatility = side == MarginSide::Volatility;
    if (contract.kind == ContractOutcome::Kind::PricePoint)
        return (onVolatility ? outline.row : outline.deliveryRow)[*contract.pricePoint];
    return (onVolatility ? outline.point : outline.deliveryPoint)[*contract.stressPoint];
}

void ExpectPlainCells(const Case& drawn, const MarginExplanation& explained)
{
    const plain::Outlines plainly = plain::Model(drawn.market, drawn.rules).LossesOf(drawn.book, drawn.orders);
    for (const EntityExplanation& entity : explained.entities) {
        for (const SideOutcome& side : entity.sides) {
            double sum = 0.0;
            for (const ContractOutcome& contract : side.contracts) {
                sum += contract.money;
                if (contract.kind == ContractOutcome::Kind::Nothing || contract.money >= 0.0) continue;
                // The stress points of a group's delivery side are a mixed pair that no outline has.
                if (entity.kind == MarginEntity::MCS && contract.kind != ContractOutcome::Kind::PricePoint) continue;
                ExpectNear(contract.money, PlainResult(plainly, contract, side.side), "cell of " + contract.code,
                           explained.levels.front().margin);
            }
            ExpectNear(side.margin, std::abs(std::min(sum, 0.0)) * entity.ratio, "margin of " + entity.code,
                       explained.levels.front().margin);
        }
    }
}

// The sum of the margins of books of one instrument each.
double GrossOf(const Case& drawn, const kv7im::InstrumentsRepository& repository)
{
    double sum = 0.0;
    for (const auto& [isin, holding] : drawn.book) {
        EngineBook single(repository, drawn.rules);
        Set(single, isin, holding);
        for (const plain::Order& order : drawn.orders)
            if (order.isin == isin) Change(single, order, order.quantity);
        sum += Weighted(drawn, single.Margins());
    }
    return sum;
}

RC_GTEST_PROP(MarginExplanationProperty, EverySharesSumIsTheMarginOfItsBook, ())
{
    const Case drawn = RandomCase(random_market::Make(), random_market::Between(0, 12));
    const auto repository = MakeRepository(drawn.market);
    EngineBook engine(*repository, drawn.rules);
    Fill(engine, drawn);
    const MarginExplanation explained = ExplainMargin(engine.portfolio, engine, drawn.weight, drawn.ratio);
    RC_ASSERT(explained.unrounded == Weighted(drawn, engine.Margins()));
    ExpectWhole(explained);
    ExpectPlainCells(drawn, explained);
}

RC_GTEST_PROP(MarginExplanationProperty, NetsNothingAtTheFirstLevel, ())
{
    Case drawn = RandomCase(random_market::Make(), 6);
    std::erase_if(drawn.orders, [&](const plain::Order& order) { return !drawn.book.contains(order.isin); });
    const auto repository = MakeRepository(drawn.market);
    EngineBook engine(*repository, drawn.rules);
    Fill(engine, drawn);
    const MarginExplanation explained = ExplainMargin(engine.portfolio, engine, drawn.weight, drawn.ratio);
    RC_ASSERT(explained.levels.size() == 5u);
    ExpectNear(explained.levels.front().margin, GrossOf(drawn, *repository), "gross");
    double margin = explained.levels.front().margin;
    for (const LevelMargin& level : explained.levels)
        ExpectNear(margin -= level.saved, level.margin, "what is left at a level", explained.levels.front().margin);
}

RC_GTEST_PROP(MarginExplanationProperty, SharesOutWhatCancelledOrdersLeaveBehind, ())
{
    plain::Market market = random_market::Make();
    market.series.clear();
    market.options.clear();
    for (FuturesSample& futures : market.futures)
        if (!plain::TradesAtSettlement(futures)) futures.Attribute = Enums::InstrumentStatus::Collateral;
    const Case drawn = RandomCase(std::move(market), 12);
    const auto repository = MakeRepository(drawn.market);
    EngineBook engine(*repository, drawn.rules);
    Fill(engine, drawn);
    for (const plain::Order& order : drawn.orders)
        if (*rc::gen::arbitrary<bool>()) Change(engine, order, -order.quantity);
    ExpectWhole(ExplainMargin(engine.portfolio, engine, drawn.weight, drawn.ratio));
}

// Deliveries, sub-points, premium-style options with curvature, limits that bind, windows and half netting, in every
// combination, with orders in everything.
TEST(MarginExplanationOfAwkwardBooks, SharesAddUp)
{
    std::mt19937 random(20240521);
    for (unsigned bits = 0; bits < awkward::Markets; ++bits) {
        const plain::Market market = awkward::MarketOf(bits);
        const auto repository = MakeRepository(market);
        for (unsigned rules = 0; rules < 18; ++rules) {
            EngineBook engine(*repository, awkward::RulesOf(rules));
            for (const auto& [isin, holding] : awkward::Holdings())
                Set(engine, isin, holding);
            for (int i = 0; i < 6; ++i) {
                const awkward::Order order(random);
                const SClearingDeltaOrder record = order.Placed();
                ASSERT_EQ(engine.portfolio.ChangeOrder(order.isin, 1, &record), Z9ERR_OK);
            }
            const MarginExplanation explained = ExplainMargin(engine.portfolio, engine, 0.5, 1.0);
            double sum = 0.0;
            for (const MarginShare& share : explained.shares)
                sum += share.margin;
            EXPECT_NEAR(sum, explained.unrounded, Relative * (1.0 + explained.levels.front().margin))
                << "market " << bits << ", rules " << rules;
        }
    }
}

} // namespace
} // namespace test::MarginExplanationPropertyTest
