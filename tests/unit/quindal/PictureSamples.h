// PictureSamples: explanations for pictures, by hand and at random. Their figures are those of no book.
#pragma once

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <rapidcheck.h>

#include "MarginExplanation.h"
#include "MarginPicture.h"

namespace quindal::test {

/// Prices 900, 950, ..., 1100; one future, so that all scenarios coincide: 10 contracts bought at 1000.
inline QuindalIM::ContractGrid GridOfFutures()
{
    QuindalIM::ContractGrid grid;
    grid.code = "BC";
    grid.futures = "FUT";
    grid.currentPrice = 1000.0;
    grid.margin = 1000.0;
    grid.prices = {900.0, 950.0, 1000.0, 1050.0, 1100.0};
    grid.scenarios.assign(3, {-1000.0, -500.0, 0.0, 500.0, 1000.0});
    return grid;
}

/// The worst cell of a contract at a point of its grid.
inline QuindalIM::ContractOutcome WorstAt(const QuindalIM::ContractGrid& grid, std::size_t scenario, std::size_t point)
{
    QuindalIM::ContractOutcome outcome;
    outcome.code = grid.code;
    outcome.kind = QuindalIM::ContractOutcome::Kind::PricePoint;
    outcome.cell = grid.scenarios[scenario][point];
    outcome.money = outcome.cell;
    outcome.pricePoint = point;
    outcome.price = grid.prices[point];
    outcome.scenario = scenario;
    return outcome;
}

/// An explanation of one contract with one side.
inline QuindalIM::MarginExplanation ExplanationOf(const QuindalIM::ContractGrid& grid,
                                                  const QuindalIM::ContractOutcome& outcome)
{
    QuindalIM::SideOutcome side;
    side.isLoss = true;
    side.margin = -outcome.money;
    side.contracts = {outcome};
    QuindalIM::EntityExplanation entity;
    entity.code = grid.code;
    entity.sides = {side};
    QuindalIM::MarginExplanation explained;
    explained.margin = explained.unrounded = grid.margin;
    explained.entities = {entity};
    explained.grids = {grid};
    return explained;
}

inline Provenance SampleProvenance()
{
    Provenance provenance;
    provenance.market.name = "market.xml";
    provenance.market.sha256 = std::string(64, 'a');
    provenance.market.time = std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000));
    provenance.currency = "EUR";
    return provenance;
}

// ---- At random ----------------------------------------------------------------------------------------------------

inline std::string RandomCode()
{
    static const std::vector<std::string> letters{"A", "w", "-", "9", "&", "<", " ", "\xC3\xA4", "\xE2\x82\xAC", "."};
    std::string code;
    for (int length = *rc::gen::element(1, 4, 12, 80); length > 0; --length)
        code += *rc::gen::elementOf(letters);
    return code;
}

inline double RandomMoney(double scale) { return scale * *rc::gen::inRange(-10000, 10001) / 1000.0; }

inline QuindalIM::ContractGrid RandomGrid(std::size_t entity)
{
    QuindalIM::ContractGrid grid;
    grid.code = RandomCode();
    grid.futures = RandomCode();
    grid.entity = entity;
    const double scale = std::pow(10.0, *rc::gen::inRange(-3, 13));
    grid.margin = RandomMoney(scale);
    const int half = *rc::gen::inRange(1, 16);
    grid.currentPrice = *rc::gen::element(0.0, 1.0, 71.45, 1234567.125);
    const double step = *rc::gen::element(0.001, 0.5, 10000.0);
    for (int point = -half; point <= half; ++point)
        grid.prices.push_back(grid.currentPrice + step * point);
    const std::size_t scenarios = *rc::gen::element(3U, 5U, 31U);
    const bool isAlike = *rc::gen::arbitrary<bool>();
    const std::vector<double> parameters{RandomMoney(1.0), RandomMoney(1.0), RandomMoney(1.0)};
    for (std::size_t scenario = 0; scenario < scenarios; ++scenario) {
        std::vector<double>& row = grid.scenarios.emplace_back();
        const double lift = isAlike ? 0.0 : parameters[2] * static_cast<double>(scenario);
        for (std::size_t i = 0; i < grid.prices.size(); ++i) {
            const double x = static_cast<double>(i) / half - 1.0;
            row.push_back(scale * (parameters[0] * x + parameters[1] * std::cos(3.0 * x) + lift));
        }
        if (!isAlike)
            grid.shifts.push_back({-0.3 + 0.1 * static_cast<double>(scenario), 0.1 * static_cast<double>(scenario)});
    }
    if (*rc::gen::arbitrary<bool>()) {
        for (const double money : grid.scenarios.front())
            grid.deliveries.push_back(money - std::abs(RandomMoney(scale)));
    }
    return grid;
}

inline QuindalIM::ContractOutcome RandomOutcome(const QuindalIM::ContractGrid& grid)
{
    using Kind = QuindalIM::ContractOutcome::Kind;
    using kv7im::SpecialRiskPoints;
    QuindalIM::ContractOutcome outcome = WorstAt(grid, *rc::gen::inRange<std::size_t>(0, grid.scenarios.size()),
                                                 *rc::gen::inRange<std::size_t>(0, grid.prices.size()));
    outcome.kind = *rc::gen::element(Kind::PricePoint, Kind::StressPoint, Kind::EdgeFloor, Kind::Nothing);
    if (!grid.deliveries.empty() && *rc::gen::arbitrary<bool>()) {
        outcome.isDelivery = true;
        outcome.cell = grid.deliveries[*outcome.pricePoint];
        outcome.scenario.reset();
    }
    if (outcome.kind == Kind::StressPoint || outcome.kind == Kind::EdgeFloor) {
        outcome.stressPoint =
            *rc::gen::element(SpecialRiskPoints::PnL3D, SpecialRiskPoints::ZL, SpecialRiskPoints::UpRisk);
        outcome.money *= 1.5;
    }
    if (outcome.kind == Kind::StressPoint || outcome.kind == Kind::Nothing) {
        outcome.price.reset();
        outcome.pricePoint.reset();
    }
    return outcome;
}

inline QuindalIM::MarginExplanation RandomExplanation()
{
    QuindalIM::MarginExplanation explained;
    explained.unrounded = std::abs(RandomMoney(1e6));
    explained.margin = explained.unrounded;
    const std::size_t count = *rc::gen::inRange<std::size_t>(0, 4);
    for (std::size_t entity = 0; entity < count; ++entity) {
        explained.grids.push_back(RandomGrid(entity));
        QuindalIM::EntityExplanation& next = explained.entities.emplace_back();
        next.code = explained.grids.back().code;
        for (const auto side : {QuindalIM::MarginSide::Volatility, QuindalIM::MarginSide::Delivery}) {
            if (*rc::gen::element(0, 0, 1) == 1) continue;
            QuindalIM::SideOutcome& added = next.sides.emplace_back();
            added.side = side;
            added.isLoss = *rc::gen::element(false, true, true);
            if (added.isLoss) added.contracts.push_back(RandomOutcome(explained.grids.back()));
        }
    }
    return explained;
}

} // namespace quindal::test
