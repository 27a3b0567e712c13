#include "valuation/OptionGrid.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>

namespace kv7im {

namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();

// The least and the largest in size of what it takes.
struct Range
{
    void Take(RiskItem item) noexcept
    {
        least = Min(item, least);
        largest = Max(Max(item, Sub(RiskItem(0.0), item)), largest);
        nothing = Add(nothing, Sub(item, item)); // 0, or NaN from the first that is no number on
    }
    [[nodiscard]] bool AreNumbers() const noexcept { return SumOfLanes(nothing) == 0.0; }
    [[nodiscard]] double Least() const noexcept
    {
        return AreNumbers() ? operation::_::FoldLanes(least, operation::_::min<double>()) : -Infinity;
    }
    [[nodiscard]] double Largest() const noexcept
    {
        return AreNumbers() ? operation::_::FoldLanes(largest, operation::_::max<double>()) : Infinity;
    }

    RiskItem least{Infinity};
    RiskItem largest{0.0};
    RiskItem nothing{0.0};
};

// Lanes from `lanes` on hold no cell: the first cell of the item takes their place.
RiskItem WithoutPadding(RiskItem item, std::size_t lanes) noexcept
{
    for (std::size_t lane = lanes; lane < RiskItem::Lanes; ++lane)
        item[lane] = item[0];
    return item;
}

} // namespace

OptionGrid::OptionGrid(std::size_t columns, std::size_t scenarios) : cols(columns), rows(scenarios)
{
    const std::size_t items = RegistersOf(columns) * (scenarios + 1);
    std::size_t bytes = items * sizeof(RiskItem) + (alignof(RiskItem) - alignof(std::max_align_t));
    storage = std::make_unique_for_overwrite<std::byte[]>(bytes);
    void* aligned = storage.get();
    cells = static_cast<RiskItem*>(std::align(alignof(RiskItem), items * sizeof(RiskItem), aligned, bytes));
}

OptionGrid::OptionGrid(const OptionGrid& other) : OptionGrid(other.cols, other.rows)
{
    std::copy_n(other.cells, GetColsRegister() * (rows + 1), cells);
    mismatchUp = other.mismatchUp;
    mismatchDown = other.mismatchDown;
    points = other.points;
    least = other.least;
    largest = other.largest;
}

void OptionGrid::KnowItsRange() noexcept
{
    Range ofValues;
    Range ofStresses;
    ofStresses.Take(mismatchUp);
    ofStresses.Take(mismatchDown);
    for (std::size_t block = 0; block < GetColsRegister(); ++block) {
        const std::size_t lanes = std::min(RiskItem::Lanes, cols - block * RiskItem::Lanes);
        for (std::size_t row = 0; row < rows; ++row)
            ofValues.Take(WithoutPadding(Values(block)[row], lanes));
        ofStresses.Take(WithoutPadding(RateStress(block), lanes));
    }
    least = ofValues.Least();
    largest = std::max(ofValues.Largest(), ofStresses.Largest());
}

} // namespace kv7im
