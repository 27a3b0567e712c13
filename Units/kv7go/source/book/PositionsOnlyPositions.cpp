// Positions in the mode of positions alone: each is valued by its cost basis and a market price. A position that has
// lost is valued from the market price, and the loss until there, its paper loss, goes to the nodes apart.
//
// Everything that may run out of memory is done on nodes that can be put back, so that a change happens or does not.
#include <cmath>
#include <tuple>
#include <type_traits>
#include <utility>

#include "book/RiskParticipant.h"
#include "book/SpecPosition.h"
#include "grids/RiskItem.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "nodes/RiskNode.h"

namespace kv7im {

namespace {

// The price that leaves the loss between the two prices to the paper loss: the higher one for a short position.
double FromMarketIfLost(std::int64_t quantity, double price, double marketPrice) noexcept
{
    return quantity < 0 ? Max(marketPrice, price) : Min(marketPrice, price);
}

// The risk of a position, its two charges times the participant's ratio.
template <class Instrument>
Risk ScaledRisk(const Instrument& instrument, const RiskParticipant& participant, std::int64_t quantity,
                double usablePrice, double price, double cumulativePerformance)
{
    Risk risk = instrument.TransformToPosition_PositionsOnly(quantity, usablePrice, price, participant.GetRiskLevel(),
                                                             cumulativePerformance);
    risk.GetSpecialRiskPoints().ScaleCharges(participant.GetShortOptionMinimumChargeRatio());
    return risk;
}

// Takes steps that change nodes; when one throws, the nodes are as they were.
template <class Steps, class... Nodes>
void AllOrNothing(const Steps& steps, Nodes&... nodes)
{
    static_assert((std::is_nothrow_move_assignable_v<Nodes> && ...));
    std::tuple<Nodes...> before(nodes...);
    try {
        steps();
    } catch (...) {
        std::tie(nodes...) = std::move(before);
        throw;
    }
}

// The view of a series that the futures holds at this moment.
RiskNodeOptionSeries ViewOf(const RiskNodeOptionSeries& series, bool lossesOnly)
{
    return lossesOnly ? series.GetTransformedRisk_PositionsOnly() : series;
}

} // namespace

void CSpecPosition::UpdateInitialMarginByNewPosition_PositionsOnly(std::int64_t quantity, double price,
                                                                   double marketPrice, std::int64_t novQuantity)
{
    const std::int64_t oldQuantity = m_quantity;
    const double oldPrice = m_WAPrice;
    const double oldMarketPrice = m_marketPrice;
    const double oldNOVi = m_NOVi;
    const double oldCumulativePerformance = m_cumulativePerformance;

    m_quantity = quantity;
    m_WAPrice = price;
    m_marketPrice = marketPrice;
    m_NOVi = CalculateNOVi(novQuantity); // before the paper loss, since it counts that of the last change
    m_cumulativePerformance = CalculateCumulativePerformance(marketPrice);

    try {
        CalculatePosRisk_PositionsOnly(oldQuantity, oldPrice, oldNOVi, oldCumulativePerformance, oldMarketPrice);
    } catch (...) { // the nodes still hold the old state
        m_quantity = oldQuantity;
        m_WAPrice = oldPrice;
        m_marketPrice = oldMarketPrice;
        m_NOVi = oldNOVi;
        m_cumulativePerformance = oldCumulativePerformance;
        throw;
    }
}

double CSpecPosition::PaperLoss(double price, double moneyCoef) const noexcept
{
    const double quantity = static_cast<double>(m_quantity);
    if (m_quantity < 0) return std::abs(quantity) * Max(0.0, price - m_WAPrice) * moneyCoef;
    return quantity * Max(0.0, m_WAPrice - price) * moneyCoef;
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

void CSpecPositionFutures::UpdateCumulativePerformance(std::int64_t oldQuantity, double oldPerformance) noexcept
{
    m_futuresRisk.AddCumulativePerformance(ChangeOfShare(oldQuantity, oldPerformance, m_cumulativePerformance));
}

void CSpecPositionFutures::CalculatePosRisk_PositionsOnly(std::int64_t oldQuantity, double oldPrice, double,
                                                          double oldCumulativePerformance, double oldMarketPrice)
{
    const Risk before = ScaledRisk(m_futures, *m_participant, oldQuantity,
                                   UsableWAPrice_PositionsOnly(oldQuantity, oldPrice, oldMarketPrice), oldPrice,
                                   oldCumulativePerformance);
    const Risk after = ScaledRisk(m_futures, *m_participant, m_quantity,
                                  UsableWAPrice_PositionsOnly(m_quantity, m_WAPrice, m_marketPrice), m_WAPrice,
                                  m_cumulativePerformance);
    m_futuresRisk -= before; // from here on no memory is needed
    UpdateCumulativePerformance(oldQuantity, oldCumulativePerformance);
    m_futuresRisk += after;
}

double CSpecPositionOptionsBase::CalculateCumulativePerformance(double price) const
{
    return PaperLoss(price, m_options.VirtFutures->MoneyCoef);
}

double CSpecPositionOptionsBase::PriceOfPaperLoss() const noexcept
{
    const double settlement = m_options.CalcOptPrice;
    return m_quantity < 0 ? Min(m_marketPrice, settlement) : Max(m_marketPrice, settlement);
}

double CSpecPositionOptionsBase::UsableWAPrice_PositionsOnly(std::int64_t quantity, double price,
                                                             double marketPrice) noexcept
{
    return FromMarketIfLost(quantity, price, marketPrice);
}

void CSpecPositionOptionsBase::UpdateCumulativePerformance(std::int64_t oldQuantity, double oldPerformance) noexcept
{
    m_optionSeriesRisk.AddCumulativePerformance(ChangeOfShare(oldQuantity, oldPerformance, m_cumulativePerformance));
}

void CSpecPositionOptionsBase::ReplaceInSeries_PositionsOnly(std::int64_t oldQuantity, double oldPrice, double oldNOVi,
                                                             double oldCumulativePerformance, double oldMarketPrice)
{
    m_optionSeriesRisk -= ScaledRisk(m_options, *m_participant, oldQuantity,
                                     UsableWAPrice_PositionsOnly(oldQuantity, oldPrice, oldMarketPrice), oldPrice,
                                     oldCumulativePerformance);
    UpdateNOVInSeriesRisk(oldQuantity, oldNOVi);
    UpdateCumulativePerformance(oldQuantity, oldCumulativePerformance);
    m_optionSeriesRisk += ScaledRisk(m_options, *m_participant, m_quantity,
                                     UsableWAPrice_PositionsOnly(m_quantity, m_WAPrice, m_marketPrice), m_WAPrice,
                                     m_cumulativePerformance);
}

void CSpecPositionOptions::CalculatePosRisk_PositionsOnly(std::int64_t oldQuantity, double oldPrice, double oldNOVi,
                                                          double oldCumulativePerformance, double oldMarketPrice)
{
    const bool lossesOnly = m_options.VirtFutures->EnforceHalfNetting;
    const auto steps = [&] {
        m_futuresRisk -= ViewOf(m_optionSeriesRisk, lossesOnly);
        ReplaceInSeries_PositionsOnly(oldQuantity, oldPrice, oldNOVi, oldCumulativePerformance, oldMarketPrice);
        m_futuresRisk += ViewOf(m_optionSeriesRisk, lossesOnly);
    };
    AllOrNothing(steps, m_futuresRisk, m_optionSeriesRisk);
}

void CSpecPositionOptionsWithoutSpread::CalculatePosRisk_PositionsOnly(std::int64_t oldQuantity, double oldPrice,
                                                                       double oldNOVi, double oldCumulativePerformance,
                                                                       double oldMarketPrice)
{
    const auto steps = [&] {
        ReplaceInSeries_PositionsOnly(oldQuantity, oldPrice, oldNOVi, oldCumulativePerformance, oldMarketPrice);
        m_optionSeriesRisk.CollapseAhead(); // for the margins, which are computed when there is no way back
    };
    AllOrNothing(steps, m_optionSeriesRisk);
}

} // namespace kv7im
