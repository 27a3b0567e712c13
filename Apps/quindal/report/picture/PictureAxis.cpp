#include "PictureAxis.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "ExplainWords.h"

namespace quindal::picture {

namespace {

constexpr std::size_t LongestTick = 20; // characters
constexpr int MostTicks = 50;

} // namespace

Axis::Axis(double lowest, double highest, double atLowest, double atHighest)
    : m_lowest(lowest), m_highest(highest), m_atLowest(atLowest), m_atHighest(atHighest)
{
    if (m_highest > m_lowest) return;
    const double margin = std::max(1.0, std::abs(lowest) * 0.01);
    m_lowest -= margin;
    m_highest += margin;
}

std::vector<double> Axis::Ticks(int wanted) const
{
    const double rough = (m_highest - m_lowest) / wanted;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    double step = 10.0 * power;
    for (const double factor : {5.0, 2.0, 1.0})
        if (factor * power >= rough) step = factor * power;
    std::vector<double> ticks;
    const double first = std::ceil(m_lowest / step);
    for (int i = 0; i < MostTicks; ++i) {
        const double tick = (first + i) * step;
        if (!(tick <= m_highest)) break;
        if (ticks.empty() || tick > ticks.back()) ticks.push_back(tick == 0.0 ? 0.0 : tick);
    }
    return ticks;
}

std::string MoneyTick(double value, bool isWhole)
{
    std::string text = MoneyText(value);
    if (text.size() > LongestTick) return PriceText(value);
    return isWhole ? text.substr(0, text.size() - 3) : text;
}

} // namespace quindal::picture
