// Places for labels in a plot: near what they name, on nothing that is drawn there.
#pragma once

#include <optional>
#include <vector>

#include "PictureSheet.h"

namespace quindal::picture {

/// What a label may not lie on.
struct Obstacles
{
    std::vector<Path> paths;
    std::vector<Box> boxes;
};

/// The upper left corner nearest to a place for a box of this size within the plot that keeps clear of the obstacles;
/// none where the plot has no room.
[[nodiscard]] std::optional<Point> FreePlace(Point near, double width, double height, const Box& plot,
                                             const Obstacles& obstacles);

} // namespace quindal::picture
