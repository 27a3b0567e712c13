// A market file looked through before anybody counts on it: what the library refuses of it, what it corrects, and the
// codes that it has.
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
    bool isWhole = true; ///< Nothing was refused, so what is not there is not in the file.
};

/// Inserts the document into a calculator of its own, without a server. What the library refuses, and numbers that are
/// none, are problems with the line of their element; what it corrects is a warning likewise.
[[nodiscard]] MarketContents CheckMarket(const InputFile& file, RunLog& log, Problems& problems, Warnings& warnings);

/// Instruments that a server has sent: numbers that are none are problems of the server's.
void CheckDownload(QuindalIM::Dictionary& tables, const std::string& server, Problems& problems);

} // namespace quindal
