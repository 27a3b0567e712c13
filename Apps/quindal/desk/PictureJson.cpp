#include "PictureJson.h"

#include "DeskJson.h"

namespace quindal {

namespace {

using nlohmann::ordered_json;

PictureTheme ThemeOf(const std::string& theme)
{
    if (theme == "light") return PictureTheme::Light;
    if (theme == "dark") return PictureTheme::Dark;
    throw DeskError(DeskMalformed, "a picture is light or dark");
}

ordered_json LineJson(const PictureLine& line)
{
    ordered_json points = ordered_json::array();
    for (const PicturePoint& point : line.points)
        points.push_back({point.x, point.y, PriceText(point.price), MoneyText(point.money)});
    return {{"name", line.name}, {"points", std::move(points)}};
}

ordered_json PanelJson(const PicturePanel& panel)
{
    ordered_json lines = ordered_json::array();
    for (const PictureLine& line : panel.lines)
        lines.push_back(LineJson(line));
    return {{"contract", panel.contract}, {"left", panel.left},     {"right", panel.right},
            {"top", panel.top},           {"bottom", panel.bottom}, {"lines", std::move(lines)}};
}

} // namespace

ordered_json PictureJson(const std::string& client, const QuindalIM::MarginExplanation& explanation,
                         const Provenance& provenance, const std::string& theme)
{
    PictureStyle style;
    style.theme = ThemeOf(theme);
    const PictureInput input{"client " + client, explanation, provenance};
    const PictureMap map = MapOfPicture(input, style);
    ordered_json panels = ordered_json::array();
    for (const PicturePanel& panel : map.panels)
        panels.push_back(PanelJson(panel));
    return {{"svg", PictureAsSvg(input, style)},
            {"width", map.width},
            {"height", map.height},
            {"panels", std::move(panels)}};
}

} // namespace quindal
