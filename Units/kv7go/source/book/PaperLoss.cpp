// Positions in the mode of positions alone: each is valued by its cost basis and a market price. A position that has
// lost is valued from the market price, and the loss until there, its paper loss, goes to the nodes apart.
#include <cmath>

#include "book/RiskParticipant.h"
#include "book/SpecPosition.h"
#include "grids/RiskItem.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im {

namespace {

// The price that leaves the loss between the two prices to the paper loss: the higher one for a short position.
double FromMarketIfLost(std::int64_t quantity, double price, double marketPrice) noexcept
{
    return quantity < 0 ? Max(marketPrice, price) : Min(marketPrice, price);
}

} // namespace

double CSpecPosition::PaperLoss(double price, double moneyCoef) const noexcept
{
    const double quantity = static_cast<double>(m_state.quantity);
    if (m_state.quantity < 0) return std::abs(quantity) * Max(0.0, price - m_state.WAPrice) * moneyCoef;
    return quantity * Max(0.0, m_state.WAPrice - price) * moneyCoef;
}

double CSpecPositionFutures::CalculateCumulativePerformance(double price) const
{
    return PaperLoss(price, m_futures.MoneyCoef);
}

double CSpecPositionFutures::UsableWAPrice_PositionsOnly(std::int64_t quantity, double price, double marketPrice) const
{
    double p = WithOffset(price);
    if (m_participant->GetNoFutDiscount()) {
        const double settlement = m_futures.RealCalcPrice;
        if (quantity > 0) return Min(marketPrice, Max(settlement, p));
        p = Min(settlement, p);
    }
    return FromMarketIfLost(quantity, p, marketPrice);
}

double CSpecPositionOptionsBase::CalculateCumulativePerformance(double price) const
{
    return PaperLoss(price, m_options.VirtFutures->MoneyCoef);
}

double CSpecPositionOptionsBase::PriceOfPaperLoss() const noexcept
{
    const double settlement = m_options.CalcOptPrice;
    return m_state.quantity < 0 ? Min(m_state.marketPrice, settlement) : Max(m_state.marketPrice, settlement);
}

double CSpecPositionOptionsBase::UsableWAPrice_PositionsOnly(std::int64_t quantity, double price,
                                                             double marketPrice) noexcept
{
    return FromMarketIfLost(quantity, price, marketPrice);
}

} // namespace kv7im
