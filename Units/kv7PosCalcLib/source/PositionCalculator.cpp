#include "PositionCalculator.h"

CPositionCalculator::CPositionCalculator(const pos::PositionCalculatorInstruments& instruments) noexcept
    : m_instruments(instruments)
{}

const SPosition* CPositionCalculator::getPosition(Isin isin) const noexcept
{
    const auto found = m_positions.find(isin);
    return found == m_positions.end() ? nullptr : &found->second;
}

std::int64_t CPositionCalculator::GetAfterLastClearingQuantityByIsin(Isin isin) const noexcept
{
    const SPosition* const position = getPosition(isin);
    return position == nullptr ? 0 : position->afterLastClearingQuantity;
}
