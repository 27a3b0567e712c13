#include "grids/SpecialRiskPoints.h"

namespace kv7im {

double SpecialRiskPoints::min() const noexcept
{
    double smallest = LargestFinite;
    for (const double point : points)
        smallest = Min(point, smallest); // a NaN point never wins
    return smallest;
}

SpecialRiskPoints& SpecialRiskPoints::operator+=(double value) noexcept
{
    for (std::size_t i = ZL; i <= ZR; ++i) // the charges at both ends are no prices
        points[i] += value;
    return *this;
}

SpecialRiskPoints& SpecialRiskPoints::operator-=(double value) noexcept { return *this += -value; }

void SpecialRiskPoints::BoundValuesFromAbove(double bound) noexcept
{
    for (double& point : points)
        point = Min(point, bound); // the bound second: it replaces a NaN
}

void SpecialRiskPoints::BoundValuesFromBelow(double bound) noexcept
{
    for (double& point : points)
        point = Max(point, bound); // the bound second: it replaces a NaN
}

void SpecialRiskPoints::ApplyCurvature(double a, double b) noexcept
{
    if (!(b > 0.0)) return;
    for (double& point : points)
        point = Curved(point, a, b);
}

void SpecialRiskPoints::ApplyCurvature_PositionsOnly(double a, double b, double c) noexcept
{
    if (!(b > 0.0)) return;
    for (double& point : points)
        point = Curved_PositionsOnly(point, a, b, c);
}

} // namespace kv7im
