#include "PictureFrame.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ExplainWords.h"
#include "Printable.h"

namespace quindal::picture {

namespace {

// Heights in pixels from the upper edge of a panel, or from the lower edge of its plot.
constexpr double TitleAt = 18.0;
constexpr double CaptionAt = 38.0;
constexpr double NowAt = 55.0;
constexpr double PlotTop = 62.0;
constexpr double PlotHeight = 270.0;
constexpr double TicksBelow = 17.0;
constexpr double AxisBelow = 35.0;

constexpr double LegendWidth = 210.0;
constexpr double LeastLeft = 70.0;
constexpr double TickLength = 4.0;
constexpr double TickGap = 14.0; // between the labels of two prices
constexpr int WantedTicks = 6;
constexpr double Headroom = 0.06; // share of the range of money that is left free above and below

std::pair<double, double> RangeOfMoney(const Frame& frame)
{
    double lowest = 0.0;
    double highest = 0.0;
    const auto take = [&](double money) {
        if (!std::isfinite(money)) return;
        lowest = std::min(lowest, money);
        highest = std::max(highest, money);
    };
    for (const DrawnLine& line : frame.lines)
        std::ranges::for_each(line.money, take);
    for (const Mark& mark : frame.marks) {
        if (IsOnGrid(mark)) take(mark.contract->cell);
        if (IsBeyond(mark)) take(mark.contract->money);
    }
    const double free = Headroom * (highest - lowest);
    return {lowest < 0.0 ? lowest - free : lowest, highest > 0.0 ? highest + free : highest};
}

std::vector<std::string> TextsOf(const std::vector<double>& ticks)
{
    const bool isWhole = std::ranges::all_of(ticks, [](double tick) { return tick == std::round(tick); });
    std::vector<std::string> texts;
    texts.reserve(ticks.size());
    for (const double tick : ticks)
        texts.push_back(MoneyTick(tick, isWhole));
    return texts;
}

void DrawTitle(const PanelTerms& terms, const Frame& frame, Sheet& sheet)
{
    const std::string percent = PercentText(terms.grid.margin, terms.input.explanation.unrounded);
    const std::string share = MoneyText(terms.grid.margin) + " of the margin" + (percent.empty() ? "" : ", " + percent);
    const double right = terms.width - Edge;
    sheet.words.push_back(
        terms.type.Set(share, {right, frame.top + TitleAt}, Side::Right, PlainFont, terms.inks.quiet));
    const double room = sheet.words.back().box.left - 2.0 * Edge;
    sheet.words.push_back(terms.type.Set(terms.type.Fitted(Printable(terms.grid.code), TitleFont, room),
                                         {Edge, frame.top + TitleAt}, Side::Left, TitleFont, terms.inks.text));
}

void DrawMoneyAxis(const PanelTerms& terms, const Frame& frame, Sheet& sheet)
{
    const std::string& currency = terms.input.provenance.currency;
    const std::string caption = "profit and loss, " + (currency.empty() ? "in the currency of the market" : currency);
    sheet.words.push_back(
        terms.type.Set(caption, {Edge, frame.top + CaptionAt}, Side::Left, PlainFont, terms.inks.quiet));
    const Box& plot = frame.plot;
    for (std::size_t i = 0; i < frame.moneyTicks.size(); ++i) {
        const double y = frame.money.At(frame.moneyTicks[i]);
        const bool isZero = frame.moneyTicks[i] == 0.0;
        sheet.paths.push_back({{{plot.left, y}, {plot.right, y}}, isZero ? terms.inks.axis : terms.inks.grid, 1.0, {}});
        sheet.words.push_back(
            terms.type.Set(frame.moneyTexts[i], {plot.left - 8.0, y + 4.0}, Side::Right, PlainFont, terms.inks.quiet));
    }
    sheet.paths.push_back({{{plot.left, plot.top}, {plot.left, plot.bottom}}, terms.inks.axis, 1.0, {}});
}

// As many ticks as their labels leave room for.
std::vector<Words> PriceTicks(const PanelTerms& terms, const Frame& frame)
{
    for (int wanted = WantedTicks;; --wanted) {
        std::vector<Words> labels;
        bool isCrowded = false;
        for (const double price : frame.prices.Ticks(wanted)) {
            labels.push_back(terms.type.Set(PriceText(price), {frame.prices.At(price), frame.plot.bottom + TicksBelow},
                                            Side::Middle, PlainFont, terms.inks.quiet));
            const std::size_t count = labels.size();
            if (count > 1 && labels[count - 1].box.left < labels[count - 2].box.right + TickGap) isCrowded = true;
        }
        if (!isCrowded) return labels;
        if (wanted == 1) return {labels.front()};
    }
}

void DrawPriceAxis(const PanelTerms& terms, const Frame& frame, Sheet& sheet)
{
    const Box& plot = frame.plot;
    for (const Words& label : PriceTicks(terms, frame)) {
        const double x = (label.box.left + label.box.right) / 2.0;
        sheet.paths.push_back({{{x, plot.bottom}, {x, plot.bottom + TickLength}}, terms.inks.axis, 1.0, {}});
        sheet.words.push_back(label);
    }
    sheet.paths.push_back({{{plot.left, plot.bottom}, {plot.right, plot.bottom}}, terms.inks.axis, 1.0, {}});
    const std::string futures = Printable(terms.grid.futures);
    const std::string caption =
        terms.type.Fitted("price of " + futures + ", in its own quotation", PlainFont, plot.right - plot.left);
    sheet.words.push_back(terms.type.Set(caption, {(plot.left + plot.right) / 2.0, plot.bottom + AxisBelow},
                                         Side::Middle, PlainFont, terms.inks.quiet));
}

void DrawNow(const PanelTerms& terms, const Frame& frame, Sheet& sheet)
{
    const double price = terms.grid.currentPrice;
    const double x = frame.prices.At(price);
    if (!(x >= frame.plot.left && x <= frame.plot.right)) return;
    sheet.paths.push_back({{{x, frame.plot.top}, {x, frame.plot.bottom}}, terms.inks.now, 1.0, {1.0, 3.0}});
    const std::string text = "current price " + PriceText(price);
    const double half = terms.type.WidthOf(text, PlainFont) / 2.0;
    const double middle = std::clamp(x, Edge + half, terms.width - Edge - half);
    sheet.words.push_back(terms.type.Set(text, {middle, frame.top + NowAt}, Side::Middle, PlainFont, terms.inks.text));
}

} // namespace

Frame FrameOf(const PanelTerms& terms, double top)
{
    std::vector<Mark> marks = MarksOf(terms.grid, terms.input.explanation);
    std::vector<DrawnLine> lines = LinesOf(terms.grid, std::ranges::any_of(marks, IsDelivery));
    const Axis none(0.0, 1.0, 0.0, 1.0);
    Frame frame{top, std::move(marks), std::move(lines), {}, none, none, {}, {}};
    frame.plot = {0.0, top + PlotTop, terms.width - Edge - LegendWidth, top + PlotTop + PlotHeight};

    const auto [lowest, highest] = RangeOfMoney(frame);
    frame.money = Axis(lowest, highest, frame.plot.bottom, frame.plot.top);
    frame.moneyTicks = frame.money.Ticks(WantedTicks);
    frame.moneyTexts = TextsOf(frame.moneyTicks);
    double widest = 0.0;
    for (const std::string& text : frame.moneyTexts)
        widest = std::max(widest, terms.type.WidthOf(text, PlainFont));
    frame.plot.left = std::max(LeastLeft, Edge + widest + 10.0);
    frame.prices = Axis(terms.grid.prices.front(), terms.grid.prices.back(), frame.plot.left, frame.plot.right);
    return frame;
}

void DrawFrame(const PanelTerms& terms, const Frame& frame, Sheet& sheet)
{
    DrawTitle(terms, frame, sheet);
    DrawMoneyAxis(terms, frame, sheet);
    DrawPriceAxis(terms, frame, sheet);
    DrawNow(terms, frame, sheet);
}

} // namespace quindal::picture
