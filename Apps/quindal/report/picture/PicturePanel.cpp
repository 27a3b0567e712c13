#include "PicturePanel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>

#include "PictureLabels.h"
#include "Printable.h"

namespace quindal::picture {

namespace {

constexpr double WordsBelow = 57.0; // the plot
constexpr double LineHeight = 17.0;
constexpr double Gap = 22.0;    // to the next panel
constexpr double Swatch = 34.0; // stroke before a name of the legend
constexpr double LegendGap = 20.0;
constexpr double RingRadius = 5.0;
constexpr double ArrowLength = 10.0;
constexpr double ArrowHalf = 5.0;
constexpr double LeaderFrom = 14.0;     // pixels between mark and label from which a line leads from one to the other
constexpr std::size_t LegendLines = 12; // of more, the first and the last are listed

/// A mark as drawn: a ring at a point of the grid, or an arrow that points out of the plot at a stress point.
struct Spot
{
    Point at;
    bool isBeyond = false;
    bool isBelow = false;
    std::string label;

    bool operator==(const Spot&) const = default;
};

std::vector<Spot> SpotsOf(const Frame& frame)
{
    std::vector<Spot> spots;
    const auto add = [&](const Spot& spot) { // the two sides may share a cell
        if (std::ranges::find(spots, spot) == spots.end()) spots.push_back(spot);
    };
    for (const Mark& mark : frame.marks) {
        if (IsOnGrid(mark))
            add({{frame.prices.At(*mark.contract->price), frame.money.At(mark.contract->cell)},
                 false,
                 false,
                 LabelOnGrid(mark)});
        if (IsBeyond(mark))
            add({{IsBelow(mark) ? frame.plot.left : frame.plot.right, frame.money.At(mark.contract->money)},
                 true,
                 IsBelow(mark),
                 LabelBeyond(mark)});
    }
    return spots;
}

Colour ColourOf(const PanelTerms& terms, const DrawnLine& line)
{
    if (line.scenarios.empty()) return terms.inks.delivery;
    const std::size_t count = terms.grid.scenarios.size();
    if (line.scenarios.size() == count) return terms.inks.low;
    return ScenarioColour(terms.inks, static_cast<double>(line.scenarios.front()) / static_cast<double>(count - 1));
}

double WidthOf(const DrawnLine& line) { return line.scenarios.empty() ? 2.2 : 1.5; }

void DrawLines(const PanelTerms& terms, const Frame& frame, Sheet& sheet, PicturePanel& panel)
{
    for (std::size_t i = 0; i < frame.lines.size(); ++i) {
        const DrawnLine& line = frame.lines[i];
        const Colour colour = ColourOf(terms, line);
        Path path{{}, colour, WidthOf(line), DashOf(i)};
        PictureLine drawn{line.name, line.scenarios, HexOf(colour), {}};
        for (std::size_t k = 0; k < std::min(line.money.size(), terms.grid.prices.size()); ++k) {
            if (!std::isfinite(line.money[k])) continue;
            const double price = terms.grid.prices[k];
            path.points.push_back({frame.prices.At(price), frame.money.At(line.money[k])});
            drawn.points.push_back({path.points.back().x, path.points.back().y, price, line.money[k]});
        }
        sheet.paths.push_back(std::move(path));
        panel.lines.push_back(std::move(drawn));
    }
}

Path ArrowAt(const PanelTerms& terms, const Spot& spot)
{
    const double base = spot.isBelow ? spot.at.x + ArrowLength : spot.at.x - ArrowLength;
    return {{spot.at, {base, spot.at.y - ArrowHalf}, {base, spot.at.y + ArrowHalf}}, terms.inks.worst, 1.0, {}, true};
}

void DrawMark(const PanelTerms& terms, const Spot& spot, Sheet& sheet)
{
    if (spot.isBeyond)
        sheet.paths.push_back(ArrowAt(terms, spot));
    else
        sheet.rings.push_back({spot.at, RingRadius, terms.inks.worst});
}

/// A line of the legend: what is drawn, and its name.
class Legend
{
public:
    Legend(const PanelTerms& terms, const Frame& frame, Sheet& sheet)
        : m_terms(terms), m_sheet(sheet), m_left(frame.plot.right + LegendGap), m_y(frame.plot.top + 6.0)
    {}

