#include "Z9IniText.h"

#include <algorithm>
#include <optional>

namespace z9 {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";

std::string_view Trim(std::string_view text) noexcept
{
    const std::size_t first = std::min(text.find_first_not_of(kBlanks), text.size());
    text.remove_prefix(first);
    const std::size_t last = text.find_last_not_of(kBlanks);
    return text.substr(0, last == text.npos ? 0 : last + 1);
}

bool IsOneLine(std::string_view text) noexcept
{
    return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos;
}

// Fills in the kind and the parts of a line whose text is set.
void Classify(IniLine& line) noexcept
{
    const std::string_view text = Trim(line.text);
    line.kind = IniLine::Kind::Broken;
    if (!IsOneLine(text)) return; // a zero byte
    if (text.empty()) {
        line.kind = IniLine::Kind::Blank;
    } else if (text.front() == ';' || text.front() == '#') {
        line.kind = IniLine::Kind::Comment;
    } else if (text.front() == '[') {
        const std::size_t close = text.find(']');
        if (close == text.npos) return;
        line.kind = IniLine::Kind::Section;
        line.name = Trim(text.substr(1, close - 1));
    } else if (const std::size_t equals = text.find('='); equals != text.npos && equals > 0) {
        line.kind = IniLine::Kind::Entry;
        line.name = Trim(text.substr(0, equals));
        line.value = Trim(text.substr(equals + 1));
    }
}

// Where a value is written: over an old one, or as new lines at an offset.
struct Place
{
    std::optional<IniLine> entry; // the line that holds the key now
    std::size_t offset = 0;       // where a new entry goes
    bool hasSection = false;
};

Place FindPlace(std::string_view text, std::string_view section, std::string_view key)
{
    Place place;
    place.offset = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    place.hasSection = section.empty();
    bool inside = section.empty();
    for (const IniLine& line : ReadIniLines(text)) {
        if (line.kind == IniLine::Kind::Section) inside = line.name == section;
        const bool counts = line.kind == IniLine::Kind::Section || line.kind == IniLine::Kind::Entry;
        if (!inside || !counts) continue;
        place.hasSection = true;
        place.offset = line.end;
        if (line.kind == IniLine::Kind::Entry && line.name == key) place.entry = line;
    }
    return place;
}

// The line with the new value, its indent and the blanks around the equals sign kept.
std::string WithValue(const IniLine& line, std::string_view value)
{
    const std::size_t equals = line.text.find('=');
    const std::string_view behind = line.text.substr(equals + 1);
    std::string_view gap = behind.substr(0, std::min(behind.find_first_not_of(kBlanks), behind.size()));
    if (line.value.empty()) gap = kBlanks.find(line.text[equals - 1]) == kBlanks.npos ? "" : " ";
    std::string result(line.text.substr(0, equals + 1));
    result += gap;
    result += value;
    return result;
}

std::string_view LineEndOf(std::string_view text) noexcept
{
    const std::size_t first = text.find('\n');
    return first != text.npos && first > 0 && text[first - 1] == '\r' ? "\r\n" : "\n";
}

} // namespace

std::vector<IniLine> ReadIniLines(std::string_view text)
{
    std::vector<IniLine> lines;
    std::size_t begin = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    while (begin < text.size()) {
        const std::size_t stop = std::min(text.find_first_of("\r\n", begin), text.size());
        const std::size_t breakSize = text.substr(stop, 2) == "\r\n" ? 2 : (stop < text.size() ? 1 : 0);
        IniLine line{IniLine::Kind::Broken, {}, {}, text.substr(begin, stop - begin), begin, stop + breakSize};
        Classify(line);
        lines.push_back(line);
        begin = line.end;
    }
    return lines;
}

bool IsIniSectionName(std::string_view name) noexcept
{
    return IsOneLine(name) && Trim(name) == name && name.find(']') == name.npos;
}

bool IsIniKeyName(std::string_view name) noexcept
{
    if (name.empty() || !IsOneLine(name) || Trim(name) != name) return false;
    return name.find('=') == name.npos && std::string_view(";#[").find(name.front()) == name.npos;
}

bool IsIniValue(std::string_view value) noexcept { return IsOneLine(value) && Trim(value) == value; }

std::string SetIniValue(const std::string& text, std::string_view section, std::string_view key, std::string_view value)
{
    const Place place = FindPlace(text, section, key);
    std::string result = text;
    if (place.entry)
        return result.replace(place.entry->begin, place.entry->text.size(), WithValue(*place.entry, value));

    const std::string_view lineEnd = LineEndOf(text);
    const std::size_t offset = place.hasSection ? place.offset : text.size();
    const bool isOpenLine = offset > 0 && offset == text.size() && text.back() != '\n' && text.back() != '\r';
    std::string added;
    if (isOpenLine && text != kByteOrderMark) added += lineEnd;
    if (!place.hasSection) {
        if (!text.empty()) added += lineEnd; // a blank line before the new section
        added.append("[").append(section).append("]").append(lineEnd);
    }
    added.append(key).append(" = ").append(value).append(lineEnd);
    // The bytes of a mark are passed over where a file begins with them, those of a name as well.
    if (offset == 0 && added.starts_with(kByteOrderMark)) added.insert(0, kByteOrderMark);
    return result.insert(offset, added);
}

} // namespace z9
