// What accounting asks of an instrument by its isin.
#include "PositionCalculatorInstruments.h"
#include "except.h"

namespace pos {

using kv7base::CZ9Error;

const SFutures& PositionCalculatorInstruments::UnderlyingFutures(Isin isin) const
{
    if (const SFutures* const futures = GetInstrFutures(isin)) return *futures;
    if (const SOption* const option = GetInstrOption(isin)) return *option->virtFutures->fut;
    throw CZ9Error(Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
}

const SInstrCLR* PositionCalculatorInstruments::FindInstrumentCLR(Isin isin) const noexcept
{
    if (const SOption* const option = GetInstrOption(isin)) return option;
    return GetInstrFutures(isin);
}

const SInstrCLR& PositionCalculatorInstruments::getInstrumentCLR(Isin isin) const
{
    if (const SInstrCLR* const instrument = FindInstrumentCLR(isin)) return *instrument;
    throw CZ9Error(Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
}

const SBaseContract& PositionCalculatorInstruments::getClearingInstrumentBaseContract(Isin isin) const
{
    return *UnderlyingFutures(isin).bc;
}

Enums::InstrumentType PositionCalculatorInstruments::getClearingInstrumentType(Isin isin) const noexcept
{
    const auto found = m_instr_types.find(isin);
    return found == m_instr_types.end() ? Enums::InstrumentType::Undefined : found->second;
}

const SFutures* PositionCalculatorInstruments::GetInstrFutures(Isin isin) const noexcept
{
    return p_default_instruments.getFutures(isin);
}

const SOption* PositionCalculatorInstruments::GetInstrOption(Isin isin) const noexcept
{
    return p_default_instruments.getOption(isin);
}

Enums::OptionType PositionCalculatorInstruments::getOptType(Isin isin) const noexcept
{
    const SOption* const option = GetInstrOption(isin);
    return option == nullptr ? Enums::OptionType::Undefined : option->optType;
}

Enums::InstrumentStatus PositionCalculatorInstruments::GetFuturesAttribute(Isin isin) const
{
    const SFutures* const futures = GetInstrFutures(isin);
    if (futures == nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
    return futures->attribute;
}

double PositionCalculatorInstruments::GetLotMoneyCoeff(Isin isin, std::string_view code) const
{
    constexpr double smallestLot = 1e-10;
    const SFutures& futures = UnderlyingFutures(isin);
    const double coefficient = futures.minStepPrice / futures.minStep;
    if (code == "c") return coefficient;
    if (futures.xlot < smallestLot) throw CZ9Error(Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO, KV7_CURRENT_LOCATION);
    return coefficient / futures.xlot;
}

} // namespace pos
