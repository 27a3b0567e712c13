// The picture of a margin: profit and loss over the price grids of the contracts that are held, drawn by cairo.
//
// A panel for each contract, the dearest first: a line for each volatility scenario (one where scenarios coincide), a
// line for deliveries where the worst cell is one of theirs, the price of now, and the worst cells: a ring at a point
// of the grid, an arrow at the edge for a stress point beyond it. The same input gives the same bytes.
//
// Text is measured in the font that the system has for "sans-serif"; without any font cairo writes in thin strokes of
// its own.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "MarginExplanation.h"
#include "Provenance.h"

namespace quindal {

/// What is drawn. The explanation outlives the call.
struct PictureInput
{
    std::string holder; ///< Whose margin: "client CL01001".
    const QuindalIM::MarginExplanation& explanation;
    Provenance provenance; ///< Told in the footer; its time is that of a PDF.
};

enum class PictureTheme
{
    Light, ///< Dark ink on white, for paper and light pages.
    Dark,  ///< Light ink on a dark ground.
};

struct PictureStyle
{
    PictureTheme theme = PictureTheme::Light;
    std::size_t top = 10;   ///< Contracts that are drawn: those with the largest part of the margin.
    std::string idPrefix{}; ///< Before each id of an SVG: pictures that stand in one page need different ones.
};

/// A point of a line. Places are in pixels of the SVG's viewBox, from its upper left corner.
struct PicturePoint
{
    double x = 0.0;
    double y = 0.0;
    double price = 0.0;
    double money = 0.0; ///< Profit above 0, loss below.
};

/// A line of the picture and the points that it leads through, by price.
struct PictureLine
{
    std::string name;                   ///< As the legend has it: "volatility +12 %", "deliveries".
    std::vector<std::size_t> scenarios; ///< Volatility scenarios that coincide on it; none for deliveries.
    std::string colour;                 ///< "#1f77b4".
    std::vector<PicturePoint> points;
};

/// The worst cell of a contract: where it is marked, and its words.
struct PictureMark
{
    double x = 0.0;
    double y = 0.0;
    std::string words; ///< "delivery: -110 133.21 at the price 61.468, rates down".
};

struct PicturePanel
{
    std::string contract; ///< Base contract, futures or option series.
    std::string futures;  ///< Futures whose prices the axis has.
    double left = 0.0;    ///< Edges of the plot.
    double right = 0.0;
    double top = 0.0;
    double bottom = 0.0;
    std::vector<PictureLine> lines;
    std::vector<PictureMark> marks;
};

/// Where everything lies that a pointer may ask for.
struct PictureMap
{
    double width = 0.0;
    double height = 0.0;
    std::vector<PicturePanel> panels;
};

/// A self-contained SVG document on one sheet. Its title names the holder, its description says what it was drawn from.
[[nodiscard]] std::string PictureAsSvg(const PictureInput& input, const PictureStyle& style = {});
/// A PDF document on sheets of A4.
[[nodiscard]] std::string PictureAsPdf(const PictureInput& input, const PictureStyle& style = {});
/// The places of what PictureAsSvg draws.
[[nodiscard]] PictureMap MapOfPicture(const PictureInput& input, const PictureStyle& style = {});

} // namespace quindal
