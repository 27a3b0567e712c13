#include "Output.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>

#include "Errors.h"
#include "Printable.h"

namespace quindal {

void FinishOutput()
{
    if (!std::cout.flush()) throw CommandError(StatusInternal, "the output could not be written");
}

void PrintMessage(std::string_view text)
{
    std::string lines;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines += "quindal: " + Printable(text.substr(begin, end - begin)) + '\n';
        begin = end + 1;
    }
    std::fputs(lines.c_str(), stderr);
}

} // namespace quindal
