#include "SpecPosition.h"

#include <utility>

#include "RiskNode.h"
#include "RiskParticipant.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"

namespace kv7im {

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

    CalculatePosRisk(oldQuantity, oldPrice, oldNOVi);
}

double CSpecPosition::CalculateNOVi(std::int64_t) const { return 0.0; }

CSpecPositionFutures::CSpecPositionFutures(RiskParticipant* participant, const CSpecFutures& futures,
                                           RiskNodeFutures& futuresRisk)
    : CSpecPosition(participant, futures, futures.Code), m_futures(futures), m_futuresRisk(futuresRisk)
{}

const BaseProfile& CSpecPositionFutures::GetProfile() const { return m_futures; }

double CSpecPositionFutures::UsableWAPrice(std::int64_t quantity, double price) const
{
    const double p = m_futures.IsTAS ? price + m_futures.CalcFutPrice : price;
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

} // namespace kv7im
