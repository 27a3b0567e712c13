// Option values against an independent source: the Black and Bachelier formulas of QuantLib, on flat smiles.
//
// The engine approximates the normal distribution by a polynomial that is good for 2.1e-7 at each of its two ends, so a
// value agrees within 5e-7 of the larger of forward and strike, and not better.
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <ql/option.hpp>
#include <ql/pricingengines/blackformula.hpp>

#include "PricedSeries.h"

namespace test::OptionQuantLibTest {
namespace {

using namespace kv7im;
using Level = Enums::ClientRiskLevel;
constexpr auto Levels = Enums::PossibleClientRiskLevelValues;
constexpr double Bound = 5e-7;

constexpr double Times[] = {0.0001, 0.01, 0.25, 1.0, 3.0}; // years; the root of the first is above the minimum
constexpr double Volatilities[] = {0.02, 0.1, 0.3, 0.8, 2.0};
constexpr double Strikes[] = {400.0, 800.0, 950.0, 1000.0, 1050.0, 1300.0, 2500.0};
constexpr double Points[] = {300.0, 900.0, 1000.0, 1001.0, 1400.0};

PricedSeries Flat(UnderlyingKind kind, Enums::OptionModel model, double volatility, double time)
{
    PricedSeries priced;
    priced.SetKind(kind);
    priced.contract.OptionModel = model;
    priced.contract.RiskPointsN = 10;
    priced.series.A = volatility * 100.0;
    priced.series.A_Bach = volatility;
    priced.series.M_Bach = 1000.0;
    priced.series.B = priced.series.D = priced.series.S = 0.0;
    priced.series.B_Bach = priced.series.D_Bach = priced.series.S_Bach = 0.0;
    priced.series.MinStep = 0.01;
    priced.series.TimeToExpiration = time;
    priced.Build();
    return priced;
}

QuantLib::Option::Type TypeOf(bool put) { return put ? QuantLib::Option::Put : QuantLib::Option::Call; }

std::string Where(double volatility, double time, double strike, double point, bool put)
{
    return "volatility " + std::to_string(volatility) + ", time " + std::to_string(time) + ", strike " +
           std::to_string(strike) + (put ? " put" : " call") + " at " + std::to_string(point);
}

TEST(OptionsAgainstQuantLib, BlackAndScholesOverStrikesTermsVolatilitiesAndRates)
{
    const std::pair<double, double> rates[] = {{0.0, 0.0}, {0.12, 0.0}, {0.12, 0.03}, {-0.01, 0.05}, {0.2, 0.2}};
    for (const double time : Times)
        for (const double volatility : Volatilities) {
            const PricedSeries priced =
                Flat(UnderlyingKind::CurrencyOrIndex, Enums::OptionModel::BlackScholes, volatility, time);
            for (const double strike : Strikes)
                for (const bool put : {false, true}) {
                    const CSpecOption option = priced.Option(strike, put);
                    for (const double point : Points)
                        for (const auto& [r, r2] : rates) {
                            const double discount = std::exp(-r * time);
                            const double forward = point * std::exp((r - r2) * time);
                            const double expected = QuantLib::blackFormula(TypeOf(put), strike, forward,
                                                                           volatility * std::sqrt(time), discount);
                            // Scenario 2 of five is the unshifted one.
                            const double value =
                                option.CalculatePoint(2, point, r, r2, strike * discount, std::nullopt);
                            ASSERT_NEAR(value, expected, Bound * std::max(forward, strike))
                                << Where(volatility, time, strike, point, put) << ", rates " << r << ", " << r2;
                        }
                }
        }
}

TEST(OptionsAgainstQuantLib, BachelierOverStrikesTermsAndVolatilities)
{
    for (const double time : Times)
        for (const double volatility : Volatilities) {
            const PricedSeries priced = Flat(UnderlyingKind::Futures, Enums::OptionModel::Bachelier, volatility, time);
            for (const double strike : Strikes)
                for (const bool put : {false, true}) {
                    const CSpecOption option = priced.Option(strike, put);
                    for (const double point : {-500.0, 300.0, 900.0, 1000.0, 1001.0, 1400.0}) {
                        const double width = volatility * 1000.0 * std::sqrt(time);
                        const double expected = QuantLib::bachelierBlackFormula(TypeOf(put), strike, point, width);
                        const double value = option.CalculatePoint(2, point, 0.3, 0.1, 0.0, std::nullopt);
                        ASSERT_NEAR(value, expected, Bound * std::max({std::abs(point), strike, width}))
                            << Where(volatility, time, strike, point, put);
                    }
                }
        }
}

TEST(OptionsAgainstQuantLib, BachelierOfACommodityIsTheDiscountedOneAtOneRate)
{
    for (const double time : Times)
        for (const double volatility : Volatilities) {
            const PricedSeries priced =
                Flat(UnderlyingKind::Commodity, Enums::OptionModel::Bachelier, volatility, time);
            for (const double strike : Strikes)
                for (const bool put : {false, true}) {
                    const CSpecOption option = priced.Option(strike, put);
                    for (const double point : Points)
                        for (const double r : {0.0, 0.15, -0.02}) {
                            const double width = volatility * 1000.0 * std::sqrt(time);
                            const double discount = std::exp(-r * time);
                            const double expected =
                                QuantLib::bachelierBlackFormula(TypeOf(put), strike, point, width, discount);
                            const double value = option.CalculatePoint(2, point, r, r, strike * discount, std::nullopt);
                            ASSERT_NEAR(value, expected, Bound * std::max({point, strike, width}))
                                << Where(volatility, time, strike, point, put) << ", rate " << r;
                        }
                }
        }
}

TEST(OptionsAgainstQuantLib, WholeGridsAtEveryScenarioAndLevel)
{
    // A flat smile moves as a whole: the volatility of a scenario is the multiplier times the level.
    for (const UnderlyingKind kind : UnderlyingKinds) {
        const PricedSeries priced = Flat(kind, Enums::OptionModel::BlackScholes, 0.3, 0.5);
        for (const double strike : Strikes)
            for (const bool put : {false, true}) {
                const CSpecOption option = priced.Option(strike, put);
                const double r = priced.Series().GetUsableR();
                const double r2 = priced.Series().GetUsableR2();
                for (const Level level : Levels) {
                    const std::vector<double> prices = priced.Prices(level);
                    for (std::size_t c = 0; c < prices.size(); ++c) {
                        const double point = priced.Series().MakeDiscountPoint(prices[c]);
                        const double forward = point * std::exp((r - r2) * 0.5);
                        for (std::size_t i = 0; i < 5; ++i) {
                            const double volatility = 0.3 * (0.75 + 0.125 * static_cast<double>(i));
                            const double expected = QuantLib::blackFormula(
                                TypeOf(put), strike, forward, volatility * std::sqrt(0.5), std::exp(-r * 0.5));
                            const double value = option.GetGrid(level).Values(c / 4)[i][c % 4];
                            ASSERT_NEAR(value, expected, Bound * std::max(forward, strike))
                                << kind << ", " << Where(volatility, 0.5, strike, point, put);
                        }
                    }
                }
            }
    }
}

} // namespace
} // namespace test::OptionQuantLibTest
