// Check of a market file before it is used: the elements that the library refuses, the values that it corrects, and the
// codes that the file has.
#pragma once

#include <cstddef>
#include <string>

#include "InputFile.h"
#include "MarketCodes.h"
#include "Problems.h"
#include "RunLog.h"
#include "Warnings.h"

namespace QuindalIM {
class Dictionary;
}

namespace quindal {

struct MarketContents
{
    MarketCodes codes;
    std::size_t baseContracts = 0;
    std::size_t futures = 0;
    std::size_t optionSeries = 0;
    std::size_t options = 0;
    std::size_t calendarSpreads = 0;
    bool isWhole = true; ///< False when something was refused: a missing code may still be in the file.
};

/// Inserts the document into a calculator of its own, without a server. Elements that the library refuses, and texts
/// that should be numbers and are not, become problems with their line; values that it corrects become warnings with
/// their line.
[[nodiscard]] MarketContents CheckMarket(const InputFile& file, RunLog& log, Problems& problems, Warnings& warnings);

/// Checks instruments that a server has sent; texts that should be numbers and are not become problems of the server.
void CheckDownload(QuindalIM::Dictionary& tables, const std::string& server, Problems& problems);

} // namespace quindal
