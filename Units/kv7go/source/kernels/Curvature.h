// Curvature: the additional loss of a contract priced through a currency, whose result is converted at a rate that
// moves with it.
//
// Two curvatures exist: that of the plain margin, and that of positions alone, which gives back what the paper loss
// covers. Money in and out; radius is a share, and a radius of 0 or less changes nothing.
#pragma once

#include <cstddef>

#include "grids/RiskRow.h"
#include "grids/RowCells.h"
#include "grids/SpecialRiskPoints.h"
#include "instruments/SpecBaseContract.h"

namespace kv7im {

/// v - |netOptionValue + v| * radius (Curved).
struct Curvature
{
    [[nodiscard]] double operator()(double v) const noexcept { return Curved(v, netOptionValue, radius); }
    void Bend(SpecialRiskPoints& points) const noexcept { points.ApplyCurvature(netOptionValue, radius); }

    double netOptionValue;
    double radius;
};

/// v - |netOptionValue + v| * radius, with the positive part of netOptionValue + v, at most paperLoss, given back twice
/// (Curved_PositionsOnly).
struct Curvature_PositionsOnly
{
    [[nodiscard]] double operator()(double v) const noexcept
    {
        return kv7im::Curved_PositionsOnly(v, netOptionValue, radius, paperLoss);
    }
    void Bend(SpecialRiskPoints& points) const noexcept
    {
        points.ApplyCurvature_PositionsOnly(netOptionValue, radius, paperLoss);
    }

    double netOptionValue;
    double radius;
    double paperLoss;
};

/// Curvature of the plain margin for a node, for its adapter or for its rolled-up copy.
template <class Node>
[[nodiscard]] Curvature CurvatureOf(const Node& node, const CSpecBaseContract& baseContract) noexcept
{
    return {node.GetNOVj(), baseContract.CalculateRiskCoefficient()};
}

/// Curvature of positions alone for a node, for its adapter or for its rolled-up copy.
template <class Node>
[[nodiscard]] Curvature_PositionsOnly CurvatureOf_PositionsOnly(const Node& node,
                                                                const CSpecBaseContract& baseContract) noexcept
{
    return {node.GetNOVj(), baseContract.CalculateRiskCoefficient(), node.GetTotalCumulativePerformance()};
}

/// Applies the curvature to each price point of a row.
template <class AnyCurvature>
void ApplyCurvatureToRow(RiskRow& row, const AnyCurvature& curvature) noexcept
{
    if (!(curvature.radius > 0.0)) return;
    double* const cells = CellsOf(row);
    for (std::size_t i = 0; i < row.size(); ++i)
        cells[i] = curvature(cells[i]);
}

/// The smallest price point after the curvature; the row stays. NaN is passed over.
template <class AnyCurvature>
[[nodiscard]] double WorstCurvedCell(const RiskRow& row, const AnyCurvature& curvature) noexcept
{
    if (!(curvature.radius > 0.0)) return row.min();
    double worst = LargestFinite;
    for (std::size_t i = 0; i < row.size(); ++i)
        worst = Min(curvature(row[i]), worst);
    return worst;
}

} // namespace kv7im
