// A panel: one contract with its frame, lines, legend, marks and the words on its worst cells.
#pragma once

#include "MarginPicture.h"
#include "PictureFrame.h"
#include "PictureSheet.h"

namespace quindal::picture {

/// Height that a panel takes, words and all.
[[nodiscard]] double HeightOfPanel(const PanelTerms& terms);
/// Adds a panel to a sheet, its upper edge at this height, and tells where everything is.
[[nodiscard]] PicturePanel AddPanel(const PanelTerms& terms, double top, Sheet& sheet);

} // namespace quindal::picture
