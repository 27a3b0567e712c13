#include "grids/NodeCells.h"

#include <algorithm>
#include <limits>

namespace kv7im {

NodeCells::NodeCells(std::size_t pointsCount, std::size_t scenarios, Form form)
    : m_points(pointsCount), m_scenarios(scenarios), m_form(form)
{
    const std::size_t rows = IsFlat() ? FlatRows : scenarios + 2 * StressRows;
    m_cells.resize(LengthOf(pointsCount, scenarios, form));
    const std::size_t padded = pointsCount % RiskItem::Lanes;
    if (padded == 0) return;
    RiskItem* const last = m_cells.pData() + (Blocks() - 1) * rows;
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t lane = padded; lane < RiskItem::Lanes; ++lane)
            last[row][lane] = std::numeric_limits<double>::quiet_NaN();
}

std::size_t NodeCells::Median() const noexcept { return m_scenarios % 2 == 0 ? m_scenarios / 2 - 1 : m_scenarios / 2; }

bool NodeCells::FitsFlat(const Profile& futures) noexcept
{
    const RiskRowWrapper up = futures.InterestRateUp();
    const RiskRowWrapper down = futures.InterestRateDown();
    const std::size_t centre = up.size() / 2;
    for (std::size_t column = 0; column < up.size(); ++column) {
        if (column <= centre && up[column] != 0.0) return false; // a NaN does not fit either
        if (column >= centre && down[column] != 0.0) return false;
    }
    return true;
}

NodeCells& NodeCells::operator+=(const NodeCells& other)
{
    if (other.IsFlat() && !IsFlat()) return *this += other.Expanded();
    m_cells += other.m_cells;
    points += other.points;
    return *this;
}

NodeCells& NodeCells::operator-=(const NodeCells& other)
{
    if (other.IsFlat() && !IsFlat()) return *this -= other.Expanded();
    m_cells -= other.m_cells;
    points -= other.points;
    return *this;
}

NodeCells NodeCells::Expanded() const
{
    if (!IsFlat()) return *this;
    NodeCells full(m_points, m_scenarios, Form::Full);
    full.points = points;
    for (std::size_t block = 0; block < Blocks(); ++block) {
        const FlatBlock& flat = FlatAt(block);
        const FullBlock cells = full.FullAt(block);
        std::fill_n(cells.values, m_scenarios, flat.value);
        cells.rates[0] = RateUp(block, flat.rate);
        cells.rates[1] = RateDown(block, flat.rate);
    }
    return full;
}

NodeCells NodeCells::WithoutCells() const noexcept
{
    NodeCells none;
    none.m_points = m_points;
    none.m_scenarios = m_scenarios;
    none.m_form = Form::Full;
    none.points = points;
    return none;
}

Risk NodeCells::ToRisk() const
{
    if (IsFlat()) return Expanded().ToRisk();
    Risk risk(Parameters(m_points, m_scenarios));
    Profile& profile = risk.GetRisk();
    for (std::size_t block = 0; block < Blocks(); ++block) {
        const ConstFullBlock at = FullAt(block);
        std::copy_n(at.values, m_scenarios, profile.Volatility().pData() + block * m_scenarios);
        std::copy_n(at.rates, StressRows, profile.InterestRate().pData() + block * StressRows);
        std::copy_n(at.mismatches, StressRows, profile.VolatilityMismatch().pData() + block * StressRows);
    }
    risk.GetSpecialRiskPoints() = points;
    return risk;
}

} // namespace kv7im
