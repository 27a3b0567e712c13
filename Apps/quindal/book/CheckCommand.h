// quindal check: tells whether input files are fit for a computation, without computing.
#pragma once

#include <string>

namespace quindal {

struct CheckOptions
{
    std::string instruments; // each of the files may be missing
    std::string accounts;
    std::string positions;
    std::string orders;
    std::string users;
    bool isStrict = false;        // a warning is an error
    bool showsProvenance = false; // of the market file, before the other lines
};

/// Runs the command and returns the exit status. When all files are good, a line for each on stdout says what is in it.
/// Throws InputError that names everything that is wrong.
[[nodiscard]] int RunCheck(const CheckOptions& options);

} // namespace quindal
