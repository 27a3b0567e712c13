// The records of an accounting: entered, looked up and taken out, and the sums of VM over them.
#include "PositionCalculator.h"

#include <algorithm>

#include "except.h"

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

void CPositionCalculator::RefuseMultileg(Isin isin) const
{
    if (m_instruments.getClearingInstrumentType(isin) == Enums::InstrumentType::MultiLeg)
        throw kv7base::CZ9Error(Z9ERR_POSITION_CALCULATOR_MULTILEG_ISIN_IN_POSITION, KV7_CURRENT_LOCATION)
            .Fmt("Isin: %d", isin);
}

const pos::SInstrCLR& CPositionCalculator::InstrumentOfPosition(Isin isin) const
{
    RefuseMultileg(isin);
    return m_instruments.getInstrumentCLR(isin);
}

void CPositionCalculator::InsertPosition(const SPosition& position, bool updateVM, bool updateNetOptionValue)
{
    SPosition record = position;
    record.instr = &InstrumentOfPosition(position.isin);
    AddRecord(record);
    if (updateVM) {
        try {
            UpdateVM(record, record.vmClose, m_instruments.UnderlyingFutures(record.isin), true);
        } catch (...) {
            m_positions.erase(record.isin);
            throw;
        }
    }
    if (updateNetOptionValue) NetOptionValue += record.netOptionValue;
}

void CPositionCalculator::InsertPositionForHalfNettingAndGross(const SPosition& position)
{
    RefuseMultileg(position.isin);
    SPosition record;
    record.isin = position.isin;
    record.quantity = position.quantity;
    record.afterLastClearingQuantity = position.afterLastClearingQuantity;
    AddRecord(record);
}

void CPositionCalculator::RemovePosition(Isin isin) noexcept { m_positions.erase(isin); }

namespace {

bool IsPremiumStyle(const SPosition& position) noexcept
{
    return position.instr != nullptr && pos::IsPremiumStyle(*position.instr);
}

} // namespace

void CPositionCalculator::ReserveCurrency(const SPosition& position, const pos::SBaseContract& baseContract,
                                          bool premiumStyleApart)
{
    if (!baseContract.is_curr) return;
    VMCurrFull.try_emplace(baseContract.indicatorIndex);
    if (!premiumStyleApart || !IsPremiumStyle(position)) VMCurr.try_emplace(baseContract.indicatorIndex);
}

void CPositionCalculator::UpdateVM(const SPosition& position, t_bsum_int delta, const pos::SFutures& futures,
                                   bool premiumStyleApart)
{
    ReserveCurrency(position, *futures.bc, premiumStyleApart);
    VMFull += delta;
    AddIfCurrContract(VMCurrFull, *futures.bc, delta);
    if (premiumStyleApart && IsPremiumStyle(position)) return;
    VM += delta;
    AddIfCurrContract(VMCurr, *futures.bc, delta);
}

void CPositionCalculator::AddIfCurrContract(VMCloseByCurrencies& sums, const pos::SBaseContract& baseContract,
                                            t_bsum_int delta)
{
    if (baseContract.is_curr) sums[baseContract.indicatorIndex] += delta;
}

void CPositionCalculator::GetPositions(Isin isin, std::vector<SPosition>& positions,
                                       const pos::PositionCalculatorInstruments& instruments) const
{
    positions.clear();
    const auto add = [&](Isin own) {
        if (const SPosition* const position = getPosition(own)) positions.push_back(*position);
    };
    const pos::SMultileg* const multileg = instruments.GetConstInstruments().getMultileg(isin);
    if (multileg == nullptr) return add(isin);
    for (const pos::SInstrQuantity& leg : multileg->instruments)
        add(leg.instrCLR->isin);
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
