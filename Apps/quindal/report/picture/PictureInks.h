// Colours and dashes of a picture.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "MarginPicture.h"
#include "PictureSheet.h"

namespace quindal::picture {

struct Inks
{
    Colour ground;
    Colour text;
    Colour quiet; // captions, ticks, footer
    Colour grid;
    Colour axis;
    Colour now; // the current price
    Colour worst;
    Colour delivery;
    Colour low; // volatility: the lowest, the one of now, the highest
    Colour middle;
    Colour high;
};

[[nodiscard]] const Inks& InksOf(PictureTheme theme) noexcept;
/// Colour of a scenario by its place between the lowest volatility, 0, and the highest, 1.
[[nodiscard]] Colour ScenarioColour(const Inks& inks, double place) noexcept;
/// Strokes and gaps of the lines of a panel: the first is solid, and no two are alike.
[[nodiscard]] std::vector<double> DashOf(std::size_t line);
/// "#1f77b4".
[[nodiscard]] std::string HexOf(const Colour& colour);

} // namespace quindal::picture
