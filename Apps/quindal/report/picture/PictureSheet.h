// A sheet of paper as it is to be drawn: lines, rings and words with their places. It knows nothing of who draws it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quindal::picture {

/// A place in pixels from the upper left corner.
struct Point
{
    double x = 0.0;
    double y = 0.0;

    bool operator==(const Point&) const = default;
};

struct Box
{
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;
};

/// True where two boxes have a point in common that is not on the edge of either.
[[nodiscard]] bool Overlap(const Box& a, const Box& b) noexcept;
/// True where a straight line between two points meets a box.
[[nodiscard]] bool Meets(const Box& box, Point from, Point to) noexcept;
[[nodiscard]] Box Grown(const Box& box, double by) noexcept;

struct Colour
{
    double red = 0.0; // 0 to 1
    double green = 0.0;
    double blue = 0.0;

    bool operator==(const Colour&) const = default;
};

struct Path
{
    std::vector<Point> points;
    Colour colour;
    double width = 1.0;
    std::vector<double> dash; // lengths of strokes and gaps in turn; none for a solid line
    bool isFilled = false;
};

struct Ring
{
    Point centre;
    double radius = 5.0;
    Colour colour;
};

struct Words
{
    std::string text;
    Point at; // left end of the line that the letters stand on
    double size = 11.0;
    bool isBold = false;
    Colour colour;
    Box box; // that the letters fill
};

struct Sheet
{
    double width = 0.0;
    double height = 0.0;
    Colour ground;
    std::vector<Path> paths; // drawn in this order, then the rings, then the words
    std::vector<Ring> rings;
    std::vector<Words> words;
};

} // namespace quindal::picture
