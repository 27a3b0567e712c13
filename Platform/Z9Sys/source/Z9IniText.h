// Z9IniText: the lines of an ini file, and the one change that a write makes to them.
//
// Always true: a change touches one line or adds lines; every other byte stays, comments and unreadable lines too.
// A line is blank, a comment (";" or "#"), a section ("[name]", whatever follows), an entry ("key = value"), or it is
// broken and belongs to nothing. Blanks around names and values do not count; a value runs to the end of its line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace z9 {

struct IniLine
{
    enum class Kind
    {
        Blank,
        Comment,
        Section,
        Entry,
        Broken
    };
    Kind kind;
    std::string_view name;  // of the section or the key
    std::string_view value; // of an entry; points into the line even when it is empty
    std::string_view text;  // without the line end
    std::size_t begin;      // offset of the line in the file
    std::size_t end;        // offset of the next line
};

// The views point into text. A byte order mark at the beginning is passed over.
[[nodiscard]] std::vector<IniLine> ReadIniLines(std::string_view text);

// True when such a section would be read back as it was written.
[[nodiscard]] bool IsIniSectionName(std::string_view name) noexcept;
// True when such a key would be read back as it was written.
[[nodiscard]] bool IsIniKeyName(std::string_view name) noexcept;
// True when such a value would be read back as it was written.
[[nodiscard]] bool IsIniValue(std::string_view value) noexcept;

// The text with the key set: in the line that holds it now (the last one counts), else behind the last entry of its
// section, else in a new section at the end. Names and value are of the kinds above.
[[nodiscard]] std::string SetIniValue(const std::string& text, std::string_view section, std::string_view key,
                                      std::string_view value);

} // namespace z9
