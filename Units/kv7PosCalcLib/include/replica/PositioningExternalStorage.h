// IPositioningExternalStorage: a host's instruments for position accounting, handed over table by table.
//
// Always true:  a table names only rows of the tables before it; within a table the order does not matter, the legs
//               of a multileg included.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Enums.h"
#include "z9bcd.h"

namespace pos {

struct BaseContractRow
{
    std::int32_t id = 0;
    bool is_curr = false;
    std::int32_t indicatorIndex = 0;
};

struct TradeModeRow
{
    std::int32_t id = 0;
    Enums::TradeModeStatus status = Enums::TradeModeStatus::Closed;
    Enums::PriceType price_type = Enums::PriceType::Price;
    Enums::AuctionType auct_type = Enums::AuctionType::None;
    bool shouldCollectFeeForInternalTrades = false;
    bool shouldTakeIntoAccountPrice1 = false;
    bool shouldReplicatePrice1 = false;
};

struct FuturesRow
{
    std::string code;
    ::Isin isin = 0;
    std::int32_t baseContractID = 0;
    double minStep = 0;
    double minStepPrice = 0; // money of one price step
    t_bprice price;          // settlement price
    double timeToExpiration = 0;
    Enums::InstrumentStatus attribute = Enums::InstrumentStatus::None;
    double xlot = 0;
};

struct VirtFuturesRow
{
    std::string code;
    std::string futuresCode;
    Enums::MarginStyle marginStyle = Enums::MarginStyle::Futures;
    double minStep = 0;
    double minStepPrice = 0;
};

struct OptionRow
{
    std::string code;
    std::string seriesCode;
    ::Isin isin = 0;
    Enums::OptionType optType = Enums::OptionType::Undefined;
    t_bprice price;
};

/// One leg of a multileg.
struct MultilegRow
{
    ::Isin isin = 0;
    ::Isin legIsin = 0;
    std::int32_t quantityCoeff = 0;
    std::uint8_t legOrderNum = 0;
};

/// A trading instrument.
struct InstrumentRow
{
    std::int32_t id = 0;
    ::Isin isin = 0;
    std::int32_t tradeModeID = 0;
    double minStepTraded = 0;
    double minStepPriceTraded = 0;
    std::string code;
};

struct InstrumentsRateRow
{
    std::int32_t id = 0;
    double fixedFeeRate = 0; // money a contract
};

class IPositioningExternalStorage
{
public:
    virtual ~IPositioningExternalStorage() = default;

    // Tables in the order in which they are read.
    [[nodiscard]] virtual std::vector<BaseContractRow> GetBaseContracts() const = 0;
    [[nodiscard]] virtual std::vector<TradeModeRow> GetTradeModes() const = 0;
    [[nodiscard]] virtual std::vector<FuturesRow> GetFutures() const = 0;
    [[nodiscard]] virtual std::vector<VirtFuturesRow> GetVirtFutures() const = 0;
    [[nodiscard]] virtual std::vector<OptionRow> GetOptions() const = 0;
    [[nodiscard]] virtual std::vector<MultilegRow> GetMultilegs() const = 0;
    [[nodiscard]] virtual std::vector<InstrumentRow> GetInstruments() const = 0;
    [[nodiscard]] virtual std::vector<InstrumentsRateRow> GetInstrumentsRates() const = 0;

protected:
    IPositioningExternalStorage() = default;
    IPositioningExternalStorage(const IPositioningExternalStorage&) = default;
    IPositioningExternalStorage& operator=(const IPositioningExternalStorage&) = default;
};

} // namespace pos
