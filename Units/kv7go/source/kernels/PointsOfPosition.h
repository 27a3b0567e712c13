// PointsOfPosition: the stress points of a position, from those of its instrument.
//
// Each step of a transform (OptionTransform, PositionTransform) is for some of the eight points only. The others get
// the number that changes nothing, which is -0.0 in an addition (0.0 would take the sign of a -0.0) and 1.0 in a
// multiplication, so that the eight go through all steps side by side.
#pragma once

#include <array>
#include <cstddef>

#include "grids/RiskItem.h"
#include "grids/SpecialRiskPoints.h"

namespace kv7im::kernels {

/// Stress points of a position, money: scale is that of the transform with its sign; the two charges are multiplied by
/// chargeRatio.
template <class Transform>
[[nodiscard]] inline SpecialRiskPoints PointsOfPosition(const SpecialRiskPoints& ofInstrument,
                                                        const Transform& transform, double scale,
                                                        double chargeRatio) noexcept
{
    static_assert(SpecialRiskPoints::size() == 8, "each point has its number in each step");
    using Step = std::array<double, SpecialRiskPoints::size()>;
    const double price = -transform.pointsPrice;
    alignas(RiskItem) const Step prices{-0.0, price, price, price, price, price, price, -0.0};
    alignas(RiskItem) const Step covers{1.0, transform.coverZL, 1.0, 1.0, 1.0, 1.0, transform.coverZR, 1.0};
    alignas(RiskItem) const Step charges{chargeRatio, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, chargeRatio};
    SpecialRiskPoints points;
    for (std::size_t i = 0; i < points.size(); ++i)
        points.pData()[i] = ((ofInstrument.pData()[i] + prices[i]) * scale * covers[i] + transform.shift) * charges[i];
    return points;
}

} // namespace kv7im::kernels
