#include "ExplainWords.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "TextTable.h"

namespace quindal {

using namespace QuindalIM;

namespace {

// A relative shift in per cent, four digits of it: "+12.5".
std::string PerCent(double shift)
{
    char text[40];
    std::snprintf(text, sizeof text, "%+.4g", shift * 100.0);
    return text;
}

} // namespace

std::string_view NameOf(MarginSide side) { return side == MarginSide::Volatility ? "volatility" : "delivery"; }

std::string_view NameOf(MarginEntity entity)
{
    static constexpr std::array<std::string_view, 4> names{"MCS", "base contract", "futures", "option series"};
    return names.at(static_cast<std::size_t>(entity));
}

std::string_view NameOf(kv7im::SpecialRiskPoints::MappingPoint point) { return kv7im::stress::Points.at(point).name; }

std::string PriceText(double price)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", price);
    return text;
}

std::string MoneyText(double money)
{
    const std::string text = Grouped(money);
    return text == "-0.00" ? "0.00" : text;
}

std::string PercentText(double part, double whole)
{
    if (whole == 0.0) return "";
    char text[40];
    std::snprintf(text, sizeof text, "%.1f", part / whole * 100.0);
    return std::string(text) == "-0.0" ? "0.0 %" : std::string(text) + " %";
}

std::string ShiftText(VolatilityShift shift)
{
    const std::string lowest = PerCent(shift.lowest);
    const std::string highest = PerCent(shift.highest);
    if (lowest != highest) return lowest + " to " + highest + " %";
    return shift.lowest == 0.0 ? "unchanged" : lowest + " %";
}

std::string ScenarioText(const ContractGrid& grid, std::size_t scenario)
{
    return scenario < grid.shifts.size() ? "volatility " + ShiftText(grid.shifts[scenario]) : "";
}

const ContractGrid* GridOf(const MarginExplanation& explanation, std::size_t entity, std::string_view contract)
{
    const auto found = std::ranges::find_if(
        explanation.grids, [&](const ContractGrid& grid) { return grid.entity == entity && grid.code == contract; });
    return found == explanation.grids.end() ? nullptr : &*found;
}

} // namespace quindal
