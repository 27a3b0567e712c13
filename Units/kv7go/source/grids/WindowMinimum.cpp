#include "grids/WindowMinimum.h"

#include <algorithm>

#include "grids/RowCells.h"

namespace kv7im {

namespace {

constexpr double Nothing = LargestFinite; // beyond the row's ends: never the smallest

// Cells of the padded row of a window that reaches so far. Vectors read past the last run.
constexpr std::size_t PaddedLength(std::size_t size, std::size_t reach) noexcept
{
    return size + 2 * reach + 2 * RiskItem::Lanes;
}

// Four runs of one length, each beginning where the one before it ends, in one: half the passes of two and two. What a
// step reads has not been written by an earlier one.
void CombineFour(double* runs, std::size_t length, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; i += RiskItem::Lanes) {
        const RiskItem firstTwo = Min(LoadFrom(runs + i), LoadFrom(runs + i + length));
        const RiskItem lastTwo = Min(LoadFrom(runs + i + 2 * length), LoadFrom(runs + i + 3 * length));
        StoreTo(runs + i, Min(firstTwo, lastTwo));
    }
}

// target[i] = min(runs[i], runs[i + distance]) for `count` runs. The target may be the runs themselves.
void Combine(const double* runs, std::size_t distance, std::size_t count, double* target) noexcept
{
    for (std::size_t i = 0; i < count; i += RiskItem::Lanes)
        StoreTo(target + i, Min(LoadFrom(runs + i), LoadFrom(runs + i + distance)));
}

} // namespace

WindowMinimum::WindowMinimum(std::size_t longest) { m_runs.reserve(PaddedLength(longest, longest)); }

// Runs of 1, 4, 16, ... values, each made of four of a quarter of its length, and a last one of two; two runs that
// overlap cover the window.
void WindowMinimum::Apply(RiskRow& row, std::size_t window)
{
    const std::size_t size = row.size();
    if (size == 0 || window == 0) return;
    const std::size_t reach = std::min(window, size - 1); // a longer window sees no more than the whole row
    const std::size_t width = 2 * reach + 1;
    m_runs.assign(PaddedLength(size, reach), Nothing);
    double* const runs = m_runs.data();
    double* const cells = CellsOf(row);
    for (std::size_t i = 0; i < size; ++i)
        runs[reach + i] = Min(cells[i], Nothing); // what is no number counts nothing

    std::size_t length = 1;
    for (; 4 * length <= width; length *= 4)
        CombineFour(runs, length, size + width - 4 * length);
    for (; 2 * length <= width; length *= 2)
        Combine(runs, length, size + width - 2 * length, runs);
    // The window of cell i covers padded positions i to i + 2 * reach. Whole vectors, then the rest: padding stays.
    const std::size_t whole = size - size % RiskItem::Lanes;
    Combine(runs, width - length, whole, cells);
    for (std::size_t i = whole; i < size; ++i)
        cells[i] = Min(runs[i], runs[i + width - length]);
}

} // namespace kv7im
