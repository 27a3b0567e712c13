// AccountingMarket: a small dictionary of every kind of instrument, prices as in the hand calculations of the tests,
// and what the tests ask of failures and of deals.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "PositionCalculator.h"
#include "except.h"

namespace accounting {

struct Failure
{
    Z9ERR code = Z9ERR_OK;
    std::string text;
};

inline Failure FailureOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const kv7base::CZ9Error& e) {
        return {e.GetCode(), e.what()};
    }
    return {};
}

inline t_bprice NotANumber()
{
    t_bprice price;
    price.SetNAN();
    return price;
}

/// From its five-digit text, exact.
inline t_bprice_int Price(const char* text) { return t_bprice_int(text); }

constexpr std::int64_t Largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t Smallest = std::numeric_limits<std::int64_t>::min();

// Futures. A unit of price is 1 of money in the first two, 6.5 in the third, a half in the fourth.
constexpr Isin Near = 1;    // settles at 100
constexpr Isin Far = 2;     // settles at 104
constexpr Isin Dollars = 3; // settles at 50; its base contract keeps VM in currency 840
constexpr Isin Halves = 4;  // settles at 10
// Options on Dollars, both settle at 2.5.
constexpr Isin MarginStyle = 31;  // in a series without premium
constexpr Isin PremiumStyle = 32; // in one whose premium is paid up front
constexpr Isin Calendar = 50;     // sells one Near, buys one Far
constexpr Isin Ratio = 51;        // buys two Near, sells three Far

constexpr std::int32_t DollarCurrency = 840;

// Trading instruments are a thousand up.
constexpr std::int32_t Trading(Isin isin) { return 1000 + isin; }
constexpr std::int32_t CalendarNamingPrice1 = 2050; // the calendar in a mode whose orders name their first price
constexpr std::int32_t CalendarWithoutMode = 3050;  // and in one that there is not
constexpr std::int32_t NoLegs = 1099;               // on an isin 99 that is nothing here

constexpr std::int32_t OrdinaryMode = 1;
constexpr std::int32_t Price1Mode = 2;
constexpr std::int32_t MissingMode = 77;

inline void InsertFutures(pos::PositionCalculatorInstruments& instruments, Isin isin, std::int32_t baseContract,
                          double minStep, double minStepPrice, double settlement)
{
    instruments.InsertFutures("F" + std::to_string(isin), isin, baseContract, minStep, minStepPrice,
                              t_bprice(settlement), 0.25, Enums::InstrumentStatus::None, 1);
}

/// Clearing instruments only.
inline void InsertClearing(pos::PositionCalculatorInstruments& instruments)
{
    instruments.InsertBaseContract(101, false, 643);
    instruments.InsertBaseContract(102, true, DollarCurrency);
    InsertFutures(instruments, Near, 101, 1, 1, 100);
    InsertFutures(instruments, Far, 101, 0.5, 0.5, 104);
    InsertFutures(instruments, Dollars, 102, 0.01, 0.065, 50);
    InsertFutures(instruments, Halves, 101, 2, 1, 10);
    instruments.InsertVirtFutures("MARGIN", "F3", Enums::MarginStyle::Futures, 0.01, 0.065);
    instruments.InsertVirtFutures("PREMIUM", "F3", Enums::MarginStyle::Equity, 0.01, 0.065);
    instruments.InsertOption("O31", "MARGIN", MarginStyle, Enums::OptionType::Call, t_bprice(2.5));
    instruments.InsertOption("O32", "PREMIUM", PremiumStyle, Enums::OptionType::Call, t_bprice(2.5));
    instruments.InsertMultileg(Calendar, Near, -1, 1);
    instruments.InsertMultileg(Calendar, Far, 1, 2);
    instruments.InsertMultileg(Ratio, Near, 2, 1);
    instruments.InsertMultileg(Ratio, Far, -3, 2);
}

inline void InsertAll(pos::PositionCalculatorInstruments& instruments)
{
    using Enums::AuctionType;
    using Enums::PriceType;
    using Enums::TradeModeStatus;
    InsertClearing(instruments);
    instruments.InsertTradeMode(OrdinaryMode, TradeModeStatus::Open, PriceType::Price, AuctionType::None, false, false,
                                false);
    instruments.InsertTradeMode(Price1Mode, TradeModeStatus::Open, PriceType::Offset, AuctionType::Opening, true, true,
                                true);
    for (const Isin isin : {Near, Far, Dollars, Halves, MarginStyle, PremiumStyle, Calendar, Ratio})
        instruments.InsertInstrument(Trading(isin), isin, OrdinaryMode, 0.01, 0.01, "T" + std::to_string(isin));
    instruments.InsertInstrument(CalendarNamingPrice1, Calendar, Price1Mode, 0.01, 0.01, "T50");
    instruments.InsertInstrument(CalendarWithoutMode, Calendar, MissingMode, 0.01, 0.01, "T50");
    instruments.InsertInstrument(NoLegs, 99, OrdinaryMode, 0.01, 0.01, "T99");
}

/// A flat position, as it is entered before its first deal.
inline SPosition Flat(Isin isin)
{
    SPosition position;
    position.isin = isin;
    return position;
}

/// The whole state, to be compared byte for byte.
inline std::vector<std::byte> StateOf(const CPositionCalculator& calculator)
{
    std::vector<std::byte> bytes(calculator.GetRequiredBufferSize());
    calculator.Serialize(bytes);
    return bytes;
}

/// What a deal gave back.
struct Deal
{
    pos::SPosTradesVector trades;
    Isin isin = -1;
    const pos::SInstrTRD* instrument = nullptr;
};

/// The dictionary, and a calculator with a flat position in each futures and option.
class Book
{
public:
    Book()
    {
        InsertAll(instruments);
        for (const Isin isin : {Near, Far, Dollars, Halves, MarginStyle, PremiumStyle})
            calculator.InsertPosition(Flat(isin), false, false);
    }

    Deal Trade(std::int32_t instrumentID, t_bprice_int price, std::int64_t quantity, bool premiumStyleApart = true,
               const pos::SyntheticDealPrices& synthetic = {})
    {
        Deal deal;
        calculator.ProcessTrade(instrumentID, price, quantity, synthetic, deal.trades, deal.isin, deal.instrument,
                                premiumStyleApart);
        return deal;
    }
    pos::SPosTrade Clear(Isin isin, t_bprice_int price, std::int64_t quantity, bool reverse = false,
                         PrevAndCurrPosition* positions = nullptr)
    {
        pos::SPosTradesVector trades;
        calculator.ProcessTradeCLR(isin, price, quantity, trades, positions, reverse, true);
        return trades.at(0);
    }
    const SPosition& At(Isin isin) { return *calculator.getPosition(isin); }

    pos::PositionCalculatorInstruments instruments;
    CPositionCalculator calculator{instruments};
};

} // namespace accounting
