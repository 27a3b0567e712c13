#include "PictureLines.h"

#include <algorithm>
#include <cmath>

#include "ExplainWords.h"

namespace quindal::picture {

namespace {

using QuindalIM::ContractGrid;

bool IsSame(double a, double b) noexcept
{
    constexpr double cent = 0.005; // nearer than this two results are the same figure
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return a == b || std::abs(a - b) < std::max(cent, 1e-9 * std::abs(a));
}

std::string NameOfLine(const ContractGrid& grid, const std::vector<std::size_t>& scenarios)
{
    if (scenarios.size() == grid.scenarios.size()) return "at any volatility";
    std::string name;
    for (const std::size_t scenario : scenarios) {
        if (scenario >= grid.shifts.size()) return "scenario " + std::to_string(scenario);
        name += (name.empty() ? ScenarioText(grid, scenario) : ", " + ShiftText(grid.shifts[scenario]));
    }
    return name;
}

} // namespace

std::vector<DrawnLine> LinesOf(const ContractGrid& grid, bool withDeliveries)
{
    std::vector<DrawnLine> lines;
    for (std::size_t scenario = 0; scenario < grid.scenarios.size(); ++scenario) {
        const std::vector<double>& money = grid.scenarios[scenario];
        const auto twin = std::ranges::find_if(
            lines, [&](const DrawnLine& line) { return std::ranges::equal(line.money, money, IsSame); });
        if (twin == lines.end())
            lines.push_back({"", {scenario}, money});
        else
            twin->scenarios.push_back(scenario);
    }
    for (DrawnLine& line : lines)
        line.name = NameOfLine(grid, line.scenarios);
    if (withDeliveries && !grid.deliveries.empty()) lines.push_back({"deliveries", {}, grid.deliveries});
    return lines;
}

} // namespace quindal::picture
