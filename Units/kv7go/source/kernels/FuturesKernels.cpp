#include "kernels/FuturesKernels.h"

namespace kv7im {

SpecialRiskPoints PointsOfPosition(const PositionTransform& transform, double chargeRatio) noexcept
{
    SpecialRiskPoints points = transform.profile->GetSpecialRiskPoints();
    points -= transform.pointsPrice;
    points *= transform.negate ? -transform.scale : transform.scale;
    points.CoverFarPoints(transform.coverZL, transform.coverZR);
    points.ShiftAll(transform.shift);
    points.ScaleCharges(chargeRatio);
    return points;
}

void SmallerOfBoth(const RiskRow& first, RiskRow& second) noexcept
{
    for (std::size_t k = 0; k < second.GetRegisterCount(); ++k)
        second.pData()[k] = Min(first.pData()[k], second.pData()[k]);
}

} // namespace kv7im
