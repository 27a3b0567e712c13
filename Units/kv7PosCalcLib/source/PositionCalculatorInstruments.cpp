#include "PositionCalculatorInstruments.h"

#include <utility>

#include "except.h"

namespace pos {

using kv7base::CZ9Error;

SInstrCLR::SInstrCLR(Isin isin_, std::string code_, Enums::InstrumentType type,
                     const SMutableInstrumentsParameters& parameters)
    : isin(isin_), code(std::move(code_)), instrType(type), cur_instr_params(&parameters)
{}

SFutures::SFutures(Isin isin_, std::string code_, const SMutableInstrumentsParameters& parameters)
    : SInstrCLR(isin_, std::move(code_), Enums::InstrumentType::Futures, parameters)
{}

const SFutures* SMutableInstrumentsParameters::getFutures(Isin isin) const noexcept
{
    const auto found = m_futures.find(isin);
    return found == m_futures.end() ? nullptr : &found->second;
}

SFutures* SMutableInstrumentsParameters::getFutures(Isin isin) noexcept
{
    const auto found = m_futures.find(isin);
    return found == m_futures.end() ? nullptr : &found->second;
}

void PositionCalculatorInstruments::InsertBaseContract(std::int32_t id, bool is_curr, std::int32_t indicatorIndex)
{
    if (!m_const_instruments.m_baseContracts.try_emplace(id, SBaseContract{id, is_curr, indicatorIndex}).second)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_BASECONTRACT_ALREADY_EXISTS, KV7_CURRENT_LOCATION)
            .Fmt("Base Contract ID: %d", id);
}

void PositionCalculatorInstruments::InsertFutures(const std::string& code, Isin isin, std::int32_t baseContractID,
                                                  double minStep, double minStepPrice, const t_bprice& price,
                                                  double timeToExpiration, Enums::InstrumentStatus attribute,
                                                  double xlot)
{
    if (p_default_instruments.getFutures(isin) != nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS, KV7_CURRENT_LOCATION)
            .Fmt("Futures (%s) already exists with isin (%d)", code.c_str(), isin);
    const auto baseContract = m_const_instruments.m_baseContracts.find(baseContractID);
    if (baseContract == m_const_instruments.m_baseContracts.end())
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_BASECONTRACT_NOT_FOUND, KV7_CURRENT_LOCATION)
            .Fmt("Base Contract (id %d) not found while inserting futures (%s)", baseContractID, code.c_str());

    SFutures futures(isin, code, p_default_instruments);
    futures.settlPriceReal = ToPriceInt(price);
    futures.baseContractID = baseContractID;
    futures.minStep = minStep;
    futures.minStepPrice = minStepPrice;
    futures.timeToExpiration = timeToExpiration;
    futures.attribute = attribute;
    futures.xlot = xlot;
    futures.bc = &baseContract->second;

    const auto inserted = p_default_instruments.m_futures.emplace(isin, std::move(futures)).first;
    try {
        m_instr_types.insert_or_assign(isin, Enums::InstrumentType::Futures);
    } catch (...) {
        p_default_instruments.m_futures.erase(inserted);
        throw;
    }
}

void PositionCalculatorInstruments::RemoveBaseContract(std::int32_t id) noexcept
{
    m_const_instruments.m_baseContracts.erase(id);
}

void PositionCalculatorInstruments::RemoveFutures(Isin isin) noexcept
{
    m_instr_types.erase(isin);
    p_default_instruments.m_futures.erase(isin);
}

void PositionCalculatorInstruments::UpdateFutures(Isin isin, double timeToExpiration, const t_bprice& price)
{
    SFutures* const futures = p_default_instruments.getFutures(isin);
    if (futures == nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
    futures->settlPriceReal = ToPriceInt(price);
    futures->timeToExpiration = timeToExpiration;
}

void PositionCalculatorInstruments::Clear() noexcept
{
    // Children before parents.
    m_instr_types.clear();
    p_default_instruments.clear();
    m_const_instruments.clear();
}

const SFutures& PositionCalculatorInstruments::FuturesOrThrow(Isin isin, Z9ERR code) const
{
    const SFutures* const futures = p_default_instruments.getFutures(isin);
    if (futures == nullptr) throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
    return *futures;
}

const SInstrCLR& PositionCalculatorInstruments::getInstrumentCLR(Isin isin) const
{
    return FuturesOrThrow(isin, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
}

const SBaseContract& PositionCalculatorInstruments::getClearingInstrumentBaseContract(Isin isin) const
{
    return *FuturesOrThrow(isin, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND).bc;
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

Enums::InstrumentStatus PositionCalculatorInstruments::GetFuturesAttribute(Isin isin) const
{
    return FuturesOrThrow(isin, Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND).attribute;
}

double PositionCalculatorInstruments::GetLotMoneyCoeff(Isin isin, std::string_view code) const
{
    constexpr double smallestLot = 1e-10;
    const SFutures& futures = FuturesOrThrow(isin, Z9ERR_POSITION_CALCULATOR_INSTR_NOT_FOUND);
    const double coefficient = futures.minStepPrice / futures.minStep;
    if (code == "c") return coefficient;
    if (futures.xlot < smallestLot) throw CZ9Error(Z9ERR_POSITION_CALCULATOR_DIVIDE_BY_ZERO, KV7_CURRENT_LOCATION);
    return coefficient / futures.xlot;
}

} // namespace pos
