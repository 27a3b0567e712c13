#include "book/Position.h"

#include <utility>

#include "book/Portfolio.h"
#include "book/RiskParticipant.h"
#include "instruments/InstrumentsRepositoryWrapper.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"

namespace kv7im {

namespace {

RiskNodeFutures MakeOwnerNode(const RiskParticipant& participant, const CSpecFutures& futures)
{
    const Enums::ClientRiskLevel level = participant.GetRiskLevel();
    return RiskNodeFutures(futures.GetProfile(level).GetParameters(),
                           participant.GetBrokerBaseContractGORatio(futures.CodeBC), level, futures.IsCollateral(),
                           NodeCells::FitsFlat(futures.GetProfile(level)));
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
    m_ownerRisk.JoinGroup(*mms);
    m_parentRisk = mms.get();

    if (!HasLevelMCS()) return;
    std::shared_ptr<RiskNodeMCS>& mcs = m_portfolio.GetRisksMapOfLevelMCS()[GetRiskNameMCS()];
    if (mcs == nullptr)
        mcs = std::make_shared<RiskNodeMCS>(static_cast<std::size_t>(baseContract.PointsNum),
                                            m_participant->GetBrokerBaseContractGORatioForMCS(GetRiskNameMCS()), level);
    mms->JoinGroup(*mcs);
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
    Change(MarginMode::Plain, [&] {
        m_ownerRisk.KeepCells();
        m_position.UpdateInitialMarginByNewPosition(quantity, price, 0);
    });
}

void CumulativePositionByFutures::ChangeFuturesPosition_PositionsOnly(std::int64_t quantity, double price,
                                                                      double marketPrice)
{
    Change(MarginMode::PositionsOnly, [&] {
        m_ownerRisk.KeepCells();
        m_position.UpdateInitialMarginByNewPosition_PositionsOnly(quantity, price, marketPrice, 0);
    });
}

void CumulativePositionByFutures::ChangeOptionPosition(const CSpecOption& option, std::int64_t quantity, double price,
                                                       std::int64_t novQuantity)
{
    ChangeOptionPosition(FindOrCreateOptionPosition(option), quantity, price, novQuantity);
}

void CumulativePositionByFutures::ChangeOptionPosition(CSpecPositionOptionsBase& position, std::int64_t quantity,
                                                       double price, std::int64_t novQuantity)
{
    MarkChanged(position);
    CSpecPosition& any = position;
    Change(MarginMode::Plain, [&] { any.UpdateInitialMarginByNewPosition(quantity, price, novQuantity); });
}

void CumulativePositionByFutures::ChangeOptionPosition_PositionsOnly(const CSpecOption& option, std::int64_t quantity,
                                                                     double price, double marketPrice,
                                                                     std::int64_t novQuantity)
{
    CSpecPosition& position = FindOrCreateOptionPositionAndMarkChanged(option);
    Change(MarginMode::PositionsOnly,
           [&] { position.UpdateInitialMarginByNewPosition_PositionsOnly(quantity, price, marketPrice, novQuantity); });
}

CSpecPositionFutures& CumulativePositionByFutures::MakeRoomForFutures()
{
    m_ownerRisk.KeepCells();
    return m_position;
}

CSpecPositionOptionsBase& CumulativePositionByFutures::MakeRoomForOption(const CSpecOption& option)
{
    CSpecPositionOptionsBase& position = FindOrCreateOptionPosition(option);
    static_cast<void>(option.GetGrid(m_participant->GetRiskLevel()));
    position.GetOptionSeriesRisk().MakeRoomForChange();
    return position;
}

void CumulativePositionByFutures::ChangeFuturesOrders(CSpecPosition::OrderChange& prepared)
{
    Change(MarginMode::Plain, [&] { prepared.Apply(); });
}

void CumulativePositionByFutures::ChangeOptionOrders(const CSpecOption& option, CSpecPosition::OrderChange& prepared)
{
    static_cast<void>(FindOrCreateOptionPositionAndMarkChanged(option)); // it is there
    Change(MarginMode::Plain, [&] { prepared.Apply(); });
}

void CumulativePositionByFutures::ChangeFuturesOrders(std::size_t count, const SClearingDeltaOrder* orders)
{
    CSpecPosition::OrderChange change(MakeRoomForFutures(), count, orders);
    ChangeFuturesOrders(change);
}

void CumulativePositionByFutures::ChangeOptionOrders(const CSpecOption& option, std::size_t count,
                                                     const SClearingDeltaOrder* orders)
{
    CSpecPosition::OrderChange change(MakeRoomForOption(option), count, orders);
    ChangeOptionOrders(option, change);
}

CSpecPositionOptionsBase& CumulativePositionByFutures::FindOrCreateOptionPosition(const CSpecOption& option)
{
    if (const auto found = m_optionsMap.find(option.isin); found != m_optionsMap.end()) return *found->second;
    RiskNodeOptionSeries& series = InitializeOptionSeriesRisk(option);
    std::shared_ptr<CSpecPositionOptionsBase> position;
    if (option.VirtFutures->IsInSpread) {
        m_ownerRisk.MakeRoomForSeries(series, option.VirtFutures->EnforceHalfNetting);
        position = std::make_shared<CSpecPositionOptions>(m_participant, option, series, m_ownerRisk);
    } else {
        position = std::make_shared<CSpecPositionOptionsWithoutSpread>(m_participant, option, series);
    }
    return *m_optionsMap.emplace(option.isin, std::move(position)).first->second;
}

CSpecPositionOptionsBase&
CumulativePositionByFutures::FindOrCreateOptionPositionAndMarkChanged(const CSpecOption& option)
{
    CSpecPositionOptionsBase& position = FindOrCreateOptionPosition(option);
    MarkChanged(position);
    return position;
}

void CumulativePositionByFutures::MarkChanged(CSpecPositionOptionsBase& position) noexcept
{
    if (!position.IsInSpread()) m_changedOptionSeriesNodeWithoutSpread = &position.GetOptionSeriesRisk();
}

// The node of a series; it has no delivery rows where the participant does not count deliveries of the series.
RiskNodeOptionSeries& CumulativePositionByFutures::InitializeOptionSeriesRisk(const CSpecOption& option)
{
    if (const auto found = m_optionSeriesRiskMap.find(option.CodeVF); found != m_optionSeriesRiskMap.end())
        return *found->second;
    const Enums::ClientRiskLevel level = m_participant->GetRiskLevel();
    const double ratio = m_participant->GetBrokerBaseContractGORatio(m_futures->CodeBC);
    Parameters parameters = option.GetParameters(level);
    if (!m_participant->WeHaveToCalcDeliveryRisk(&option)) parameters.expirationScenariosCount = 0;
    auto node = parameters.hasSubPoints() ? std::make_shared<RiskNodeOptionSeries>(
                                                parameters, option.VirtFutures->GetBindingArray(level), ratio, level)
                                          : std::make_shared<RiskNodeOptionSeries>(parameters, ratio, level);
    return *m_optionSeriesRiskMap.emplace(option.CodeVF, std::move(node)).first->second;
}

const RiskNodeOptionSeries* CumulativePositionByFutures::GetRiskNodeOptionSeriesByVFCode(const std::string& code) const
{
    const auto found = m_optionSeriesRiskMap.find(code);
    return found == m_optionSeriesRiskMap.end() ? nullptr : found->second.get();
}

double CumulativePositionByFutures::GetTotalVolatilityInitialMargin() const noexcept
{
    return m_volatilityInitialMarginOptionSeriesSWithoutSpread + GetFuturesGroupRisk().GetInitialMarginValue();
}

double CumulativePositionByFutures::GetTotalDeliveryVolatilityInitialMargin() const noexcept
{
    return m_deliveryInitialMarginOptionSeriesSWithoutSpread + GetFuturesGroupRisk().GetInitialMarginDeliveryValue();
}

void CumulativePositionByFutures::ZeroMarginValue() noexcept
{
    m_ownerRisk.ZeroMarginValue();
    for (const auto& [code, node] : m_optionSeriesRiskMap)
        node->ZeroMarginValue();
    m_volatilityInitialMarginOptionSeriesSWithoutSpread = 0.0;
    m_deliveryInitialMarginOptionSeriesSWithoutSpread = 0.0;
}

// Whether this futures contributes only its losses to its group: so where each futures of a contract stands for itself;
// signed cells where they net against each other.
bool CumulativePositionByFutures::GivesLossesOnly() const
{
    return m_participant->GetCalSpreadMarginType() == Enums::SpreadMarginType::HalfNetting ||
           m_futures->EnforceIMSHalfNetting;
}

// Carries the change of this futures from its base contract to the group of base contracts.
void CumulativePositionByFutures::CarryToGroups(MarginMode mode)
{
    m_ownerRisk.CarryFiguresToGroup();
    if (HasLevelMCS()) m_ownerRisk.Group()->CarryToMCS(GetPropertiesForICS(), mode);
}

// A series standing alone is margined by itself and reaches no node above it.
void CumulativePositionByFutures::InitialMarginCalculation(MarginMode mode)
{
    RiskNodeOptionSeries* const series = std::exchange(m_changedOptionSeriesNodeWithoutSpread, nullptr);
    if (series == nullptr) CarryToGroups(mode);
    RiskNodeBase& node = series != nullptr ? *series : TopNode();
    ReportMarginChange(series != nullptr, node.UpdateMargins(*m_futures->BaseContract, mode));
}

void CumulativePositionByFutures::ReportMarginChange(bool ofSeriesWithoutSpread, const MarginChanges& changes) noexcept
{
    if (ofSeriesWithoutSpread) {
        m_volatilityInitialMarginOptionSeriesSWithoutSpread += changes.volatility;
        m_deliveryInitialMarginOptionSeriesSWithoutSpread += changes.delivery;
    }
    m_portfolio.IncreaseVolatilityInitialMarginBy(changes.volatility);
    m_portfolio.IncreaseDeliveryVolatilityInitialMarginBy(changes.delivery);
}

} // namespace kv7im
