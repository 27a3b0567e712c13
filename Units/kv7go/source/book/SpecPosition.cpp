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
    const std::int64_t oldQuantity = m_quantity;
    const double oldPrice = m_WAPrice;
    const double oldNOVi = m_NOVi;

    m_quantity = quantity;
    m_WAPrice = price;
    m_NOVi = CalculateNOVi(novQuantity);

    try {
        CalculatePosRisk(oldQuantity, oldPrice, oldNOVi);
    } catch (...) { // the nodes still hold the old state
        m_quantity = oldQuantity;
        m_WAPrice = oldPrice;
        m_NOVi = oldNOVi;
        throw;
    }
}

double CSpecPosition::CalculateNOVi(std::int64_t) const { return 0.0; }

double CSpecPosition::ChangeOfShare(std::int64_t oldQuantity, double oldShare, double share) const noexcept
{
    const double gone = oldQuantity != 0 ? oldShare : 0.0;
    const double come = m_quantity != 0 ? share : 0.0;
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

void CSpecPositionFutures::CalculatePosRisk(std::int64_t oldQuantity, double oldPrice, double)
{
    const auto state = [this](std::int64_t quantity, double price) {
        return m_futures.DescribePosition(quantity, UsableWAPrice(quantity, price), m_participant->GetRiskLevel());
    };
    m_futuresRisk.ReplacePosition(state(oldQuantity, oldPrice), state(m_quantity, m_WAPrice),
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
    const double price = m_cumulativePerformance > 0.0 ? PriceOfPaperLoss() : m_options.CalcOptPrice;
    return static_cast<double>(quantity) * price * series.MoneyCoef;
}

void CSpecPositionOptionsBase::UpdateNOVInSeriesRisk(std::int64_t oldQuantity, double oldNOVi) noexcept
{
    m_optionSeriesRisk.AddNOVi(ChangeOfShare(oldQuantity, oldNOVi, m_NOVi));
}

// Valued here, before any node is touched: an option is valued at its first use, which may fail.
OptionTransform CSpecPositionOptionsBase::Describe(std::int64_t quantity, double price) const
{
    return m_options.DescribePosition(quantity, price, m_participant->GetRiskLevel());
}

CSpecPositionOptions::CSpecPositionOptions(RiskParticipant* participant, const CSpecOption& option,
                                           RiskNodeOptionSeries& optionSeriesRisk, RiskNodeFutures& futuresRisk)
    : CSpecPositionOptionsBase(participant, option, optionSeriesRisk), m_futuresRisk(futuresRisk)
{}

void CSpecPositionOptions::CalculatePosRisk(std::int64_t oldQuantity, double oldPrice, double oldNOVi)
{
    const OptionTransform before = Describe(oldQuantity, oldPrice);
    const OptionTransform after = Describe(m_quantity, m_WAPrice);
    m_optionSeriesRisk.ReplacePositionInSpread(before, after, m_participant->GetShortOptionMinimumChargeRatio(),
                                               m_futuresRisk, m_options.VirtFutures->EnforceHalfNetting);
    // The net option value of the whole series leaves the futures here and comes back with the change.
    m_futuresRisk.AddNOVi(-m_optionSeriesRisk.GetNOVj());
    UpdateNOVInSeriesRisk(oldQuantity, oldNOVi);
    m_futuresRisk.AddNOVi(m_optionSeriesRisk.GetNOVj());
}

void CSpecPositionOptions::UpdateRisksByOrderChanges()
{
    m_optionSeriesRisk.AddOrdersInSpread(m_options, m_deltaOrders, m_participant->GetShortOptionMinimumChargeRatio(),
                                         m_futuresRisk, m_options.VirtFutures->EnforceHalfNetting);
    // The series' net option value left the futures and came back with the series: equal but for the rounding. The
    // paper loss, which no order changes, stays.
    m_futuresRisk.AddNOVi(-m_optionSeriesRisk.GetNOVj());
    m_futuresRisk.AddNOVi(m_optionSeriesRisk.GetNOVj());
}

void CSpecPositionOptionsWithoutSpread::CalculatePosRisk(std::int64_t oldQuantity, double oldPrice, double oldNOVi)
{
    const OptionTransform before = Describe(oldQuantity, oldPrice);
    const OptionTransform after = Describe(m_quantity, m_WAPrice);
    m_optionSeriesRisk.ReplacePosition(before, after, m_participant->GetShortOptionMinimumChargeRatio());
    UpdateNOVInSeriesRisk(oldQuantity, oldNOVi);
}

void CSpecPositionOptionsWithoutSpread::UpdateRisksByOrderChanges()
{
    m_optionSeriesRisk.AddOrders(m_options, m_deltaOrders, m_participant->GetShortOptionMinimumChargeRatio());
}

} // namespace kv7im
