// quindal check: whether input files are what a computation takes, without computing.
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
    bool isStrict = false; // a warning is an error
};

/// Runs the command and returns the exit status. A line for each file on stdout says what is in it when all of them are
/// good. Throws InputError that tells all that is wrong.
[[nodiscard]] int RunCheck(const CheckOptions& options);

} // namespace quindal
