#include "MarginChart.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ExplainReport.h"
#include "Printable.h"

namespace quindal {

namespace {

using namespace QuindalIM;

// Sizes in pixels of the drawing at its own scale.
constexpr double Width = 900.0;
constexpr double HeadHeight = 50.0;
constexpr double PanelHeight = 430.0;
constexpr double Left = 130.0; // of the plot within the panel
constexpr double Right = 730.0;
constexpr double Top = 50.0;
constexpr double Bottom = 330.0;
constexpr double LegendAt = 750.0;
constexpr double LineHeight = 18.0;
constexpr std::size_t LegendLines = 15; // more scenarios share their colours and are not listed
constexpr std::size_t LabelLength = 20; // of money, left of the plot
constexpr int WantedTicks = 6;
constexpr std::array<std::string_view, 8> Colours{"#1f77b4", "#2ca02c", "#9467bd", "#8c564b",
                                                  "#e377c2", "#7f7f7f", "#bcbd22", "#17becf"};

std::string Number(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

// Text between tags or in an attribute. Codes are plain ASCII; anything else could make the document unreadable.
std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&apos;";
            break;
        default:
            escaped += c >= ' ' && c <= '~' ? c : '?';
        }
    }
    return escaped;
}

std::string Text(double x, double y, std::string_view attributes, std::string_view text)
{
    return "<text x=\"" + Number(x) + "\" y=\"" + Number(y) + "\"" + std::string(attributes) + ">" +
           Escaped(Printable(text)) + "</text>\n";
}
std::string Line(double x1, double y1, double x2, double y2, std::string_view colour)
{
    return "<line x1=\"" + Number(x1) + "\" y1=\"" + Number(y1) + "\" x2=\"" + Number(x2) + "\" y2=\"" + Number(y2) +
           "\" stroke=\"" + std::string(colour) + "\"/>\n";
}

/// One axis: a range of values on a range of pixels, with ticks at round numbers.
class Axis
{
public:
    Axis(double lowest, double highest, double atLowest, double atHighest)
        : m_lowest(lowest), m_highest(highest), m_atLowest(atLowest), m_atHighest(atHighest)
    {
        if (m_highest > m_lowest) return;
        const double margin = std::max(1.0, std::abs(lowest) * 0.01); // a flat line in the middle
        m_lowest -= margin;
        m_highest += margin;
    }

    [[nodiscard]] double At(double value) const noexcept
    {
        return m_atLowest + (value - m_lowest) / (m_highest - m_lowest) * (m_atHighest - m_atLowest);
    }
    /// Multiples of 1, 2 or 5 times a power of ten within the range.
    [[nodiscard]] std::vector<double> Ticks() const
    {
        const double rough = (m_highest - m_lowest) / WantedTicks;
        const double power = std::pow(10.0, std::floor(std::log10(rough)));
        double step = 10.0 * power;
        for (const double factor : {5.0, 2.0, 1.0})
            if (factor * power >= rough) step = factor * power;
        std::vector<double> ticks;
        const auto first = static_cast<long long>(std::ceil(m_lowest / step));
        const auto last = static_cast<long long>(std::floor(m_highest / step));
        for (long long i = first; i <= last; ++i)
            ticks.push_back(static_cast<double>(i) * step);
        return ticks;
    }

private:
    double m_lowest;
    double m_highest;
    double m_atLowest;
    double m_atHighest;
};

/// A worst cell, as far as it belongs to one contract.
struct Mark
{
    MarginSide side;
    const ContractOutcome* contract; // null: the entity loses nothing
};

std::vector<Mark> MarksOf(const ContractGrid& grid, const MarginExplanation& explanation)
{
    std::vector<Mark> marks;
    for (const SideOutcome& side : explanation.entities[grid.entity].sides) {
        const auto found = std::find_if(side.contracts.begin(), side.contracts.end(),
                                        [&](const ContractOutcome& contract) { return contract.code == grid.code; });
        marks.push_back({side.side, found == side.contracts.end() ? nullptr : &*found});
    }
    return marks;
}

bool IsOnGrid(const Mark& mark) { return mark.contract != nullptr && mark.contract->price.has_value(); }

// True for a mark at a stress point, beyond one end of the grid.
bool IsBeyond(const Mark& mark)
{
    return mark.contract != nullptr && mark.contract->stressPoint && std::isfinite(mark.contract->money);
}

bool IsBelowTheMarket(kv7im::SpecialRiskPoints::MappingPoint point)
{
    return kv7im::stress::Points[point].side == kv7im::stress::Side::Below;
}

