// ResidentBytes: memory of this process that the system has given it and that it has touched.
#pragma once

#include <cstddef>
#include <fstream>

#include <unistd.h>

namespace bench {

inline double ResidentBytes()
{
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0;
    std::size_t resident = 0;
    statm >> pages >> resident;
    return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

} // namespace bench
