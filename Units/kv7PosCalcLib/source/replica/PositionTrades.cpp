// Deals: how a trade moves the positions of its legs, and what it pays out.
#include <algorithm>
#include <array>

#include "PositionCalculator.h"
#include "replica/CheckedSums.h"
#include "replica/PartPrices.h"
#include "z9log.h"

namespace {

using pos::Int128;
using pos::Magnitude;
using pos::Narrowed;

void AddToBuySide(SPosition& position, Int128 quantity, t_bprice_int price)
{
    const Int128 volume = position.buyVolume.AsPlain() + quantity * price.AsPlain();
    position.buyQuantityTechnic = Narrowed(position.buyQuantityTechnic + quantity, position.isin);
    position.buyVolume = t_bsum_int::FromPlain(Narrowed(volume, position.isin));
}

void AddToSellSide(SPosition& position, Int128 quantity, t_bprice_int price)
{
    const Int128 volume = position.sellVolume.AsPlain() + quantity * price.AsPlain();
    position.sellQuantityTechnic = Narrowed(position.sellQuantityTechnic + quantity, position.isin);
    position.sellVolume = t_bsum_int::FromPlain(Narrowed(volume, position.isin));
}

/// Volume over quantity, rounded half away from zero; 0 where nothing was traded.
std::int64_t AveragePrice(t_bsum_int volume, std::int64_t quantity, Isin isin)
{
    if (quantity == 0) return 0;
    if (quantity == -1) return Narrowed(-Int128{volume.AsPlain()}, isin); // the one quotient that may not fit
    return kv7base::DivideHalfAwayFromZero(volume.AsPlain(), quantity);
}

std::int64_t OpenInterestDelta(std::int64_t before, std::int64_t after, Isin isin)
{
    return Narrowed(Magnitude(after) - Magnitude(before), isin);
}

/// Contracts of a leg in a deal of `quantity` contracts of the whole.
std::int64_t LegQuantity(std::int64_t quantity, const pos::SInstrQuantity& leg)
{
    return Narrowed(Int128{quantity} * leg.quantityCoeff, leg.instrCLR->isin);
}

/// Refuses a deal at a price that is no amount: read as a number it would be the lowest of all.
void RefuseUnlessAmount(t_bprice_int price, Isin isin)
{
    if (price.IsNAN())
        throw kv7base::CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION).Fmt("Isin: %d", isin);
}

void FillPrices(const pos::SInstrTRD& instrument, t_bprice_int price, const pos::SyntheticDealPrices& syntheticPrices,
                pos::SPosTradesVector& trades)
{
    const auto& legs = instrument.instruments;
    if (syntheticPrices.HasPrices() && instrument.type == Enums::TradingInstrType::Multileg) {
        for (pos::SPosTrade& trade : trades)
            trade.priceTechnic = syntheticPrices.GetOrderPrice(trade.isin);
        return;
    }
    const t_bprice_int firstSettlement = legs[0].instrCLR->getRealPrice();
    trades[0].priceTechnic = pos::CalcFirstPartPrice(instrument.type, price, firstSettlement);
    if (legs.size() > 1)
        trades[1].priceTechnic = pos::CalcSecondPartPrice(instrument.type, price, firstSettlement,
                                                          legs[0].quantityCoeff, legs[1].quantityCoeff);
}

/// Fills one record a leg, with isin, price and mark; none for an instrument without legs.
void FillDeal(const pos::SInstrTRD& instrument, t_bprice_int price, const pos::SyntheticDealPrices& syntheticPrices,
              pos::SPosTradesVector& trades)
{
    RefuseUnlessAmount(price, instrument.isin_clr);
    const auto& legs = instrument.instruments;
    trades.assign(legs.size(), {});
    if (legs.empty()) return;
    for (std::size_t i = 0; i < legs.size(); ++i)
        trades[i].isin = legs[i].instrCLR->isin;
    if (legs.size() > 1) trades[1].status = Enums::Status::SecondLeg;
    FillPrices(instrument, price, syntheticPrices, trades);
    for (const pos::SPosTrade& trade : trades)
        RefuseUnlessAmount(trade.priceTechnic, trade.isin);
}

void FillClearingDeal(Isin isin, t_bprice_int price, pos::SPosTradesVector& trades)
{
    RefuseUnlessAmount(price, isin);
    trades.assign(1, {});
    trades[0].isin = isin;
    trades[0].priceTechnic = price;
}

constexpr std::size_t MostLegs = 2;

} // namespace

void CPositionCalculator::UpdateQuantityAndVolume(SPosition& position, std::int64_t quantity, t_bprice_int price)
{
    if (quantity > 0)
        AddToBuySide(position, quantity, price);
    else
        AddToSellSide(position, -Int128{quantity}, price);
}

