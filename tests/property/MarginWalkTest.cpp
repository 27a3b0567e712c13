// Walks of position changes over random markets of futures and options and over random rules: the margin that the
// engine keeps by increments stays the one that a plain computation, and a fresh engine, find for the positions held.
#include <cmath>

#include <boost/range/adaptor/reversed.hpp>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "EngineBook.h"
#include "PlainMargin.h"
#include "RandomMarket.h"
#include "kv7errors.h"

namespace {

constexpr double Relative = 1e-9;

// Money that increments may leave behind where nothing is held: far below the half hundred-thousandth that rounding
// would take up.
constexpr double Residue = 1e-6;

void ExpectEqual(double figure, double expected, const char* what)
{
    if (std::abs(figure - expected) > Relative * (1.0 + std::abs(expected)))
        RC_FAIL(std::string(what) + ": " + std::to_string(figure) + " instead of " + std::to_string(expected));
}

/// A random position in a random instrument, an option as often as a futures.
std::pair<Isin, plain::Holding> RandomChange(const plain::Market& market)
{
    if (!market.options.empty() && *rc::gen::arbitrary<bool>()) {
        const OptionSample& option = *rc::gen::elementOf(market.options);
        return {option.Isin, random_market::MakeHolding(option)};
    }
    const FuturesSample& futures = *rc::gen::elementOf(market.futures);
    return {futures.Isin, random_market::MakeHolding(futures)};
}

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

Z9ERR Set(EngineBook& engine, Isin isin, const plain::Holding& holding)
{
    return engine.portfolio.SetPosition(isin, holding.quantity, holding.price, holding.afterLastClearing);
}

RC_GTEST_PROP(MarginWalk, StaysEqualToThePlainMarginAndToAFreshEngine, ())
{
    const plain::Market market = random_market::Make();
    const plain::Rules rules = random_market::MakeRules();
    const auto repository = MakeRepository(market);
    const plain::Model model(market, rules);
    EngineBook engine(*repository, rules);
    plain::Book book;

    const int steps = random_market::Between(1, 40);
    for (int step = 0; step < steps; ++step) {
        const auto [isin, holding] = RandomChange(market);
        book[isin] = holding;
        RC_ASSERT(Set(engine, isin, holding) == Z9ERR_OK);
        const plain::Margins expected = model.Of(book);
        ExpectEqual(engine.Margins().volatility, expected.volatility, "volatility margin against the plain one");
        ExpectEqual(engine.Margins().delivery, expected.delivery, "delivery margin against the plain one");
    }

    EngineBook fresh(*repository, rules);
    for (const auto& [isin, holding] : book)
        RC_ASSERT(Set(fresh, isin, holding) == Z9ERR_OK);
    ExpectEqual(engine.Margins().volatility, fresh.Margins().volatility, "volatility margin against a fresh engine");
    ExpectEqual(engine.Margins().delivery, fresh.Margins().delivery, "delivery margin against a fresh engine");

    for (const auto& [isin, holding] : book)
        RC_ASSERT(Set(engine, isin, {}) == Z9ERR_OK);
    RC_ASSERT(std::abs(engine.Margins().volatility) < Residue);
    RC_ASSERT(std::abs(engine.Margins().delivery) < Residue);
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
        RC_ASSERT(Set(together, futures.Isin, holding) == Z9ERR_OK);
        RC_ASSERT(Set(alone, futures.Isin, holding) == Z9ERR_OK);
        apart += alone.Margins().volatility;
    }
    RC_ASSERT(together.Margins().volatility <= apart * (1.0 + Relative) + Residue);
}

// The same with options. Here it is true only where no stress point is lifted: a stress point may not be worse than the
// result at the edge of the grid, gain or loss, and an option may gain at the edge and lose beyond it, so that two such
// positions lift each other less than either lifts itself. With one rate for all tiers, and a settlement price at the
// centre of the grid, the stress points lie on its edges. Two different rates could make a put worth less than nothing,
// and the premium bounds its loss on the grid only.
RC_GTEST_PROP(MarginWalk, OptionsInSpreadNeverCostMoreThanTheSumOfTheirParts, ())
{
    plain::Market market = random_market::Make();
    for (BaseContractSample& contract : market.baseContracts)
        random_market::MakeOneTier(contract);
    for (FuturesSample& futures : market.futures)
        futures.RealCalcPrice = futures.CalcFutPrice;
    for (kv7im::OptionSeriesParameters& series : market.series)
        series.R2 = series.R;
    plain::Rules rules = random_market::MakeRules();
    rules.ratios.clear();
    rules.interContract = Enums::SpreadMarginType::HalfNetting;
    const auto repository = MakeRepository(market);
    EngineBook together(*repository, rules);
    plain::Margins apart;
    for (const auto& [isin, holding] : RandomBook(market)) {
        EngineBook alone(*repository, rules);
        RC_ASSERT(Set(together, isin, holding) == Z9ERR_OK);
        RC_ASSERT(Set(alone, isin, holding) == Z9ERR_OK);
        apart.volatility += alone.Margins().volatility;
        apart.delivery += alone.Margins().delivery;
    }
    RC_ASSERT(together.Margins().volatility <= apart.volatility * (1.0 + Relative) + Residue);
    RC_ASSERT(together.Margins().delivery <= apart.delivery * (1.0 + Relative) + Residue);
}

// Positions in different instruments may be set in any order.
RC_GTEST_PROP(MarginWalk, TheOrderOfIndependentChangesDoesNotMatterBeyondRounding, ())
{
    const plain::Market market = random_market::Make();
    const plain::Rules rules = random_market::MakeRules();
    const auto repository = MakeRepository(market);
    EngineBook forward(*repository, rules);
    EngineBook backward(*repository, rules);
    const plain::Book book = RandomBook(market);
    for (const auto& [isin, holding] : book)
        RC_ASSERT(Set(forward, isin, holding) == Z9ERR_OK);
    for (const auto& [isin, holding] : boost::adaptors::reverse(book))
        RC_ASSERT(Set(backward, isin, holding) == Z9ERR_OK);
    ExpectEqual(forward.Margins().volatility, backward.Margins().volatility, "volatility margin");
    ExpectEqual(forward.Margins().delivery, backward.Margins().delivery, "delivery margin");
}

} // namespace
