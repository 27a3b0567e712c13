#include "PictureSheet.h"

#include <algorithm>

namespace quindal::picture {

namespace {

// Cuts the stretch [from, to] of a line, told by how far along it is, to where a + t * d lies between two values.
bool Cut(double a, double d, double lowest, double highest, double& from, double& to) noexcept
{
    if (d == 0.0) return a >= lowest && a <= highest;
    const double first = (lowest - a) / d;
    const double second = (highest - a) / d;
    from = std::max(from, std::min(first, second));
    to = std::min(to, std::max(first, second));
    return from <= to;
}

} // namespace

bool Overlap(const Box& a, const Box& b) noexcept
{
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

bool Meets(const Box& box, Point from, Point to) noexcept
{
    double begin = 0.0;
    double end = 1.0;
    return Cut(from.x, to.x - from.x, box.left, box.right, begin, end) &&
           Cut(from.y, to.y - from.y, box.top, box.bottom, begin, end);
}

Box Grown(const Box& box, double by) noexcept { return {box.left - by, box.top - by, box.right + by, box.bottom + by}; }

} // namespace quindal::picture