void CPositionCalculator::RevertQuantityAndVolume(SPosition& position, std::int64_t quantity, t_bprice_int price)
{
    // The test is the other way round than in UpdateQuantityAndVolume: a purchase is taken back by a sale.
    if (quantity < 0)
        AddToBuySide(position, quantity, price);
    else
        AddToSellSide(position, -Int128{quantity}, price);
}

t_bsum_int CPositionCalculator::updateVmAndWaPriceByTrade(SPosition& position)
{
    if (position.instr == nullptr || (position.instr->instrType != Enums::InstrumentType::Futures &&
                                      position.instr->instrType != Enums::InstrumentType::Option))
        return {};
    const Isin isin = position.isin;
    const t_bsum_int before = position.vmClose;
    const t_bsum_int moneyOfPriceUnit = pos::MoneyOfPriceUnit(*position.instr);
    const std::int64_t sold = position.sellQuantityTechnic;
    const std::int64_t bought = position.buyQuantityTechnic;
    const std::int64_t averageSell = AveragePrice(position.sellVolume, sold, isin);
    const std::int64_t averageBuy = AveragePrice(position.buyVolume, bought, isin);
    const Int128 closed = sold < bought ? sold : bought;

    const t_bsum_int gain = t_bsum_int::FromPlain(Narrowed(closed * (Int128{averageSell} - averageBuy), isin));
    position.vmClose = pos::CheckedProduct(gain, moneyOfPriceUnit, isin);
    position.waprice = t_bprice_int::FromPlain(sold >= bought ? averageSell : averageBuy);
    return t_bsum_int::FromPlain(Narrowed(Int128{position.vmClose.AsPlain()} - before.AsPlain(), isin));
}

CPositionCalculator::Booking CPositionCalculator::PrepareQuantity(Isin isin, std::int64_t quantity)
{
    Booking booking{.live = getPosition(isin), .after = {}, .quantity = quantity, .vmChange = {}, .futures = nullptr};
    if (booking.live == nullptr) return booking;
    booking.after = *booking.live;
    booking.after.quantity = Narrowed(Int128{booking.live->quantity} + quantity, isin);
    (void)OpenInterestDelta(booking.live->quantity, booking.after.quantity, isin);
    return booking;
}

void CPositionCalculator::MakeQuantity(const Booking& booking, pos::SPosTrade& trade,
                                       PrevAndCurrPosition* positions) noexcept
{
    if (booking.live == nullptr) return;
    SPosition& position = *booking.live;
    if (positions != nullptr) *positions = {.prev = position, .curr = &position};
    trade.quantityTechnic = booking.quantity;
    trade.openInterestDelta =
        static_cast<std::int64_t>(Magnitude(booking.after.quantity) - Magnitude(position.quantity)); // prepared: fits
    position = booking.after;

    trade.waprice = position.waprice;
    trade.vmClose = position.vmClose;
    trade.buyVolume = position.buyVolume;
    trade.sellVolume = position.sellVolume;
    trade.quantity = position.quantity;
    trade.buyQuantityTechnic = position.buyQuantityTechnic;
    trade.sellQuantityTechnic = position.sellQuantityTechnic;
    trade.afterLastClearingQuantity = position.afterLastClearingQuantity;
}

CPositionCalculator::Booking CPositionCalculator::PrepareBooking(const pos::SInstrCLR& instrument,
                                                                 const pos::SFutures& futures, std::int64_t quantity,
                                                                 t_bprice_int price, bool reverse)
{
    Booking booking = PrepareQuantity(instrument.isin, quantity);
    if (booking.live == nullptr) return booking;
    booking.futures = &futures;
    if (reverse)
        RevertQuantityAndVolume(booking.after, quantity, price);
    else
        UpdateQuantityAndVolume(booking.after, quantity, price);
    booking.vmChange = updateVmAndWaPriceByTrade(booking.after);
    return booking;
}

void CPositionCalculator::MakeBooking(const Booking& booking, pos::SPosTrade& trade, PrevAndCurrPosition* positions,
                                      bool premiumStyleApart)
{
    if (booking.live == nullptr) return;
    UpdateVM(booking.after, booking.vmChange, *booking.futures, premiumStyleApart);
    MakeQuantity(booking, trade, positions);
}

void CPositionCalculator::CalcPosition(const pos::SInstrCLR& instrument, const pos::SFutures& futures,
                                       std::int64_t quantity, pos::SPosTrade& trade, PrevAndCurrPosition* positions,
                                       bool reverse, bool premiumStyleApart)
{
    const Booking booking = PrepareBooking(instrument, futures, quantity, trade.priceTechnic, reverse);
    MakeBooking(booking, trade, positions, premiumStyleApart);
}

