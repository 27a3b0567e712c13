// Walks of position changes over random markets and rules: the margin that the engine keeps by increments stays the one
// that a plain computation, and a fresh engine, find for the positions held.
#include <cmath>

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

RC_GTEST_PROP(MarginWalk, StaysEqualToThePlainMarginAndToAFreshEngine, ())
{
    const plain::Market market = random_market::Make();
    const plain::Rules rules = random_market::MakeRules();
    const auto repository = MakeRepository(market);
    const plain::Model model(market, rules);
    EngineBook engine(*repository, rules);
    plain::Book book;

    const int steps = *rc::gen::inRange(1, 40);
    for (int step = 0; step < steps; ++step) {
        const FuturesSample& futures = *rc::gen::elementOf(market.futures);
        const plain::Holding holding = random_market::MakeHolding(futures);
        book[futures.Isin] = holding;
        RC_ASSERT(engine.portfolio.SetPosition(futures.Isin, holding.quantity, holding.price, 0) == Z9ERR_OK);
        const plain::Margins expected = model.Of(book);
        ExpectEqual(engine.Margins().volatility, expected.volatility, "volatility margin against the plain one");
        ExpectEqual(engine.Margins().delivery, expected.delivery, "delivery margin against the plain one");
    }

    EngineBook fresh(*repository, rules);
    for (const auto& [isin, holding] : book)
        RC_ASSERT(fresh.portfolio.SetPosition(isin, holding.quantity, holding.price, 0) == Z9ERR_OK);
    ExpectEqual(engine.Margins().volatility, fresh.Margins().volatility, "volatility margin against a fresh engine");
    ExpectEqual(engine.Margins().delivery, fresh.Margins().delivery, "delivery margin against a fresh engine");

    for (const auto& [isin, holding] : book)
        RC_ASSERT(engine.portfolio.SetPosition(isin, 0, 0.0, 0) == Z9ERR_OK);
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
        RC_ASSERT(together.portfolio.SetPosition(futures.Isin, holding.quantity, holding.price, 0) == Z9ERR_OK);
        RC_ASSERT(alone.portfolio.SetPosition(futures.Isin, holding.quantity, holding.price, 0) == Z9ERR_OK);
        apart += alone.Margins().volatility;
    }
    RC_ASSERT(together.Margins().volatility <= apart * (1.0 + Relative) + Residue);
}

// Positions in different futures may be set in any order.
RC_GTEST_PROP(MarginWalk, TheOrderOfIndependentChangesDoesNotMatterBeyondRounding, ())
{
    const plain::Market market = random_market::Make();
    const plain::Rules rules = random_market::MakeRules();
    const auto repository = MakeRepository(market);
    EngineBook forward(*repository, rules);
    EngineBook backward(*repository, rules);
    std::vector<plain::Holding> holdings;
    for (const FuturesSample& futures : market.futures)
        holdings.push_back(random_market::MakeHolding(futures));
    const std::size_t count = holdings.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t k = count - 1 - i;
        RC_ASSERT(forward.portfolio.SetPosition(market.futures[i].Isin, holdings[i].quantity, holdings[i].price, 0) ==
                  0U);
        RC_ASSERT(backward.portfolio.SetPosition(market.futures[k].Isin, holdings[k].quantity, holdings[k].price, 0) ==
                  0U);
    }
    ExpectEqual(forward.Margins().volatility, backward.Margins().volatility, "volatility margin");
    ExpectEqual(forward.Margins().delivery, backward.Margins().delivery, "delivery margin");
}

} // namespace