std::pair<double, double> RangeOfMoney(const ContractGrid& grid, const std::vector<Mark>& marks)
{
    double lowest = 0.0;
    double highest = 0.0;
    const auto take = [&](double money) {
        if (!std::isfinite(money)) return;
        lowest = std::min(lowest, money);
        highest = std::max(highest, money);
    };
    for (const std::vector<double>& scenario : grid.scenarios)
        std::for_each(scenario.begin(), scenario.end(), take);
    for (const Mark& mark : marks) {
        if (IsOnGrid(mark)) take(mark.contract->cell);
        if (IsBeyond(mark)) take(mark.contract->money);
    }
    return {lowest, highest};
}

// Text of a round number; where cents would not fit before the axis, with its power of ten.
std::string TickText(double value)
{
    std::string text = MoneyText(value);
    return text.size() <= LabelLength ? text : PriceText(value);
}

std::string Axes(const Axis& prices, const Axis& money)
{
    std::string svg;
    for (const double price : prices.Ticks()) {
        svg += Line(prices.At(price), Top, prices.At(price), Bottom, "#eeeeee");
        svg += Text(prices.At(price), Bottom + LineHeight, " class=\"price\" text-anchor=\"middle\"", PriceText(price));
    }
    for (const double value : money.Ticks()) {
        svg += Line(Left, money.At(value), Right, money.At(value), value == 0.0 ? "#999999" : "#eeeeee");
        svg += Text(Left - 8.0, money.At(value) + 4.0, " class=\"money\" text-anchor=\"end\"", TickText(value));
    }
    svg += Line(Left, Top, Left, Bottom, "#333333") + Line(Left, Bottom, Right, Bottom, "#333333");
    svg += Text((Left + Right) / 2.0, Bottom + 2.3 * LineHeight, " text-anchor=\"middle\"", "price");
    return svg + Text(Left, Top - 8.0, " text-anchor=\"end\"", "money");
}

std::string Polyline(const std::vector<double>& scenario, const std::vector<double>& at, const Axis& prices,
                     const Axis& money, std::string_view colour)
{
    std::string points;
    for (std::size_t i = 0; i < scenario.size(); ++i)
        if (std::isfinite(scenario[i])) points += Number(prices.At(at[i])) + "," + Number(money.At(scenario[i])) + " ";
    if (!points.empty()) points.pop_back();
    return "<polyline class=\"scenario\" fill=\"none\" stroke-width=\"1.5\" stroke=\"" + std::string(colour) +
           "\" points=\"" + points + "\"/>\n";
}

std::string Scenarios(const ContractGrid& grid, const Axis& prices, const Axis& money)
{
    std::string svg;
    for (std::size_t i = 0; i < grid.scenarios.size(); ++i) {
        const std::string_view colour = Colours.at(i % Colours.size());
        svg += Polyline(grid.scenarios[i], grid.prices, prices, money, colour);
        if (i >= LegendLines) continue;
        const double y = Top + static_cast<double>(i) * LineHeight;
        svg += Line(LegendAt, y, LegendAt + 20.0, y, colour);
        svg += Text(LegendAt + 26.0, y + 4.0, "", "volatility " + std::to_string(i));
    }
    return svg;
}

// Words on a cell whose money is not that of a point of the drawing, as far as that is known.
std::string WordsOfCell(const ContractOutcome& contract)
{
    const std::string cell = MoneyText(contract.cell);
    if (!contract.price || cell == MoneyText(contract.money)) return "";
    if (contract.stressPoint) return "; the edge has " + cell + " before stresses";
    const bool hasStresses = contract.rateRow || contract.mismatchRow;
    return "; " + cell + (hasStresses ? " before stresses" : " before the curvature");
}

std::string WordsOf(const Mark& mark)
{
    const std::string side(NameOf(mark.side));
    if (mark.contract == nullptr) return side + ": no loss";
    const ContractOutcome& contract = *mark.contract;
    if (contract.kind == ContractOutcome::Kind::Nothing)
        return side + (contract.isCut ? ": its gain is cut" : ": nothing in the worst cell");
    std::string words = side + ": " + MoneyText(contract.money);
    if (contract.stressPoint) words += " at the stress point " + std::string(NameOf(*contract.stressPoint));
    if (contract.price && contract.stressPoint) words += ", by the edge";
    if (contract.price) words += " at the price " + PriceText(*contract.price);
    if (contract.isDelivery) words += ", deliveries";
    return words + WordsOfCell(contract);
}

/// A mark as drawn: a ring at a point of the grid, or an arrow that points out of the plot at a stress point.
struct Spot
{
    double x = 0.0;
    double y = 0.0;
    bool isBeyond = false;
    std::string label;

    bool operator==(const Spot&) const = default;
};

