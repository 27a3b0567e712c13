// The frame of a panel: where its plot lies, its axes, and what is drawn in it.
#pragma once

#include <string>
#include <vector>

#include "MarginPicture.h"
#include "PictureAxis.h"
#include "PictureInks.h"
#include "PictureLines.h"
#include "PictureMarks.h"
#include "PictureSheet.h"
#include "PictureText.h"

namespace quindal::picture {

constexpr double Edge = 24.0; // blank margin of a sheet
constexpr Font TitleFont{14.0, true};
constexpr Font PlainFont{11.0, false};
constexpr Font LabelFont{11.0, true};

/// What a panel is drawn from and with.
struct PanelTerms
{
    const PictureInput& input;
    const QuindalIM::ContractGrid& grid;
    const Inks& inks;
    const Typesetter& type;
    double width; // of the sheet
};

struct Frame
{
    double top = 0.0; // upper edge of the panel
    std::vector<Mark> marks;
    std::vector<DrawnLine> lines;
    Box plot;
    Axis prices;
    Axis money;
    std::vector<double> moneyTicks;
    std::vector<std::string> moneyTexts; // of the ticks
};

/// The frame of a panel whose upper edge is at this height.
[[nodiscard]] Frame FrameOf(const PanelTerms& terms, double top);
/// Draws title, captions, axes with their ticks, and the price of now.
void DrawFrame(const PanelTerms& terms, const Frame& frame, Sheet& sheet);

} // namespace quindal::picture
