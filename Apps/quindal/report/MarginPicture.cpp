#include "MarginPicture.h"

#include <chrono>
#include <string_view>

#include "Html.h"
#include "PictureCanvas.h"
#include "PictureLayout.h"
#include "Printable.h"
#include "UtcText.h"

namespace quindal {

namespace {

constexpr double A4Height = 900.0 * 297.0 / 210.0; // of a sheet that is 900 wide

std::string Title(const PictureInput& input) { return "Profit and loss of " + Printable(input.holder); }

void ReplaceAll(std::string& text, std::string_view old, const std::string& fresh)
{
    for (std::size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += fresh.size())
        text.replace(at, old.size(), fresh);
}

// Takes the name of the surface out, which counts the surfaces of the process and is referred to by nothing.
void ForgetSurface(std::string& svg)
{
    const std::size_t at = svg.find(" id=\"surface");
    if (at != std::string::npos) svg.erase(at, svg.find('"', at + 5) + 1 - at);
}

// Gives the ids that the drawing goes by a prefix.
void PrefixIds(std::string& svg, const std::string& prefix)
{
    if (prefix.empty()) return;
    for (const std::string_view before : {" id=\"", "href=\"#", "url(#"})
        ReplaceAll(svg, before, std::string(before) + prefix);
}

// Puts title and description where viewers and screen readers look for them.
void Describe(std::string& svg, const std::string& title, const std::string& description)
{
    const std::size_t end = svg.find('>', svg.find("<svg "));
    svg.insert(end + 1, "\n<title>" + html::Text(title) + "</title>\n<desc>" + html::Text(description) + "</desc>");
}

// The time that a PDF is dated by: that of the market; without one the beginning of the count, so that the same input
// gives the same bytes.
std::string CreatedAt(const Provenance& provenance)
{
    const std::string text = UtcText(provenance.market.time.value_or(std::chrono::system_clock::time_point{}));
    return text.substr(0, text.find('.')) + "Z";
}

picture::Layout SheetOf(const PictureInput& input, const PictureStyle& style)
{
    return LayOut(input, style, {}, picture::Typesetter(picture::MeasureByCairo()));
}

} // namespace

std::string PictureAsSvg(const PictureInput& input, const PictureStyle& style)
{
    std::string svg = picture::SvgOf(SheetOf(input, style).sheets.front());
    ForgetSurface(svg);
    PrefixIds(svg, style.idPrefix);
    Describe(svg, Title(input), Printable(ProvenanceLine(input.provenance)));
    return svg;
}

std::string PictureAsPdf(const PictureInput& input, const PictureStyle& style)
{
    const picture::Typesetter typesetter(picture::MeasureByCairo());
    const picture::Layout layout = LayOut(input, style, {.height = A4Height}, typesetter);
    return picture::PdfOf(layout.sheets,
                          {Title(input), Printable(ProvenanceLine(input.provenance)), CreatedAt(input.provenance)});
}

PictureMap MapOfPicture(const PictureInput& input, const PictureStyle& style) { return SheetOf(input, style).map; }

} // namespace quindal
