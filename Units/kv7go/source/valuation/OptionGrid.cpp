#include "valuation/OptionGrid.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <type_traits>

#include "valuation/GridMemory.h"

namespace kv7im {

static_assert(std::is_trivially_destructible_v<OptionGrid>, "its memory is all that a grid gives back");

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
    return copy;
}

void OptionGrid::Return::operator()(const OptionGrid* grid) const noexcept
{
    GridMemory::Return(const_cast<OptionGrid*>(grid), BytesOf(grid->cols, grid->rows));
}

} // namespace kv7im
