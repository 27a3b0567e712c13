#include "book/SpecPosition.h"

#include <span>
#include <utility>

#include "WrappingArithmetic.h"
#include "book/RiskParticipant.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "nodes/RiskNode.h"

namespace kv7im {

namespace {

// Adds a change to an entry. Quantities add up as machine words do; everything else is taken from the change.
void AddOrder(SOrderInfo& entry, const SOrderInfo& change) noexcept
{
    const std::int64_t quantity = kv7base::WrappingAdd(entry.deltaQuantity, change.deltaQuantity);
    entry = change;
    entry.deltaQuantity = quantity;
}

} // namespace

RiskObjectLevel NettingLevelOf(const CSpecFutures& futures)
{
    if (!futures.IsInSpread) return eRiskLevelFutures;
    return futures.BaseContract->HasMCS() ? eRiskLevelMCS : eRiskLevelMMS;
}

CSpecPosition::CSpecPosition(RiskParticipant* participant, const CSpecFutures& futures, std::string code)
    : m_participant(participant),
      m_futIsin(futures.isin),
      m_code(std::move(code)),
      m_positionInstrumentRiskLevel(NettingLevelOf(futures))
{}

void CSpecPosition::UpdateInitialMarginByNewPosition(std::int64_t quantity, double price, std::int64_t novQuantity)
{
    State state = m_state;
    state.quantity = quantity;
    state.WAPrice = price;
    MoveTo(state, novQuantity, MarginMode::Plain);
}

void CSpecPosition::UpdateInitialMarginByNewPosition_PositionsOnly(std::int64_t quantity, double price,
                                                                   double marketPrice, std::int64_t novQuantity)
{
    State state = m_state;
    state.quantity = quantity;
    state.WAPrice = price;
    state.marketPrice = marketPrice;
    MoveTo(state, novQuantity, MarginMode::PositionsOnly);
}

void CSpecPosition::MoveTo(const State& state, std::int64_t novQuantity, MarginMode mode)
{
    const State old = std::exchange(m_state, state);
    m_state.novQuantity = novQuantity;
    m_state.NOVi = CalculateNOVi(novQuantity); // before the paper loss, since it counts that of the last change
    if (mode == MarginMode::PositionsOnly)
        m_state.cumulativePerformance = CalculateCumulativePerformance(m_state.marketPrice);
    try {
        CalculatePosRisk(old, mode);
    } catch (...) { // the nodes still hold the old state
        m_state = old;
        throw;
    }
}

double CSpecPosition::CalculateNOVi(std::int64_t) const { return 0.0; }

double CSpecPosition::ChangeOfShare(const State& old, double State::*share) const noexcept
{
    const double gone = old.quantity != 0 ? old.*share : 0.0;
    const double come = m_state.quantity != 0 ? m_state.*share : 0.0;
    return come - gone;
}

CSpecPosition::OrderChange::OrderChange(CSpecPosition& position, std::size_t count, const SClearingDeltaOrder* orders)
    : m_position(position)
{
    try {
        position.CollectDeltaOrders(count, orders);
    } catch (...) {
        position.ForgetDeltaOrders();
        throw;
    }
}

CSpecPosition::OrderChange::~OrderChange() { m_position.ForgetDeltaOrders(); }

void CSpecPosition::OrderChange::Apply()
{
    m_position.UpdateRisksByOrderChanges();
    m_position.UpdateOrders();
}

void CSpecPosition::UpdateInitialMarginByOrderChanges(std::size_t count, const SClearingDeltaOrder* orders)
{
    OrderChange change(*this, count, orders);
    change.Apply();
}

// Adds each change to the entry of its key, in the given order. Its entry of the open orders is made here, still
// without a quantity, so that UpdateOrders needs no memory.
void CSpecPosition::CollectDeltaOrders(std::size_t count, const SClearingDeltaOrder* orders)
{
    for (const SClearingDeltaOrder& order : std::span(orders, count)) {
        if (order.orderInfo.deltaQuantity == 0) continue;
        AddOrder(m_spareEntries.FindOrMake(m_deltaOrders, order.CalculatedPrice), order.orderInfo);
        m_spareEntries.FindOrMake(m_orders, order.CalculatedPrice);
    }
}

void CSpecPosition::UpdateOrders() noexcept
{
    for (const auto& [key, change] : m_deltaOrders)
        AddOrder(m_orders.find(key)->second, change);
}

// Drops the open orders without a quantity: those that were cancelled, and those that no change reached.
void CSpecPosition::ForgetDeltaOrders() noexcept
{
    for (const auto& [key, change] : m_deltaOrders) {
        const auto open = m_orders.find(key);
        if (open != m_orders.end() && open->second.deltaQuantity == 0) m_spareEntries.TakeOut(m_orders, open);
    }
    while (!m_deltaOrders.empty())
        m_spareEntries.TakeOut(m_deltaOrders, m_deltaOrders.begin());
}

CSpecPositionFutures::CSpecPositionFutures(RiskParticipant* participant, const CSpecFutures& futures,
                                           RiskNodeFutures& futuresRisk)
    : CSpecPosition(participant, futures, futures.Code), m_futures(futures), m_futuresRisk(futuresRisk)
{}

const BaseProfile& CSpecPositionFutures::GetProfile() const { return m_futures; }

double CSpecPositionFutures::WithOffset(double price) const noexcept
{
    return m_futures.IsTAS ? price + m_futures.CalcFutPrice : price;
}

double CSpecPositionFutures::UsableWAPrice(std::int64_t quantity, double price) const
{
    const double p = WithOffset(price);
    if (!m_participant->GetNoFutDiscount()) return p;
    const double settlement = m_futures.RealCalcPrice;
    // In this order, so that a price that is no number stays one.
    if (quantity < 1) return settlement < p ? settlement : p;
    return settlement > p ? settlement : p;
}

PositionTransform CSpecPositionFutures::Describe(const State& state, MarginMode mode) const
{
    const Enums::ClientRiskLevel level = m_participant->GetRiskLevel();
    if (mode == MarginMode::Plain)
        return m_futures.DescribePosition(state.quantity, UsableWAPrice(state.quantity, state.WAPrice), level);
    return m_futures.DescribePosition_PositionsOnly(
        state.quantity, UsableWAPrice_PositionsOnly(state.quantity, state.WAPrice, state.marketPrice), state.WAPrice,
        level, state.cumulativePerformance);
}

void CSpecPositionFutures::CalculatePosRisk(const State& old, MarginMode mode)
{
    m_futuresRisk.AddCumulativePerformance(ChangeOfShare(old, &State::cumulativePerformance));
    m_futuresRisk.ReplacePosition(Describe(old, mode), Describe(m_state, mode),
                                  m_participant->GetShortOptionMinimumChargeRatio());
}

void CSpecPositionFutures::UpdateRisksByOrderChanges()
{
    const auto discount = m_participant->GetNoFutDiscount() ? kv7type::Discount::No : kv7type::Discount::Yes;
    m_futuresRisk.AddOrders(m_futures, m_deltaOrders, discount, m_participant->GetShortOptionMinimumChargeRatio());
}

CSpecPositionOptionsBase::CSpecPositionOptionsBase(RiskParticipant* participant, const CSpecOption& option,
                                                   RiskNodeOptionSeries& optionSeriesRisk)
    : CSpecPosition(participant, *option.VirtFutures->Futures, option.Code),
      m_optIsin(option.isin),
      m_options(option),
      m_optionSeriesRisk(optionSeriesRisk)
{}

const BaseProfile& CSpecPositionOptionsBase::GetProfile() const { return m_options; }

bool CSpecPositionOptionsBase::IsInSpread() const noexcept { return m_options.VirtFutures->IsInSpread; }

double CSpecPositionOptionsBase::CalculateNOVi(std::int64_t quantity) const
{
    const CSpecVirtFutures& series = *m_options.VirtFutures;
    if (series.marginStyle != Enums::MarginStyle::Equity) return 0.0;
    const double price = m_state.cumulativePerformance > 0.0 ? PriceOfPaperLoss() : m_options.CalcOptPrice;
    return static_cast<double>(quantity) * price * series.MoneyCoef;
}

void CSpecPositionOptionsBase::UpdateFiguresOfSeries(const State& old) noexcept
{
    m_optionSeriesRisk.AddNOVi(ChangeOfShare(old, &State::NOVi));
    m_optionSeriesRisk.AddCumulativePerformance(ChangeOfShare(old, &State::cumulativePerformance));
}

OptionTransform CSpecPositionOptionsBase::Describe(const State& state, MarginMode mode) const
{
    const Enums::ClientRiskLevel level = m_participant->GetRiskLevel();
    if (mode == MarginMode::Plain) return m_options.DescribePosition(state.quantity, state.WAPrice, level);
    return m_options.DescribePosition_PositionsOnly(
        state.quantity, UsableWAPrice_PositionsOnly(state.quantity, state.WAPrice, state.marketPrice), state.WAPrice,
        level, state.cumulativePerformance);
}

CSpecPositionOptions::CSpecPositionOptions(RiskParticipant* participant, const CSpecOption& option,
                                           RiskNodeOptionSeries& optionSeriesRisk, RiskNodeFutures& futuresRisk)
    : CSpecPositionOptionsBase(participant, option, optionSeriesRisk), m_futuresRisk(futuresRisk)
{}

void CSpecPositionOptions::CalculatePosRisk(const State& old, MarginMode mode)
{
    const OptionTransform before = Describe(old, mode);
    const OptionTransform after = Describe(m_state, mode);
    const RiskNodeBase::Figures ofSeries = m_optionSeriesRisk.GetFigures();
    const RiskNodeBase::Figures ofFutures = m_futuresRisk.GetFigures();
    MoveFigures(old);
    try {
        m_optionSeriesRisk.ReplacePositionInSpread(before, after, m_participant->GetShortOptionMinimumChargeRatio(),
                                                   m_futuresRisk, ViewFrom(ofSeries.paperLoss, mode));
    } catch (...) { // no cell has changed
        m_optionSeriesRisk.SetFigures(ofSeries);
        m_futuresRisk.SetFigures(ofFutures);
        throw;
    }
}

// The figures of the whole series leave the futures here and come back with the change: with its rounding.
void CSpecPositionOptions::MoveFigures(const State& old) noexcept
{
    m_futuresRisk.AddNOVi(-m_optionSeriesRisk.GetNOVj());
    m_futuresRisk.AddCumulativePerformance(-m_optionSeriesRisk.GetTotalCumulativePerformance());
    UpdateFiguresOfSeries(old);
    m_futuresRisk.AddNOVi(m_optionSeriesRisk.GetNOVj());
    m_futuresRisk.AddCumulativePerformance(m_optionSeriesRisk.GetTotalCumulativePerformance());
}

ViewOfSeries CSpecPositionOptions::ViewFrom(double ceilingBefore, MarginMode mode) const noexcept
{
    const bool lossesOnly = m_options.VirtFutures->EnforceHalfNetting;
    if (mode == MarginMode::Plain) return {lossesOnly, 0.0, 0.0};
    return {lossesOnly, ceilingBefore, m_optionSeriesRisk.GetTotalCumulativePerformance()};
}

void CSpecPositionOptions::UpdateRisksByOrderChanges()
{
    m_optionSeriesRisk.AddOrdersInSpread(m_options, m_deltaOrders, m_participant->GetShortOptionMinimumChargeRatio(),
                                         m_futuresRisk, ViewFrom(0.0, MarginMode::Plain));
    // The series' net option value left the futures and came back with the series: equal but for the rounding. The
    // paper loss, which no order changes, stays.
    m_futuresRisk.AddNOVi(-m_optionSeriesRisk.GetNOVj());
    m_futuresRisk.AddNOVi(m_optionSeriesRisk.GetNOVj());
}

void CSpecPositionOptionsWithoutSpread::CalculatePosRisk(const State& old, MarginMode mode)
{
    const OptionTransform before = Describe(old, mode);
    const OptionTransform after = Describe(m_state, mode);
    m_optionSeriesRisk.ReplacePosition(before, after, m_participant->GetShortOptionMinimumChargeRatio());
    UpdateFiguresOfSeries(old);
}

void CSpecPositionOptionsWithoutSpread::UpdateRisksByOrderChanges()
{
    m_optionSeriesRisk.AddOrders(m_options, m_deltaOrders, m_participant->GetShortOptionMinimumChargeRatio());
}

} // namespace kv7im
