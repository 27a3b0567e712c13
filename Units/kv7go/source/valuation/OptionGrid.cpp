#include "valuation/OptionGrid.h"

#include <algorithm>
#include <cstddef>
#include <memory>

namespace kv7im {

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
}

} // namespace kv7im
