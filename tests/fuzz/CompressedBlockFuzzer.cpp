// A compressed instrument reply. A block that does not unpack, or not to the size that the message states, is refused
// before any instrument is touched; a good block brings what its text would have brought uncompressed.
#include <string>

#include <fuzzer/FuzzedDataProvider.h>
#include <snappy.h>

#include "Market.h"
#include "ReplyQueue.h"

namespace {

using Enums::IMSrvMessageType;

bool Download(Market& market, const std::string& body, bool isCompressed, std::uint32_t statedSize)
{
    LoggedInCore().SetLastError("", Z9ERR_OK);
    SetReply({IMSrvMessageType::ReplyInstruments2,
              {{"snappy_support", isCompressed ? 1U : 0U},
               {"snappy_decompressedSize", statedSize},
               {"snappy_compressedSize", static_cast<std::uint32_t>(body.size())}},
              body});
    return LoggedInCore().GetInstrumentParameters(market.Calculator(), nullptr);
}

/// A block as it comes, under the size it claims or any other.
void TryAnyBlock(const std::string& block, bool isHonest, std::uint32_t otherSize)
{
    std::string text;
    // A block may claim four gigabytes that it does not hold, so it is walked through first here too.
    const bool isGood = snappy::IsValidCompressedBuffer(block.data(), block.size()) &&
                        snappy::Uncompress(block.data(), block.size(), &text);
    const std::uint32_t statedSize = isHonest ? static_cast<std::uint32_t>(text.size()) : otherSize;

    Market market;
    static_cast<void>(market.Calculator().InsertCurrency(840, 0.05));
    static_cast<void>(Download(market, block, true, statedSize));
    if (isGood && statedSize == text.size()) return;
    Require(LoggedInCore().GetLastErrorCode() == Z9ERR_COMMON_INTERNAL_ERROR, "a bad block is an internal error");
    Require(market.Calculator().SetOnFirstCurrency() == 1, "a bad block leaves the instruments as they were");
}

/// A text sent both ways.
void TryText(const std::string& text)
{
    std::string block;
    snappy::Compress(text.data(), text.size(), &block);

    Market plain;
    const bool isPlainDone = Download(plain, text, false, 0);
    const std::string plainError = LoggedInCore().GetLastError();
    Market compressed;
    const bool isDone = Download(compressed, block, true, static_cast<std::uint32_t>(text.size()));
    Require(isDone == isPlainDone && LoggedInCore().GetLastError() == plainError,
            "a text comes to the same compressed and plain");
    Require(plain.FuturesRows() == compressed.FuturesRows(), "both ways bring the same instruments");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size); // takes numbers from the end
    const bool isText = input.ConsumeBool();
    const bool isHonest = input.ConsumeBool();
    const auto otherSize = input.ConsumeIntegral<std::uint32_t>();
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    isText ? TryText(bytes) : TryAnyBlock(bytes, isHonest, otherSize);
    return 0;
}
