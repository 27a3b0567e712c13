#include "PictureInks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace quindal::picture {

namespace {

constexpr Colour Rgb(unsigned hex) noexcept
{
    return {(hex >> 16U & 0xFFU) / 255.0, (hex >> 8U & 0xFFU) / 255.0, (hex & 0xFFU) / 255.0};
}

constexpr Inks Light{.ground = Rgb(0xffffff),
                     .text = Rgb(0x1b1f24),
                     .quiet = Rgb(0x57606a),
                     .grid = Rgb(0xe4e7eb),
                     .axis = Rgb(0x8c959f),
                     .now = Rgb(0x57606a),
                     .worst = Rgb(0xb3123b),
                     .delivery = Rgb(0x7a3fa0),
                     .low = Rgb(0x0b62b8),
                     .middle = Rgb(0x2c7a5b),
                     .high = Rgb(0xb86e00)};
constexpr Inks Dark{.ground = Rgb(0x14181d),
                    .text = Rgb(0xe6e9ed),
                    .quiet = Rgb(0xa3adb8),
                    .grid = Rgb(0x2a3038),
                    .axis = Rgb(0x6b7682),
                    .now = Rgb(0xa3adb8),
                    .worst = Rgb(0xff6b8b),
                    .delivery = Rgb(0xc79bea),
                    .low = Rgb(0x5eb0ff),
                    .middle = Rgb(0x5fd0a2),
                    .high = Rgb(0xf0b24a)};

Colour Between(const Colour& a, const Colour& b, double share) noexcept
{
    return {std::lerp(a.red, b.red, share), std::lerp(a.green, b.green, share), std::lerp(a.blue, b.blue, share)};
}

} // namespace

const Inks& InksOf(PictureTheme theme) noexcept { return theme == PictureTheme::Dark ? Dark : Light; }

Colour ScenarioColour(const Inks& inks, double place) noexcept
{
    return place < 0.5 ? Between(inks.low, inks.middle, 2.0 * place)
                       : Between(inks.middle, inks.high, std::min(1.0, 2.0 * place - 1.0));
}

std::vector<double> DashOf(std::size_t line)
{
    constexpr std::size_t Kinds = 5; // by the number of dots behind a stroke; then the strokes grow longer
    if (line == 0) return {};
    const std::size_t longer = line / Kinds;
    std::vector<double> dash{7.0 + 6.0 * static_cast<double>(longer), 3.0};
    for (std::size_t dot = 0; dot < line % Kinds; ++dot)
        dash.insert(dash.end(), {1.5, 3.0});
    return dash;
}

std::string HexOf(const Colour& colour)
{
    const auto byte = [](double share) { return static_cast<unsigned>(std::lround(share * 255.0)); };
    char text[16];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", byte(colour.red), byte(colour.green), byte(colour.blue));
    return text;
}

} // namespace quindal::picture
