// quindal fetch: saves the instruments of a live server as a file, to be used without it.
#pragma once

#include <string>

namespace quindal {

/// A live server and the user who asks it.
struct LiveOptions
{
    std::string iniFile; // port and timeout, as the library reads it
    std::string user;
    std::string passwordVariable = "QUINDAL_PASSWORD"; // environment variable that holds the password
};

struct FetchOptions : LiveOptions
{
    std::string out; // file, "-": stdout
};

/// Logs in, downloads the instruments and, when the library has taken every one of them, writes the file whole or not
/// at all. Throws InputError, UsageError, LinkError.
void Fetch(const FetchOptions& options);

} // namespace quindal
