#include "PositionCalculator.h"

#include <algorithm>

#include "except.h"

CPositionCalculator::CPositionCalculator(const pos::PositionCalculatorInstruments& instruments) noexcept
    : m_instruments(instruments)
{}

void CPositionCalculator::Clear() noexcept
{
    m_positions.clear();
    VM.SetZero();
    VMCurr.clear();
    VMFull.SetZero();
    VMCurrFull.clear();
    NetOptionValue.SetZero();
}

void CPositionCalculator::SetZero() noexcept
{
    VM.SetZero();
    VMFull.SetZero();
    NetOptionValue.SetZero();
    for (auto& entry : VMCurr)
        entry.second.SetZero();
    for (auto& entry : VMCurrFull)
        entry.second.SetZero();
}

const SPosition* CPositionCalculator::getPosition(Isin isin) const noexcept
{
    const auto found = m_positions.find(isin);
    return found == m_positions.end() ? nullptr : &found->second;
}

SPosition* CPositionCalculator::getPosition(Isin isin) noexcept
{
    const auto found = m_positions.find(isin);
    return found == m_positions.end() ? nullptr : &found->second;
}

const SPosition* CPositionCalculator::getPositionSafe(Isin isin) const noexcept { return getPosition(isin); }

void CPositionCalculator::AddRecord(const SPosition& position)
{
    if (!m_positions.try_emplace(position.isin, position).second)
        throw kv7base::CZ9Error(Z9ERR_POSITION_CALCULATOR_POSITION_ALREADY_EXISTS, KV7_CURRENT_LOCATION)
            .Fmt("Isin: %d", position.isin);
}

void CPositionCalculator::InsertPosition(const SPosition& position, bool updateVM, bool updateNetOptionValue)
{
    SPosition record = position;
    record.instr = &m_instruments.getInstrumentCLR(position.isin);
    AddRecord(record);
    if (updateVM) {
        try {
            UpdateVM(record);
        } catch (...) {
            m_positions.erase(record.isin);
            throw;
        }
    }
    if (updateNetOptionValue) NetOptionValue += record.netOptionValue;
}

void CPositionCalculator::InsertPositionForHalfNettingAndGross(const SPosition& position)
{
    SPosition record;
    record.isin = position.isin;
    record.quantity = position.quantity;
    record.afterLastClearingQuantity = position.afterLastClearingQuantity;
    AddRecord(record);
}

void CPositionCalculator::UpdateVM(const SPosition& position)
{
    const bool isPremiumStyle = position.instr->instrType == Enums::InstrumentType::Option &&
                                position.instr->GetMarginStyle() == Enums::MarginStyle::Equity;
    // The currency entries first: they may need memory, the sums do not.
    const pos::SBaseContract& baseContract = m_instruments.getClearingInstrumentBaseContract(position.isin);
    if (baseContract.is_curr) {
        t_bsum_int* const current = isPremiumStyle ? nullptr : &VMCurr[baseContract.indicatorIndex];
        VMCurrFull[baseContract.indicatorIndex] += position.vmClose;
        if (current != nullptr) *current += position.vmClose;
    }
    VMFull += position.vmClose;
    if (!isPremiumStyle) VM += position.vmClose;
}

std::int64_t CPositionCalculator::GetAfterLastClearingQuantityByIsin(Isin isin) const noexcept
{
    const SPosition* const position = getPosition(isin);
    return position == nullptr ? 0 : position->afterLastClearingQuantity;
}

std::vector<SPosition> CPositionCalculator::GetPositionsForDumper() const
{
    std::vector<SPosition> positions;
    positions.reserve(m_positions.size());
    for (const auto& entry : m_positions)
        positions.push_back(entry.second);
    std::sort(positions.begin(), positions.end(),
              [](const SPosition& a, const SPosition& b) { return a.isin < b.isin; });
    return positions;
}