std::vector<Spot> SpotsOf(const std::vector<Mark>& marks, const Axis& prices, const Axis& money)
{
    std::vector<Spot> spots;
    const auto add = [&](const Spot& spot) { // the two sides may share a cell
        if (std::find(spots.begin(), spots.end(), spot) == spots.end()) spots.push_back(spot);
    };
    for (const Mark& mark : marks) {
        if (IsOnGrid(mark))
            add({prices.At(*mark.contract->price), money.At(mark.contract->cell), false,
                 PriceText(*mark.contract->price) + ": " + MoneyText(mark.contract->cell)});
        if (IsBeyond(mark))
            add({IsBelowTheMarket(*mark.contract->stressPoint) ? Left : Right, money.At(mark.contract->money), true,
                 std::string(NameOf(*mark.contract->stressPoint)) + ": " + MoneyText(mark.contract->money)});
    }
    return spots;
}

bool IsOnTheRight(const Spot& spot) { return spot.x > (Left + Right) / 2.0; }

std::string Draw(const Spot& spot)
{
    const std::string x = Number(spot.x);
    const std::string y = Number(spot.y);
    if (!spot.isBeyond)
        return "<circle class=\"worst\" cx=\"" + x + "\" cy=\"" + y +
               "\" r=\"5\" fill=\"none\" stroke=\"#d62728\" stroke-width=\"2\"/>\n";
    const std::string base = Number(IsOnTheRight(spot) ? spot.x - 10.0 : spot.x + 10.0);
    return "<polygon class=\"worst beyond\" points=\"" + x + "," + y + " " + base + "," + Number(spot.y - 5.0) + " " +
           base + "," + Number(spot.y + 5.0) + "\" fill=\"#d62728\"/>\n";
}

// Draws the spots. Labels stand above their marks, each a line clear of those before it on its half, towards the middle
// of the plot.
std::string Spots(const std::vector<Spot>& spots)
{
    std::string svg;
    std::vector<std::pair<bool, double>> taken; // half and height
    for (const Spot& spot : spots) {
        const bool isRight = IsOnTheRight(spot);
        const double shift = spot.y > (Top + Bottom) / 2.0 ? -LineHeight : LineHeight;
        double y = spot.y - 8.0;
        const auto isNear = [&](const auto& label) {
            return label.first == isRight && std::abs(label.second - y) < LineHeight;
        };
        while (std::any_of(taken.begin(), taken.end(), isNear))
            y += shift;
        taken.emplace_back(isRight, y);
        svg += Draw(spot);
        svg += Text(isRight ? spot.x - 12.0 : spot.x + 12.0, y,
                    isRight ? " fill=\"#d62728\" text-anchor=\"end\"" : " fill=\"#d62728\"", spot.label);
    }
    return svg;
}

std::string Marks(const std::vector<Mark>& marks, const Axis& prices, const Axis& money)
{
    std::string svg = Spots(SpotsOf(marks, prices, money));
    double y = Bottom + 3.4 * LineHeight;
    for (const Mark& mark : marks) {
        svg += Text(Left, y, " class=\"worst-words\" fill=\"#d62728\"", "worst cell, " + WordsOf(mark));
        y += LineHeight;
    }
    return svg;
}

std::string Panel(const ContractGrid& grid, const MarginExplanation& explanation, double top)
{
    const std::vector<Mark> marks = MarksOf(grid, explanation);
    const auto [lowest, highest] = RangeOfMoney(grid, marks);
    const Axis prices(grid.prices.front(), grid.prices.back(), Left, Right);
    const Axis money(lowest, highest, Bottom, Top);
    std::string title = grid.code;
    if (grid.futures != grid.code) title += ", prices of " + grid.futures;
    return "<g class=\"panel\" transform=\"translate(0," + Number(top) + ")\">\n" +
           Text(Left, Top - 28.0, " font-weight=\"bold\"", title) + Axes(prices, money) +
           Scenarios(grid, prices, money) + Marks(marks, prices, money) + "</g>\n";
}

} // namespace

std::string DrawMargin(const std::string& client, const MarginExplanation& explanation, const std::string& description)
{
    const double height = HeadHeight + PanelHeight * static_cast<double>(explanation.grids.size()) + 20.0;
    std::string svg = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " +
                      Number(Width) + " " + Number(height) + "\" font-family=\"sans-serif\" font-size=\"12\">\n<desc>" +
                      Escaped(Printable(description)) +
                      "</desc>\n"
                      "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
    svg +=
        Text(Left, 30.0, " font-size=\"16\"", "Profit and loss of " + client + ", GO " + MoneyText(explanation.margin));
    double top = HeadHeight;
    for (const ContractGrid& grid : explanation.grids) {
        svg += Panel(grid, explanation, top);
        top += PanelHeight;
    }
    return svg + "</svg>\n";
}

} // namespace quindal
