// The layout of a picture: sheets with a head, panels and a footer.
#pragma once

#include <optional>
#include <vector>

#include "MarginPicture.h"
#include "PictureSheet.h"
#include "PictureText.h"

namespace quindal::picture {

struct Paper
{
    double width = 900.0;
    std::optional<double> height; // none: one sheet, as high as it needs to be
};

struct Layout
{
    std::vector<Sheet> sheets;
    PictureMap map; // of the first sheet
};

[[nodiscard]] Layout LayOut(const PictureInput& input, const PictureStyle& style, const Paper& paper,
                            const Typesetter& typesetter);

} // namespace quindal::picture
