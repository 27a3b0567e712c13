#include "PremiumReserves.h"

#include "WrappingArithmetic.h"

t_bprice_int PremiumReservesCalculator::CalculateBlockedForIsin(const Domain::PremiumReserves& reserves,
                                                                double curvatureRadius) noexcept
{
    const t_bprice_int total = reserves.GetTotal();
    if (!(curvatureRadius > 0.0)) return total;
    const t_bprice_int factor(total.IsPositive() ? 1.0 + curvatureRadius : 1.0 - curvatureRadius);
    return total * factor; // 0 where either is
}

void PremiumReservesCalculator::UpdateOrderReserve(Isin isin, t_bprice_int price, std::int64_t quantity,
                                                   double moneyCoef, double curvatureRadius)
{
    Update(isin, &Domain::PremiumReserves::premReserveOrders, price, quantity, moneyCoef, curvatureRadius);
}

void PremiumReservesCalculator::UpdateDealReserve(Isin isin, t_bprice_int price, std::int64_t quantity,
                                                  double moneyCoef, double curvatureRadius)
{
    Update(isin, &Domain::PremiumReserves::premReserveDeals, price, quantity, moneyCoef, curvatureRadius);
}

Domain::PremiumReserves PremiumReservesCalculator::GetReserves(Isin isin) const
{
    const auto found = m_reserves.find(isin);
    return found == m_reserves.end() ? Domain::PremiumReserves() : found->second;
}

// Changes a reserve. The difference of the rounded totals goes into the sum, not the rounded change.
void PremiumReservesCalculator::Update(Isin isin, t_bprice_int Domain::PremiumReserves::*part, t_bprice_int price,
                                       std::int64_t quantity, double moneyCoef, double curvatureRadius)
{
    Domain::PremiumReserves& reserves = m_reserves[isin];
    const t_bprice_int before = CalculateBlockedForIsin(reserves, curvatureRadius);
    const auto value =
        t_bprice_int::FromPlain(kv7base::WrappingMul(price.AsPlain(), quantity)) * t_bprice_int(moneyCoef);
    reserves.*part += value;
    m_premiumBlocked += CalculateBlockedForIsin(reserves, curvatureRadius) - before;
}
