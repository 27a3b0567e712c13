// WindowMinimum: the smallest value within a distance of each point of a row.
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
    std::vector<double> m_runs; // the smallest of some neighbours, from each point of the padded row on
};

} // namespace kv7im