void CPositionCalculator::ProcessTrade(std::int32_t instrumentID, t_bprice_int price, std::int64_t quantity,
                                       const pos::SyntheticDealPrices& syntheticPrices, pos::SPosTradesVector& trades,
                                       Isin& outIsin, const pos::SInstrTRD*& outInstrument, bool premiumStyleApart)
{
    const pos::SInstrTRD& instrument = GetTradeInstrument(instrumentID);
    FillDeal(instrument, price, syntheticPrices, trades);
    outIsin = instrument.isin_clr;
    outInstrument = &instrument;

    // CalcPosition on each leg, in two steps, so that a second leg that is refused leaves the first one alone.
    std::array<Booking, MostLegs> bookings;
    for (std::size_t i = 0; i < trades.size(); ++i) {
        const pos::SInstrQuantity& leg = instrument.instruments[i];
        bookings[i] = PrepareBooking(*leg.instrCLR, m_instruments.UnderlyingFutures(trades[i].isin),
                                     LegQuantity(quantity, leg), trades[i].priceTechnic, false);
    }
    for (const Booking& booking : bookings)
        if (booking.live != nullptr) ReserveCurrency(booking.after, *booking.futures->bc, premiumStyleApart);
    for (std::size_t i = 0; i < trades.size(); ++i)
        MakeBooking(bookings[i], trades[i], nullptr, premiumStyleApart);
}

void CPositionCalculator::ProcessTradeCLR(Isin isin, t_bprice_int price, std::int64_t quantity,
                                          pos::SPosTradesVector& trades, PrevAndCurrPosition* positions, bool reverse,
                                          bool premiumStyleApart)
{
    const pos::SInstrCLR& instrument = InstrumentOfPosition(isin);
    FillClearingDeal(isin, price, trades);
    CalcPosition(instrument, m_instruments.UnderlyingFutures(isin), quantity, trades[0], positions, reverse,
                 premiumStyleApart);
}

void CPositionCalculator::ProcessTradeForHalfNettingAndGross(std::int32_t instrumentID, t_bprice_int price,
                                                             std::int64_t quantity,
                                                             const pos::SyntheticDealPrices& syntheticPrices,
                                                             pos::SPosTradesVector& trades, Isin& outIsin,
                                                             const pos::SInstrTRD*& outInstrument)
{
    const pos::SInstrTRD& instrument = GetTradeInstrument(instrumentID);
    FillDeal(instrument, price, syntheticPrices, trades);
    outIsin = instrument.isin_clr;
    outInstrument = &instrument;

    std::array<Booking, MostLegs> bookings;
    for (std::size_t i = 0; i < trades.size(); ++i)
        bookings[i] = PrepareQuantity(trades[i].isin, LegQuantity(quantity, instrument.instruments[i]));
    for (std::size_t i = 0; i < trades.size(); ++i)
        MakeQuantity(bookings[i], trades[i], nullptr);
}

void CPositionCalculator::ProcessTradeCLRForHalfNettingAndGross(Isin isin, t_bprice_int price, std::int64_t quantity,
                                                                pos::SPosTradesVector& trades,
                                                                PrevAndCurrPosition* positions)
{
    FillClearingDeal(isin, price, trades);
    MakeQuantity(PrepareQuantity(isin, quantity), trades[0], positions);
}

const pos::SInstrTRD& CPositionCalculator::GetTradeInstrument(std::int32_t instrumentID) const
{
    return m_instruments.getInstrumentTRD(instrumentID);
}

void CPositionCalculator::GetOrdersQtyAndDirectionData(std::int32_t instrumentID, std::int64_t quantity,
                                                       std::vector<pos::SOrderQtyAndDirection>& orders) const
{
    orders.clear();
    for (const pos::SInstrQuantity& leg : GetTradeInstrument(instrumentID).instruments) {
        const Isin isin = leg.instrCLR->isin;
        const std::int64_t contracts = LegQuantity(quantity, leg);
        orders.push_back({isin, Narrowed(Magnitude(contracts), isin), contracts > 0});
    }
}

t_bsum_int CPositionCalculator::CalcFixedFee(std::int64_t quantity, std::int32_t instrumentID) const
{
    constexpr double defaultRate = 0.0;
    double rate = defaultRate;
    if (const pos::SInstrTRD2* const instrument = m_instruments.GetInstrumentsRate(instrumentID); instrument == nullptr)
        KV7TRACE_WARNING_EX("QuindalIM",
                            "CalcFixedFee: Instrument not found: InstrumentID %d. Default value is used (%f).",
                            instrumentID, defaultRate);
    else if (instrument->fixedFeeRate >= 0)
        rate = instrument->fixedFeeRate;
    else
        KV7TRACE_WARNING_EX("QuindalIM",
                            "CalcFixedFee: fixed_fee_rate has invalid value (%f). Default value is used (%f).",
                            instrument->fixedFeeRate, defaultRate);

    const t_bsum_int fee(static_cast<double>(quantity) * rate);
    if (fee.IsNAN())
        throw kv7base::CZ9Error(Z9ERR_COMMON_OVERFLOW, KV7_CURRENT_LOCATION).Fmt("InstrumentID: %d", instrumentID);
    return fee;
}
