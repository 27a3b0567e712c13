// TradedInstrument: a futures or an option by its code, as the engine has it.
#pragma once

#include <string>

#include "Enums.h"
#include "grids/Risk.h"

namespace kv7im {
class CSpecBaseContract;
class CSpecFutures;
class CSpecOption;
class InstrumentsRepository;
} // namespace kv7im

namespace quindal {

/// The instruments behind the calculator.
[[nodiscard]] const kv7im::InstrumentsRepository& LoadedInstruments();

/// One of the two, or none. For options the futures is that of their series.
struct TradedInstrument
{
    const kv7im::CSpecFutures* futures = nullptr;
    const kv7im::CSpecOption* option = nullptr;

    [[nodiscard]] static TradedInstrument Find(const std::string& code);
    [[nodiscard]] bool Exists() const noexcept { return futures != nullptr || option != nullptr; }

    [[nodiscard]] const kv7im::CSpecFutures& Futures() const;
    [[nodiscard]] const kv7im::CSpecBaseContract& Contract() const;
    [[nodiscard]] double CalculatedPrice() const;
    /// Money of one price unit of a contract.
    [[nodiscard]] double MoneyOfPrice() const;
    /// Result of a position over the grids, money.
    [[nodiscard]] kv7im::Risk Held(std::int64_t quantity, double price, Enums::ClientRiskLevel level) const;
};

} // namespace quindal
