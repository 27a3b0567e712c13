#include "valuation/OptionGrid.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <type_traits>

#include "valuation/GridMemory.h"

namespace kv7im {

static_assert(std::is_trivially_destructible_v<OptionGrid>, "its memory is all that a grid gives back");

namespace {

// The least and the largest in size of what it takes.
struct Range
{
    void Take(RiskItem item) noexcept
    {
        least = Min(item, least);
        largest = Max(item, largest);
        nothing = Add(nothing, Sub(item, item)); // 0, or NaN from the first that is no number on
    }
    [[nodiscard]] bool AreNumbers() const noexcept { return SumOfLanes(nothing) == 0.0; }
    [[nodiscard]] double Least() const noexcept { return operation::_::FoldLanes(least, operation::_::min<double>()); }
    [[nodiscard]] double Largest() const noexcept
    {
        return operation::_::FoldLanes(largest, operation::_::max<double>());
    }
    [[nodiscard]] bool AreModerate() const noexcept
    {
        return AreNumbers() && Least() > -OptionGrid::LargestModerate && Largest() < OptionGrid::LargestModerate;
    }

    RiskItem least{LargestFinite};
    RiskItem largest{-LargestFinite};
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

OptionGrid::Own OptionGrid::Make(std::size_t columns, std::size_t scenarios)
{
    return Own(::new (GridMemory::Take(BytesOf(columns, scenarios))) OptionGrid(columns, scenarios));
}

OptionGrid::OwnConst OptionGrid::CopyOf(const OptionGrid& other)
{
    Own copy = Make(other.cols, other.rows);
    std::copy_n(other.Values(0), other.GetColsRegister() * (other.rows + std::size_t{1}), copy->Values(0));
    copy->mismatchUp = other.mismatchUp;
    copy->mismatchDown = other.mismatchDown;
    copy->points = other.points;
    copy->nothingBelowZero = other.nothingBelowZero;
    copy->moderate = other.moderate;
    return copy;
}

void OptionGrid::KnowItsCells() noexcept
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
    nothingBelowZero = ofValues.AreNumbers() && ofValues.Least() >= 0.0;
    moderate = ofValues.AreModerate() && ofStresses.AreModerate();
}

void OptionGrid::Return::operator()(const OptionGrid* grid) const noexcept
{
    GridMemory::Return(const_cast<OptionGrid*>(grid), BytesOf(grid->cols, grid->rows));
}

} // namespace kv7im
