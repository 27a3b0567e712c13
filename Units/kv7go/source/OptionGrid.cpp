#include "OptionGrid.h"

#include <algorithm>

namespace kv7im {

OptionGrid::OptionGrid(std::size_t columns, std::size_t scenarios)
    : cols(columns),
      rows(scenarios),
      cells(std::make_unique_for_overwrite<RiskItem[]>(RegistersOf(columns) * (scenarios + 1)))
{}

OptionGrid::OptionGrid(const OptionGrid& other) : OptionGrid(other.cols, other.rows)
{
    std::copy_n(other.cells.get(), GetColsRegister() * (rows + 1), cells.get());
    mismatchUp = other.mismatchUp;
    mismatchDown = other.mismatchDown;
    points = other.points;
}

} // namespace kv7im
