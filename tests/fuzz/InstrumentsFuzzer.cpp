// The instrument reply, any bytes for its document: what goes in goes into all stores, what is refused ends the
// download with a text, and what went in before stays whole. Nothing leaves as an exception.
#include <string_view>

#include "Market.h"
#include "ReplyQueue.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QuindalIM::Z9MQCore& core = LoggedInCore();
    core.SetLastError("", Z9ERR_OK);
    SetReply({Enums::IMSrvMessageType::ReplyInstruments2,
              {{"snappy_support", 0}},
              std::string_view(reinterpret_cast<const char*>(data), size)});

    Market market;
    const bool isDone = core.GetInstrumentParameters(market.Calculator(), nullptr);
    Require(isDone == (core.GetLastErrorCode() == Z9ERR_OK), "a download that failed has a code");
    market.RequireConsistency();

    // The same document once more replaces what the first one brought.
    const std::int32_t rows = market.FuturesRows();
    Require(core.GetInstrumentParameters(market.Calculator(), nullptr) == isDone,
            "a document is judged the same twice");
    Require(market.FuturesRows() == rows, "a second download replaces the first one's instruments");
    market.RequireConsistency();
    return 0;
}
