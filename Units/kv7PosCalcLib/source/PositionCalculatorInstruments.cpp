#include "PositionCalculatorInstruments.h"

#include <utility>

#include "Lookup.h"
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

SOption::SOption(Isin isin_, std::string code_, const SMutableInstrumentsParameters& parameters)
    : SInstrCLR(isin_, std::move(code_), Enums::InstrumentType::Option, parameters)
{}

void SConstInstrumentsParameters::clear() noexcept
{
    // Children before parents.
    m_instruments.clear();
    m_multilegs.clear();
    m_tradeModes.clear();
    m_baseContracts.clear();
}

const SMultileg* SConstInstrumentsParameters::getMultileg(Isin isin) const noexcept { return Find(m_multilegs, isin); }

void SMutableInstrumentsParameters::clear() noexcept
{
    // Children before parents.
    m_tradeinstruments.clear();
    m_options.clear();
    m_virtFutures.clear();
    m_futures.clear();
}

const SFutures* SMutableInstrumentsParameters::getFutures(Isin isin) const noexcept { return Find(m_futures, isin); }

SFutures* SMutableInstrumentsParameters::getFutures(Isin isin) noexcept { return Find(m_futures, isin); }

const SOption* SMutableInstrumentsParameters::getOption(Isin isin) const noexcept { return Find(m_options, isin); }

SOption* SMutableInstrumentsParameters::getOption(Isin isin) noexcept { return Find(m_options, isin); }

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
    if (p_default_instruments.getFutures(isin) != nullptr || m_const_instruments.getMultileg(isin) != nullptr)
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
        m_futuresByCode.try_emplace(code, &inserted->second);
        m_instr_types.insert_or_assign(isin, Enums::InstrumentType::Futures);
    } catch (...) {
        RemoveFutures(isin);
        throw;
    }
}

void PositionCalculatorInstruments::InsertVirtFutures(const std::string& code, const std::string& futuresCode,
                                                      Enums::MarginStyle marginStyle, double minStep,
                                                      double minStepPrice)
{
    auto& series = p_default_instruments.m_virtFutures;
    if (series.contains(code))
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS, KV7_CURRENT_LOCATION)
            .Fmt("VFCode: %s", code.c_str());
    const SFutures* const* const futures = Find(m_futuresByCode, futuresCode);
    if (futures == nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, KV7_CURRENT_LOCATION)
            .Fmt("Futures (%s) not found while inserting virtual futures (%s)", futuresCode.c_str(), code.c_str());

    series.try_emplace(code, SVirtFutures{.codeFutures = futuresCode,
                                          .isinFutures = (*futures)->isin,
                                          .marginStyle = marginStyle,
                                          .minStep = minStep,
                                          .minStepPrice = minStepPrice,
                                          .fut = *futures});
}

void PositionCalculatorInstruments::InsertOption(const std::string& code, const std::string& seriesCode, Isin isin,
                                                 Enums::OptionType optType, const t_bprice& price)
{
    if (p_default_instruments.getOption(isin) != nullptr || m_const_instruments.getMultileg(isin) != nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS, KV7_CURRENT_LOCATION)
            .Fmt("Option Isin: %d", isin);
    const SVirtFutures* const series = Find(p_default_instruments.m_virtFutures, seriesCode);
    if (series == nullptr)
        throw CZ9Error(Z9ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND, KV7_CURRENT_LOCATION)
            .Fmt("Virtual Futures Code: %s", seriesCode.c_str());

    SOption option(isin, code, p_default_instruments);
    option.codeVF = seriesCode;
    option.optType = optType;
    option.calcOptPrice = ToPriceInt(price);
    option.virtFutures = series;

    p_default_instruments.m_options.emplace(isin, std::move(option));
    try {
        m_instr_types.insert_or_assign(isin, Enums::InstrumentType::Option);
    } catch (...) {
        p_default_instruments.m_options.erase(isin);
        throw;
    }
}

void PositionCalculatorInstruments::RemoveBaseContract(std::int32_t id) noexcept
{
    m_const_instruments.m_baseContracts.erase(id);
}

void PositionCalculatorInstruments::RemoveFutures(Isin isin) noexcept
{
    const SFutures* const futures = p_default_instruments.getFutures(isin);
    if (futures == nullptr) return;
    const auto byCode = m_futuresByCode.find(futures->code);
    if (byCode != m_futuresByCode.end() && byCode->second == futures) m_futuresByCode.erase(byCode);
    // An option that was entered under the code of the futures has that isin too.
    if (p_default_instruments.getOption(isin) != nullptr)
        m_instr_types.find(isin)->second = Enums::InstrumentType::Option;
    else
        m_instr_types.erase(isin);
    p_default_instruments.m_futures.erase(isin);
}

void PositionCalculatorInstruments::RemoveVirtFutures(std::string_view code) noexcept
{
    auto& series = p_default_instruments.m_virtFutures;
    if (const auto found = series.find(code); found != series.end()) series.erase(found);
}

void PositionCalculatorInstruments::RemoveOption(Isin isin) noexcept
{
    if (p_default_instruments.m_options.erase(isin) == 0) return;
    // An option that was offered under the code of a futures had that futures' isin.
    if (p_default_instruments.getFutures(isin) != nullptr)
        m_instr_types.find(isin)->second = Enums::InstrumentType::Futures;
    else
        m_instr_types.erase(isin);
}

void PositionCalculatorInstruments::Clear() noexcept
{
    // Children before parents.
    m_instr_types.clear();
    m_futuresByCode.clear();
    m_const_instruments.m_instruments.clear();
    m_const_instruments.m_multilegs.clear();
    p_default_instruments.clear();
    m_const_instruments.clear();
}

} // namespace pos
