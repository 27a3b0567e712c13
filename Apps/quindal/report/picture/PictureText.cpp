#include "PictureText.h"

#include <cstddef>
#include <sstream>
#include <utility>

namespace quindal::picture {

namespace {

// Heights of letters above and below their line, in shares of the font's size.
constexpr double Above = 0.78;
constexpr double Below = 0.24;

// Steps back or forth to where a character of UTF-8 begins.
bool IsInside(const std::string& text, std::size_t at)
{
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
}

// The first and the last bytes of a text with "..." between them, no character torn.
std::string Shortened(const std::string& text, std::size_t kept)
{
    std::size_t head = (kept + 1) / 2;
    std::size_t tail = text.size() - kept / 2;
    while (IsInside(text, head))
        --head;
    while (IsInside(text, tail))
        ++tail;
    return text.substr(0, head) + "..." + text.substr(tail);
}

} // namespace

Words Typesetter::Set(const std::string& text, Point at, Side side, const Font& font, const Colour& colour) const
{
    const double width = WidthOf(text, font);
    const double left = side == Side::Left ? at.x : side == Side::Right ? at.x - width : at.x - width / 2.0;
    return {text,        {left, at.y}, font.size,
            font.isBold, colour,       {left, at.y - Above * font.size, left + width, at.y + Below * font.size}};
}

std::string Typesetter::Fitted(const std::string& text, const Font& font, double room) const
{
    if (WidthOf(text, font) <= room) return text;
    std::size_t fits = 0;
    std::size_t tooLong = text.size();
    while (tooLong - fits > 1) {
        const std::size_t kept = fits + (tooLong - fits) / 2;
        (WidthOf(Shortened(text, kept), font) <= room ? fits : tooLong) = kept;
    }
    return Shortened(text, fits);
}

std::vector<std::string> Typesetter::Broken(const std::string& text, const Font& font, double room) const
{
    std::vector<std::string> lines;
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        word = Fitted(word, font, room);
        std::string longer = line;
        if (!longer.empty()) longer += ' ';
        longer += word;
        if (line.empty() || WidthOf(longer, font) <= room) {
            line = std::move(longer);
        } else {
            lines.push_back(line);
            line = word;
        }
    }
    if (!line.empty()) lines.push_back(line);
    return lines;
}

} // namespace quindal::picture
