// A file of accounts, positions or orders of any bytes (QUINDAL_BROKEN says which). Either each row is counted, with
// finite numbers within their ranges, or each problem names file, line and reason.
#include <cstdint>
#include <string>

#include "AcceptedOrRefused.h"
#include "Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string broken = quindal::test::QUINDAL_BROKEN(text);
    Require(broken.empty(), broken.c_str());
    return 0;
}
