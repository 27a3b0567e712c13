// WindowMinimum: the smallest value within a distance of each point of a row, in time that does not depend on the
// distance.
//
// Under inter-contract netting the worst case in a nearby price point of the other base contract counts too; the window
// is that tolerance, in price points.
#pragma once

#include <cstddef>
#include <vector>

#include "grids/RiskRow.h"

namespace kv7im {

class WindowMinimum
{
public:
    /// Scratch space for rows of up to `longest` points is taken here, so that Apply allocates nothing for them.
    explicit WindowMinimum(std::size_t longest = 0);

    /// row[i] becomes the smallest of the values that stood at i - window to i + window, cut off at the row's ends.
    /// A window of 0 leaves the row. The scratch space grows to the longest row seen and is kept.
    void Apply(RiskRow& row, std::size_t window);

private:
    void FillRunningMinima(const double* values, std::size_t size, std::size_t block);

    // Running minima of the padded row, forward from and backward to the borders of blocks as long as a window.
    std::vector<double> m_padded;
    std::vector<double> m_forward;
    std::vector<double> m_backward;
};

} // namespace kv7im
