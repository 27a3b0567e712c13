// StressPoints: the table of the stress points, the results that speak for moves far beyond the price grid.
//
// Order:        that of every array of stress points, from the lowest price to the highest; the charges stand outside.
// A new point:  a row here. Code that treats all points alike goes by the table; code that names points one by one
//               asserts how many there were, so that the compiler lists every place that has to think of the newcomer.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace kv7im::stress {

/// Place of a stress point in an array of them.
enum MappingPoint : std::size_t
{
    DownRisk = 0,
    ZL = 1,
    PnL3D = 2,
    PnL2D = 3,
    PnL2U = 4,
    PnL3U = 5,
    ZR = 6,
    UpRisk = 7,
    MappingSize = 8,
};

/// Side of the market that a point speaks for.
enum class Side
{
    Below,
    Above,
};

enum class Kind
{
    Step,   // a stress step beyond the grid: never better than what the edge of the grid implies
    Tail,   // the far end, of which a share counts
    Charge, // the minimum charge of short options: a difference, where the other kinds are prices in a profile
};

struct Point
{
    [[nodiscard]] constexpr bool IsPrice() const noexcept { return kind != Kind::Charge; }

    MappingPoint point;
    std::string_view name; // as in reports
    Side side;
    Kind kind;
};

inline constexpr std::array Points{
    Point{DownRisk, "DownRisk", Side::Below, Kind::Charge},
    Point{ZL, "ZL", Side::Below, Kind::Tail},
    Point{PnL3D, "PnL3D", Side::Below, Kind::Step},
    Point{PnL2D, "PnL2D", Side::Below, Kind::Step},
    Point{PnL2U, "PnL2U", Side::Above, Kind::Step},
    Point{PnL3U, "PnL3U", Side::Above, Kind::Step},
    Point{ZR, "ZR", Side::Above, Kind::Tail},
    Point{UpRisk, "UpRisk", Side::Above, Kind::Charge},
};

/// Number of points of a kind. Code that names them one by one asserts the number that it was written for.
[[nodiscard]] consteval std::size_t CountOf(Kind kind)
{
    return static_cast<std::size_t>(std::ranges::count(Points, kind, &Point::kind));
}

static_assert(Points.size() == MappingSize, "each stress point has its row");
static_assert(
    std::ranges::all_of(Points, [](const Point& row) { return &row == &Points[static_cast<std::size_t>(row.point)]; }),
    "each row stands in its place");
static_assert(std::ranges::is_sorted(Points, {}, &Point::side), "the points below the market come first");
static_assert(
    std::ranges::all_of(Points, [](const Point& row) { return row.IsPrice() == (row.point >= ZL && row.point <= ZR); }),
    "the prices stand together, the charges at both ends");

} // namespace kv7im::stress
