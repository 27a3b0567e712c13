// PremiumReservesCalculator: the money that a client's open buys of premium-style options would cost.
//
// It is kept for clients whose margin leaves such options out: an option that is not margined has to be paid for, so
// the premium of a buy is set aside when the order comes in.
//
// Always true:  GetPremiumBlocked is the sum over all instruments of what CalculateBlockedForIsin makes of each. Every
//               change is rounded on the total of its instrument, so an order that is taken back leaves nothing behind.
// Numbers:      money with five decimals. A cancellation comes with a negative quantity; nothing stops a reserve at 0.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "Enums.h"
#include "currencytype.h"

namespace Domain {

/// Reserves of one instrument, money with five decimals.
struct PremiumReserves
{
    void SetZero() noexcept { *this = PremiumReserves(); }
    [[nodiscard]] t_bprice_int GetTotal() const noexcept { return premReserveOrders + premReserveDeals; }

    t_bprice_int premReserveOrders; // open buy orders
    t_bprice_int premReserveDeals;  // trades of this session
};

} // namespace Domain

class PremiumReservesCalculator
{
public:
    /// Money that the reserves of one instrument block: a positive total is raised by the curvature radius of the
    /// currency, a negative one shrunk by it; with a radius of 0 or less the total as it stands.
    [[nodiscard]] static t_bprice_int CalculateBlockedForIsin(const Domain::PremiumReserves& reserves,
                                                              double curvatureRadius) noexcept;

    /// Adds the premium of a change of orders: price times quantity times the money of one price unit. quantity in
    /// contracts, below 0 for a cancellation.
    void UpdateOrderReserve(Isin isin, t_bprice_int price, std::int64_t quantity, double moneyCoef,
                            double curvatureRadius);
    /// Adds the premium of a trade: price times quantity times the money of one price unit. quantity in contracts,
    /// below 0 for a sale.
    void UpdateDealReserve(Isin isin, t_bprice_int price, std::int64_t quantity, double moneyCoef,
                           double curvatureRadius);

    /// Money that the reserves of all instruments block.
    [[nodiscard]] t_bprice_int GetPremiumBlocked() const noexcept { return m_premiumBlocked; }
    /// Reserves of an instrument; zero for one that never had a reserve.
    [[nodiscard]] Domain::PremiumReserves GetReserves(Isin isin) const;

private:
    void Update(Isin isin, t_bprice_int Domain::PremiumReserves::*part, t_bprice_int price, std::int64_t quantity,
                double moneyCoef, double curvatureRadius);

    std::unordered_map<Isin, Domain::PremiumReserves> m_reserves;
    t_bprice_int m_premiumBlocked;
};
