#include "Position.h"

#include <memory>

#include "Portfolio.h"
#include "RiskParticipant.h"
#include "SpecBaseContract.h"
#include "SpecFutures.h"

namespace kv7im {

namespace {

RiskNodeFutures MakeOwnerNode(const RiskParticipant& participant, const CSpecFutures& futures)
{
    const Enums::ClientRiskLevel level = participant.GetRiskLevel();
    return RiskNodeFutures(futures.GetProfile(level).GetParameters(),
                           participant.GetBrokerBaseContractGORatio(futures.CodeBC), level, futures.IsCollateral());
}

} // namespace

CumulativePositionByFutures::CumulativePositionByFutures(RiskParticipant* participant, Portfolio& portfolio,
                                                         const CSpecFutures& futures)
    : m_participant(participant),
      m_portfolio(portfolio),
      m_futures(&futures),
      m_isin(futures.isin),
      m_code(futures.Code),
      m_riskLevel(NettingLevelOf(futures)),
      m_ownerRisk(MakeOwnerNode(*participant, futures)),
      m_previousFuturesGroupRisks(m_ownerRisk),
      m_position(participant, futures, m_ownerRisk)
{
    InitializeUpperLevelRiskPrivate();
}

// Nodes of a group are shared by all its futures; the first one makes them.
void CumulativePositionByFutures::InitializeUpperLevelRiskPrivate()
{
    if (!HasLevelMMS()) return;
    const CSpecBaseContract& baseContract = *m_futures->BaseContract;
    const Enums::ClientRiskLevel level = m_participant->GetRiskLevel();

    std::shared_ptr<RiskNodeMMS>& mms = m_portfolio.GetRisksMapOfLevelMMS()[GetRiskNameMMS()];
    if (mms == nullptr)
        mms = std::make_shared<RiskNodeMMS>(baseContract, m_participant->GetBrokerBaseContractGORatio(GetRiskNameMMS()),
                                            level);
    m_ownerRisk.parent = mms.get();
    m_parentRisk = mms.get();

    if (!HasLevelMCS()) return;
    std::shared_ptr<RiskNodeMCS>& mcs = m_portfolio.GetRisksMapOfLevelMCS()[GetRiskNameMCS()];
    if (mcs == nullptr)
        mcs = std::make_shared<RiskNodeMCS>(static_cast<std::size_t>(baseContract.PointsNum),
                                            m_participant->GetBrokerBaseContractGORatioForMCS(GetRiskNameMCS()), level);
    mms->parent = mcs.get();
    m_parentRisk = mcs.get();
}

const std::string& CumulativePositionByFutures::GetRiskNameMMS() const { return m_futures->BaseContract->Code; }
const std::string& CumulativePositionByFutures::GetRiskNameMCS() const { return m_futures->BaseContract->CodeMCS; }

const RiskNodeBase& CumulativePositionByFutures::GetFuturesGroupRisk() const noexcept
{
    if (m_parentRisk != nullptr) return *m_parentRisk;
    return m_ownerRisk;
}

RiskNodeBase& CumulativePositionByFutures::TopNode() noexcept
{
    if (m_parentRisk != nullptr) return *m_parentRisk;
    return m_ownerRisk;
}

RiskNodeMMS::PropertiesForICS CumulativePositionByFutures::GetPropertiesForICS() const
{
    return {m_participant->GetInterContractSpreadMarginType(), m_futures};
}

void CumulativePositionByFutures::ChangeFuturesPosition(std::int64_t quantity, double price)
{
    m_position.UpdateInitialMarginByNewPosition(quantity, price, 0);
    InitialMarginCalculation();
}

// Replaces what this futures gives to its group: the signed cells where futures of a contract net against each other,
// only the losses where each of them stands for itself.
void CumulativePositionByFutures::ReplaceContributionToMMS()
{
    const bool lossesOnly = m_participant->GetCalSpreadMarginType() == Enums::SpreadMarginType::HalfNetting ||
                            m_futures->EnforceIMSHalfNetting;
    m_ownerRisk.parent->ReplaceContribution(m_previousFuturesGroupRisks, m_ownerRisk, lossesOnly);
}

void CumulativePositionByFutures::InitialMarginCalculation()
{
    if (HasLevelMCS()) {
        RiskNodeMMS& mms = *m_ownerRisk.parent;
        *mms.parent -= (mms | GetPropertiesForICS()); // before the group changes: exactly what it gave the last time
        ReplaceContributionToMMS();
        *mms.parent += (mms | GetPropertiesForICS());
    } else if (HasLevelMMS()) {
        ReplaceContributionToMMS();
    }

    const CSpecBaseContract& baseContract = *m_futures->BaseContract;
    RiskNodeBase& node = TopNode();
    const double volatilityChange = node.UpdateInitialMarginValue(baseContract);
    const double deliveryChange = node.UpdateInitialMarginDeliveryValue(baseContract);
    m_portfolio.IncreaseVolatilityInitialMarginBy(volatilityChange);
    m_portfolio.IncreaseDeliveryVolatilityInitialMarginBy(deliveryChange);
}

} // namespace kv7im
