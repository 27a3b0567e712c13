// Text in a picture: how wide it is, and how it is made to fit.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "PictureSheet.h"

namespace quindal::picture {

struct Font
{
    double size = 11.0;
    bool isBold = false;
};

/// Width in pixels of a text without control characters.
using TextMeasure = std::function<double(const std::string& text, const Font& font)>;

enum class Side
{
    Left,   // the text begins at the place
    Middle, // its middle is there
    Right,  // it ends there
};

/// Measures texts and puts them where they belong.
class Typesetter
{
public:
    explicit Typesetter(TextMeasure measure) : m_measure(std::move(measure)) {}

    [[nodiscard]] double WidthOf(const std::string& text, const Font& font) const { return m_measure(text, font); }
    /// A line of text at a place of the line that letters stand on.
    [[nodiscard]] Words Set(const std::string& text, Point at, Side side, const Font& font, const Colour& colour) const;
    /// The text, or where it is wider than the room its two ends with "..." between them.
    [[nodiscard]] std::string Fitted(const std::string& text, const Font& font, double room) const;
    /// The text in lines that fit the room, broken at blanks.
    [[nodiscard]] std::vector<std::string> Broken(const std::string& text, const Font& font, double room) const;

private:
    TextMeasure m_measure;
};

} // namespace quindal::picture
