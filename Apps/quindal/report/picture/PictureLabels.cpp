#include "PictureLabels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace quindal::picture {

namespace {

constexpr double Clear = 3.0; // pixels between a label and what is drawn
constexpr double Step = 4.0;  // between the places that are tried

bool IsFree(const Box& box, const Obstacles& obstacles)
{
    const Box clear = Grown(box, Clear);
    if (std::ranges::any_of(obstacles.boxes, [&](const Box& other) { return Overlap(clear, other); })) return false;
    return std::ranges::none_of(obstacles.paths, [&](const Path& path) {
        for (std::size_t i = 1; i < path.points.size(); ++i)
            if (Meets(clear, path.points[i - 1], path.points[i])) return true;
        return false;
    });
}

} // namespace

std::optional<Point> FreePlace(Point near, double width, double height, const Box& plot, const Obstacles& obstacles)
{
    std::vector<std::pair<double, Point>> places; // by their distance
    for (double x = plot.left + Step; x + width < plot.right - Step; x += Step)
        for (double y = plot.top + Step; y + height < plot.bottom - Step; y += Step)
            places.push_back(
                {std::hypot(std::clamp(near.x, x, x + width) - near.x, std::clamp(near.y, y, y + height) - near.y),
                 {x, y}});
    std::ranges::stable_sort(places, {}, [](const auto& place) { return place.first; });
    for (const auto& [distance, corner] : places)
        if (IsFree({corner.x, corner.y, corner.x + width, corner.y + height}, obstacles)) return corner;
    return {};
}

} // namespace quindal::picture
