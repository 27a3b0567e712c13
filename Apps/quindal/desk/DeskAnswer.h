// The answer to a request of the page.
#pragma once

#include <string>

namespace quindal {

/// Statuses of answers, as HTTP has them.
enum DeskStatus : int
{
    DeskGood = 200,
    DeskMalformed = 400, // a request that the page does not send
    DeskUnknown = 404,   // a request, a client or an instrument that is not there
    DeskRefused = 422,   // an order or a file that cannot be used; the answer says why
    DeskFailed = 500,
    DeskBusy = 503, // loading, or too much is asked for at once
};

struct DeskAnswer
{
    int status = DeskGood;
    std::string body;
    std::string type = "application/json";
    double milliseconds = 0.0; ///< From the request read to the answer, waiting for its turn included.
};

} // namespace quindal
