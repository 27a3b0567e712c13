// Sheets drawn by cairo.
#pragma once

#include <string>
#include <vector>

#include "PictureSheet.h"
#include "PictureText.h"

namespace quindal::picture {

/// Measures texts as they will be drawn. Throws CommandError with what cairo says.
[[nodiscard]] TextMeasure MeasureByCairo();

/// One sheet as SVG.
[[nodiscard]] std::string SvgOf(const Sheet& sheet);

/// What a PDF says of itself.
struct PdfPapers
{
    std::string title;
    std::string subject;
    std::string created; // "2026-11-21T10:15:30Z"
};

/// Sheets as pages of a PDF, each scaled to the width of A4.
[[nodiscard]] std::string PdfOf(const std::vector<Sheet>& sheets, const PdfPapers& papers);

} // namespace quindal::picture
