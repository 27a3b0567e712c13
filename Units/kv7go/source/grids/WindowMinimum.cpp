#include "grids/WindowMinimum.h"

#include <algorithm>
#include <limits>

#include "grids/RowCells.h"

namespace kv7im {

namespace {

constexpr double Nothing = std::numeric_limits<double>::max(); // beyond the row's ends: never the smallest

} // namespace

WindowMinimum::WindowMinimum(std::size_t longest)
{
    for (std::vector<double>* const scratch : {&m_padded, &m_forward, &m_backward})
        scratch->reserve(3 * longest);
}

// Two running minima a block, one from each side, give every window's minimum by one comparison: a window of the
// block's length touches at most two blocks, the end of one and the beginning of the next (van Herk 1992; Gil and
// Werman 1993).
void WindowMinimum::FillRunningMinima(const double* values, std::size_t size, std::size_t block)
{
    for (std::size_t begin = 0; begin < size; begin += block) {
        const std::size_t end = std::min(begin + block, size);
        double smallest = Nothing;
        for (std::size_t i = begin; i < end; ++i)
            m_forward[i] = smallest = Min(values[i], smallest);
        smallest = Nothing;
        for (std::size_t i = end; i-- > begin;)
            m_backward[i] = smallest = Min(values[i], smallest);
    }
}

void WindowMinimum::Apply(RiskRow& row, std::size_t window)
{
    const std::size_t size = row.size();
    if (size == 0 || window == 0) return;
    const std::size_t reach = std::min(window, size - 1); // a longer window sees no more than the whole row
    const std::size_t block = 2 * reach + 1;
    const std::size_t padded = size + 2 * reach;

    m_padded.assign(padded, Nothing);
    m_forward.resize(padded);
    m_backward.resize(padded);
    double* const cells = CellsOf(row);
    std::copy_n(cells, size, m_padded.begin() + static_cast<std::ptrdiff_t>(reach));
    FillRunningMinima(m_padded.data(), padded, block);
    // The window of cell i covers padded positions i to i + 2 * reach.
    for (std::size_t i = 0; i < size; ++i)
        cells[i] = Min(m_backward[i], m_forward[i + block - 1]);
}

} // namespace kv7im