    void AddStroke(const DrawnLine& line, std::size_t index)
    {
        m_sheet.paths.push_back(
            {{{m_left, m_y}, {m_left + Swatch, m_y}}, ColourOf(m_terms, line), WidthOf(line), DashOf(index)});
        AddName(line.name);
    }
    void AddMark(bool isBeyond, const std::string& name)
    {
        const double middle = m_left + Swatch / 2.0;
        DrawMark(m_terms, {{isBeyond ? middle + ArrowHalf : middle, m_y}, isBeyond, false, {}}, m_sheet);
        AddName(name);
    }
    void AddName(const std::string& name)
    {
        const double left = m_left + Swatch + 8.0;
        const double room = m_terms.width - Edge - left;
        m_sheet.words.push_back(m_terms.type.Set(m_terms.type.Fitted(name, PlainFont, room), {left, m_y + 4.0},
                                                 Side::Left, PlainFont, m_terms.inks.text));
        m_y += LineHeight;
    }

private:
    const PanelTerms& m_terms;
    Sheet& m_sheet;
    double m_left;
    double m_y;
};

void DrawLegend(const PanelTerms& terms, const Frame& frame, const std::vector<Spot>& spots, Sheet& sheet)
{
    Legend legend(terms, frame, sheet);
    const std::size_t count = frame.lines.size();
    const std::size_t half = count > LegendLines ? LegendLines / 2 : count;
    for (std::size_t i = 0; i < count; ++i) {
        if (i < half || i + half >= count)
            legend.AddStroke(frame.lines[i], i);
        else if (i == half)
            legend.AddName("and " + std::to_string(count - 2 * half) + " between");
    }
    if (std::ranges::any_of(spots, [](const Spot& spot) { return !spot.isBeyond; }))
        legend.AddMark(false, "worst cell");
    if (std::ranges::any_of(spots, &Spot::isBeyond)) legend.AddMark(true, "beyond the grid");
}

Box BoxOf(const Spot& spot)
{
    if (!spot.isBeyond) return Grown({spot.at.x, spot.at.y, spot.at.x, spot.at.y}, RingRadius + 1.0);
    return {spot.at.x - (spot.isBelow ? 0.0 : ArrowLength), spot.at.y - ArrowHalf,
            spot.at.x + (spot.isBelow ? ArrowLength : 0.0), spot.at.y + ArrowHalf};
}

// The stroke from a mark to its label, where that is not beside it; it does not cross another label.
std::optional<Path> LeaderTo(const PanelTerms& terms, const Spot& spot, const Box& label,
                             const std::vector<Box>& others)
{
    const Point end{std::clamp(spot.at.x, label.left, label.right), std::clamp(spot.at.y, label.top, label.bottom)};
    const double length = std::hypot(end.x - spot.at.x, end.y - spot.at.y);
    if (length < LeaderFrom) return {};
    const auto along = [&](double pixels) {
        return Point{std::lerp(spot.at.x, end.x, pixels / length), std::lerp(spot.at.y, end.y, pixels / length)};
    };
    Path leader{{along(RingRadius + 1.0), along(length - 2.0)}, terms.inks.worst, 0.8, {}};
    const auto isCrossed = [&](const Box& other) { return Meets(other, leader.points[0], leader.points[1]); };
    if (std::ranges::any_of(others, isCrossed)) return {};
    return leader;
}

// Draws the marks and, where the plot has room for them, their labels. What has no label stands in the words below.
void DrawSpots(const PanelTerms& terms, const Frame& frame, const std::vector<Spot>& spots, std::size_t firstPath,
               Sheet& sheet)
{
    Obstacles obstacles{{sheet.paths.begin() + static_cast<std::ptrdiff_t>(firstPath), sheet.paths.end()}, {}};
    for (const Spot& spot : spots)
        obstacles.boxes.push_back(BoxOf(spot));
    std::vector<Box> labels;
    for (const Spot& spot : spots) {
        DrawMark(terms, spot, sheet);
        const Words atOrigin = terms.type.Set(spot.label, {}, Side::Left, LabelFont, terms.inks.worst);
        const double height = atOrigin.box.bottom - atOrigin.box.top;
        const std::optional<Point> place = FreePlace(spot.at, atOrigin.box.right, height, frame.plot, obstacles);
        if (!place) continue;
        sheet.words.push_back(terms.type.Set(spot.label, {place->x, place->y - atOrigin.box.top}, Side::Left, LabelFont,
                                             terms.inks.worst));
        const Box& label = sheet.words.back().box;
        if (const std::optional<Path> leader = LeaderTo(terms, spot, label, labels)) {
            sheet.paths.push_back(*leader);
            obstacles.paths.push_back(*leader);
        }
        labels.push_back(label);
        obstacles.boxes.push_back(label);
    }
}

std::vector<std::string> WordsBelowPlot(const PanelTerms& terms, const Frame& frame)
{
    std::vector<std::string> lines;
    for (const Mark& mark : frame.marks)
        for (const std::string& line : terms.type.Broken("worst cell, " + Printable(WordsOf(mark, terms.grid)),
                                                         PlainFont, terms.width - 2.0 * Edge))
            lines.push_back(line);
    return lines;
}

void DrawWords(const PanelTerms& terms, const Frame& frame, Sheet& sheet)
{
    double y = frame.plot.bottom + WordsBelow;
    for (const std::string& line : WordsBelowPlot(terms, frame)) {
        sheet.words.push_back(terms.type.Set(line, {Edge, y}, Side::Left, PlainFont, terms.inks.worst));
        y += LineHeight;
    }
}

std::vector<PictureMark> MarksOnMap(const PanelTerms& terms, const Frame& frame)
{
    std::vector<PictureMark> marks;
    for (const Mark& mark : frame.marks) {
        if (IsBeyond(mark))
            marks.push_back({IsBelow(mark) ? frame.plot.left : frame.plot.right, frame.money.At(mark.contract->money),
                             WordsOf(mark, terms.grid)});
        else if (IsOnGrid(mark))
            marks.push_back({frame.prices.At(*mark.contract->price), frame.money.At(mark.contract->cell),
                             WordsOf(mark, terms.grid)});
    }
    return marks;
}

} // namespace

double HeightOfPanel(const PanelTerms& terms)
{
    const Frame frame = FrameOf(terms, 0.0);
    return frame.plot.bottom + WordsBelow + LineHeight * static_cast<double>(WordsBelowPlot(terms, frame).size()) + Gap;
}

PicturePanel AddPanel(const PanelTerms& terms, double top, Sheet& sheet)
{
    const Frame frame = FrameOf(terms, top);
    PicturePanel panel{terms.grid.code,
                       terms.grid.futures,
                       frame.plot.left,
                       frame.plot.right,
                       frame.plot.top,
                       frame.plot.bottom,
                       {},
                       MarksOnMap(terms, frame)};
    const std::size_t firstPath = sheet.paths.size();
    DrawFrame(terms, frame, sheet);
    DrawLines(terms, frame, sheet, panel);
    const std::vector<Spot> spots = SpotsOf(frame);
    DrawSpots(terms, frame, spots, firstPath, sheet);
    DrawLegend(terms, frame, spots, sheet);
    DrawWords(terms, frame, sheet);
    return panel;
}

} // namespace quindal::picture
