// The files of the page. They stand in the program.
#pragma once

#include <string_view>

namespace quindal {

struct PageFile
{
    std::string_view name;
    std::string_view type;
    std::string_view text;
};

/// The file of this name; null for a name that no file has.
[[nodiscard]] const PageFile* FindPageFile(std::string_view name);

} // namespace quindal
