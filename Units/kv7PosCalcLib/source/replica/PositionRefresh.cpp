// The end of a session: positions are paid at the settlement price, and the next session starts from there.
#include "PositionCalculator.h"
#include "replica/CheckedSums.h"

namespace {

using pos::Int128;
using pos::Narrowed;

t_bsum_int Volume(std::int64_t quantity, t_bprice_int price, Isin isin)
{
    return t_bsum_int::FromPlain(Narrowed(Int128{quantity} * price.AsPlain(), isin));
}

/// The position with which the next session begins.
SPosition Refreshed(const SPosition& position)
{
    SPosition fresh = position;
    fresh.afterLastClearingQuantity = position.quantity;
    if (position.instr == nullptr) return fresh; // quantities only

    const t_bprice_int price = position.instr->getRealPrice();
    fresh.waprice = price;
    fresh.vmClose.SetZero();
    fresh.buyVolume = Volume(position.buyQuantityTechnic, price, position.isin);
    fresh.sellVolume = Volume(position.sellQuantityTechnic, price, position.isin);
    // A paid premium stays in the contract as its worth; anything else is settled in money every day.
    fresh.netOptionValue.SetZero();
    if (pos::IsPremiumStyle(*position.instr))
        fresh.netOptionValue = pos::CheckedProduct(Volume(position.quantity, price, position.isin),
                                                   pos::MoneyOfPriceUnit(*position.instr), position.isin);
    return fresh;
}

} // namespace

void CPositionCalculator::refreshPosition(Isin isin)
{
    SPosition* const position = getPosition(isin);
    if (position == nullptr)
        throw kv7base::CZ9Error(Z9ERR_POSITION_CALCULATOR_POSITION_NOT_FOUND, KV7_CURRENT_LOCATION)
            .Fmt("Isin: %d", isin);
    *position = Refreshed(*position);
}

void CPositionCalculator::refreshAllPositions()
{
    // All positions are computed before the first is written, so that a refused one leaves the others alone.
    std::vector<SPosition> fresh;
    fresh.reserve(m_positions.size());
    for (const auto& entry : m_positions)
        fresh.push_back(Refreshed(entry.second));

    SetZero();
    for (const SPosition& position : fresh) {
        NetOptionValue += position.netOptionValue;
        m_positions.find(position.isin)->second = position;
    }
}
